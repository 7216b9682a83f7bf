// cartolith-map: draws a map from a data source, and says what is in one.

#include "Arguments.h"
#include "Commands.h"

#include <Cartolith/Core/Version.h>

#include <QGuiApplication>

#include <cstdio>
#include <exception>

namespace {

constexpr int success = 0;
constexpr int failure = 1;
constexpr int usageError = 2;

const char* const help = R"(cartolith-map: maps from the command line

  cartolith-map render FILE -o PICTURE   draw a layer of FILE as a map
  cartolith-map info FILE                say what is in FILE
  cartolith-map COMMAND --help           options and examples of a command
  cartolith-map --version

FILE is anything OGR opens: GeoPackage, Shapefile, GeoJSON, FlatGeobuf, CSV with WKT, ...

Exit code: 0 done, 1 it could not be done (the reason is on standard error), 2 the command line is wrong.
)";

int run(const QStringList& arguments) {
    const QString command = arguments.value(1);
    const QStringList rest = arguments.mid(2);
    const bool wantsHelp = rest.contains(QStringLiteral("--help")) || rest.contains(QStringLiteral("-h"));
    if (command == QLatin1String("render")) {
        if (wantsHelp) {
            std::fputs(qPrintable(Commands::renderHelp()), stdout);
            return success;
        }
        return Commands::render(rest);
    }
    if (command == QLatin1String("info")) {
        if (wantsHelp) {
            std::fputs(qPrintable(Commands::infoHelp()), stdout);
            return success;
        }
        return Commands::info(rest);
    }
    if (command == QLatin1String("--help") || command == QLatin1String("-h")) {
        std::fputs(help, stdout);
        return success;
    }
    if (command == QLatin1String("--version")) {
        std::puts("cartolith-map " CARTOLITH_VERSION_STRING);
        return success;
    }
    throw UsageError(command.isEmpty() ? QStringLiteral("a command is missing: render or info")
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
    const QGuiApplication application(argc, argv);
    try {
        return run(QGuiApplication::arguments());
    } catch (const UsageError& error) {
        std::fprintf(stderr, "cartolith-map: %s\nTry: cartolith-map --help\n", error.what());
        return usageError;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "cartolith-map: %s\n", error.what());
        return failure;
    }
}
