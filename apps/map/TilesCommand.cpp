#include "Commands.h"
#include "Interruption.h"
#include "LicenceMark.h"
#include "MapInput.h"
#include "ProgressBar.h"
#include "RenderOptions.h"
#include "StepLog.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisSourceFiles.h>
#include <Cartolith/Map/Output/SceneTiles.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QFileInfo>
#include <QImage>

#include <stdexcept>

using namespace Cartolith::Map;

namespace {

/// Of all that is said, and of the files that it names as they are.
QString markOf(const QStringList& arguments) {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const QString& argument : arguments) {
        const qsizetype value =
            argument.startsWith(QLatin1String("--")) ? argument.indexOf(QLatin1Char('=')) : -1;
        const QFileInfo file(argument.mid(value + 1)); // also that of --option=FILE
        const QString content = file.isFile() ? QStringLiteral("%1 %2 %3")
                                                    .arg(file.absoluteFilePath())
                                                    .arg(file.size())
                                                    .arg(file.lastModified().toMSecsSinceEpoch())
                                              : argument;
        hash.addData(argument.left(value + 1).toUtf8() + content.toUtf8());
        hash.addData(QByteArrayView("", 1)); // ends it
    }
    return QString::fromLatin1(hash.result().toHex());
}

/// Of all sources.
QStringList filesOf(const QStringList& sources) {
    QStringList files;
    for (const QString& source : sources) {
        files.append(Cartolith::Core::Layers::GisSourceFiles::of(source));
    }
    return files;
}

} // namespace

QString Commands::tilesHelp() {
    return RenderOptions::tilesHelp();
}

int Commands::tiles(const QStringList& arguments) {
    RenderOptions options = RenderOptions::ofTiles(arguments);
    StepLog log(options.quiet);
    MapInput::Input input = MapInput::read(options, log);
    options.tiles.mark = markOf(arguments + filesOf(input.sources));
    if (options.background.isValid()) {
        input.scene.setBackground(options.background);
    }
    constexpr double pixelsPerInch = 96.0;
    Output::SceneTilesOptions drawing;
    drawing.devicePixelRatio = options.sheet.dotsPerInch / pixelsPerInch;
    if (LicenceMark::isNeeded()) {
        drawing.finish = [](QImage& picture) { LicenceMark::draw(picture); };
    }
    Interruption::watch();
    {
        const MapInput::Reading reading(input.layers);
        ProgressBar bar(QStringLiteral("Tiles"));
        drawing.progress = [&bar](double fraction) {
            bar.show(fraction);
            return !Interruption::isWanted();
        };
        if (Output::SceneTiles::write(input.scene, options.output, options.tiles, drawing) !=
            Output::TileWriter::Result::Complete) {
            throw std::runtime_error("interrupted; the same command goes on from there");
        }
    }
    log.done("tiles", QStringLiteral("%1, zoom %2 to %3")
                          .arg(options.output)
                          .arg(options.tiles.minZoom)
                          .arg(options.tiles.maxZoom));
    return 0;
}
