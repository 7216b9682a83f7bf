// cartolith-map: draws a map from a data source, and says what is in one.

#include "Arguments.h"
#include "Commands.h"

#include <Cartolith/Core/Common/Logger.h>
#include <Cartolith/Core/Version.h>

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>

#include <cstdio>
#include <exception>
#include <stdexcept>

using namespace Cartolith::Core;

namespace {

constexpr int success = 0;
constexpr int failure = 1;
constexpr int usageError = 2;

const char* const programHelp = R"(cartolith-map: maps from the command line

  cartolith-map render FILE -o PICTURE   draw FILE as a map, and others on top of it: a picture, SVG or PDF
  cartolith-map tiles FILE -o OUT        draw FILE as tiles for the web: an MBTiles file or a folder
  cartolith-map info FILE                say what is in FILE
  cartolith-map themes -o PICTURE        draw the built-in themes
  cartolith-map overlay A B -o OUT       union, intersection, difference of two layers of areas
  cartolith-map buffer FILE -o OUT       what lies within a distance of the features
  cartolith-map check FILE               find what is wrong with the shapes, and mend it
  cartolith-map overviews FILE           prepare a large file for small scales
  cartolith-map route FILE -o PICTURE    find and draw a way along streets
  cartolith-map log summary FILE         what a log says; log compare A B: was B slower
  cartolith-map licence                  the licence of the program, and what it permits
  cartolith-map COMMAND --help           options and examples of a command
  cartolith-map --version
  cartolith-map --log FILE COMMAND ...   append a record of each long step to FILE, tab-separated

FILE is anything GDAL opens: GeoPackage, Shapefile, GeoJSON, FlatGeobuf, CSV with WKT, ...; GeoTIFF, VRT, PNG, JPEG, ...

Exit code: 0 done, 1 it could not be done (the reason is on standard error), 2 the command line is wrong.
)";

struct Command {
    const char* name;
    int (*run)(const QStringList&);
    QString (*help)();
};

constexpr Command commands[] = {
    {"render", Commands::render, Commands::renderHelp},
    {"tiles", Commands::tiles, Commands::tilesHelp},
    {"info", Commands::info, Commands::infoHelp},
    {"themes", Commands::themes, Commands::themesHelp},
    {"overlay", Commands::overlay, Commands::overlayHelp},
    {"buffer", Commands::buffer, Commands::bufferHelp},
    {"check", Commands::check, Commands::checkHelp},
    {"overviews", Commands::overviews, Commands::overviewsHelp},
    {"route", Commands::route, Commands::routeHelp},
    {"log", Commands::log, Commands::logHelp},
    {"licence", Commands::licence, Commands::licenceHelp},
};

/// Takes --log FILE, which stands before the command, out of the arguments.
void turnLogOn(QStringList& arguments) {
    const QString option = arguments.value(1);
    const QString joined = QStringLiteral("--log=");
    if (option != QLatin1String("--log") && !option.startsWith(joined)) {
        return;
    }
    const bool isJoined = option.startsWith(joined);
    const QString path = isJoined ? option.mid(joined.size()) : arguments.value(2);
    if (path.isEmpty()) {
        throw UsageError(QStringLiteral("--log wants a FILE"));
    }
    // The log itself loses in silence what it cannot write.
    const bool isNew = !QFileInfo::exists(path);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append)) {
        throw std::runtime_error(
            QStringLiteral("cannot write the log '%1': %2").arg(path, file.errorString()).toStdString());
    }
    if (isNew) {
        file.remove(); // made with its header by the first record
    }
    Common::Logger::setLogPath(path);
    Common::Logger::setMode(Common::LoggingMode::Verbose);
    arguments.remove(1, isJoined ? 1 : 2);
}

int run(QStringList arguments) {
    turnLogOn(arguments);
    const QString command = arguments.value(1);
    const QStringList rest = arguments.mid(2);
    const bool wantsHelp = rest.contains(QStringLiteral("--help")) || rest.contains(QStringLiteral("-h"));
    for (const Command& known : commands) {
        if (command != QLatin1String(known.name)) {
            continue;
        }
        if (wantsHelp) {
            std::fputs(known.help().toUtf8().constData(), stdout);
            return success;
        }
        return known.run(rest);
    }
    if (command == QLatin1String("--help") || command == QLatin1String("-h")) {
        std::fputs(programHelp, stdout);
        return success;
    }
    if (command == QLatin1String("--version")) {
        std::puts("cartolith-map " CARTOLITH_VERSION_STRING);
        return success;
    }
    throw UsageError(command.isEmpty() ? QStringLiteral("a command is missing")
                                       : QStringLiteral("there is no command '%1'").arg(command));
}

/// Qt remarks on surroundings that do not matter to a program without windows.
void printQtMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message) {
    if (type != QtDebugMsg && type != QtInfoMsg && !message.startsWith(QLatin1String("QStandardPaths:"))) {
        std::fprintf(stderr, "cartolith-map: %s\n", qPrintable(message));
    }
}

} // namespace

int main(int argc, char** argv) {
    // Pictures only, never a window: works without a display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(printQtMessage);
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.append(QString::fromLocal8Bit(argv[i]));
    }
    int none = qMin(argc, 1); // Qt has options of its own, --style among them
    const QGuiApplication application(none, argv);
    try {
        const int code = run(arguments);
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            throw std::runtime_error("the output could not be written");
        }
        return code;
    } catch (const UsageError& error) {
        std::fprintf(stderr, "cartolith-map: %s\nTry: cartolith-map --help\n", error.what());
        return usageError;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "cartolith-map: %s\n", error.what());
        return failure;
    }
}
