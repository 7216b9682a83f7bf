#include "Commands.h"
#include "Interruption.h"
#include "LicenceMark.h"
#include "MapInput.h"
#include "ProgressBar.h"
#include "RenderOptions.h"
#include "StepLog.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Map/Output/SceneTiles.h>

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <stdexcept>

using namespace Cartolith::Map;

namespace {

/// The files that the layers of a saved map are read from, and whatever else they name as their source.
QStringList sourcesOf(const QString& map) {
    QStringList sources;
    QFile file(map);
    if (!map.isEmpty() && file.open(QIODevice::ReadOnly)) {
        const QDir folder = QFileInfo(map).dir();
        const QJsonArray layers = QJsonDocument::fromJson(file.readAll())[u"layers"].toArray();
        for (const QJsonValue layer : layers) {
            sources.append(folder.filePath(layer[u"source"].toString()));
        }
    }
    return sources;
}

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

} // namespace

QString Commands::tilesHelp() {
    return RenderOptions::tilesHelp();
}

int Commands::tiles(const QStringList& arguments) {
    RenderOptions options = RenderOptions::ofTiles(arguments);
    StepLog log(options.quiet);
    MapScene scene;
    MapInput::MapLayers layers;
    if (options.map.isEmpty()) {
        layers = MapInput::open(options, scene, log);
    } else {
        scene = MapInput::load(options, log);
    }
    options.tiles.mark = markOf(arguments + sourcesOf(options.map));
    if (options.background.isValid()) {
        scene.setBackground(options.background);
    }
    constexpr double pixelsPerInch = 96.0;
    Output::SceneTilesOptions drawing;
    drawing.devicePixelRatio = options.sheet.dotsPerInch / pixelsPerInch;
    if (LicenceMark::isNeeded()) {
        drawing.finish = [](QImage& picture) { LicenceMark::draw(picture); };
    }
    Interruption::watch();
    {
        const MapInput::Reading reading(layers);
        ProgressBar bar(QStringLiteral("Tiles"));
        drawing.progress = [&bar](double fraction) {
            bar.show(fraction);
            return !Interruption::isWanted();
        };
        if (Output::SceneTiles::write(scene, options.output, options.tiles, drawing) !=
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
