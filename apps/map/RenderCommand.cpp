#include "Arguments.h"
#include "Commands.h"
#include "Interruption.h"
#include "MapInput.h"
#include "MarkedPicture.h"
#include "RenderOptions.h"
#include "StepLog.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Map/Furniture/SceneSheet.h>
#include <Cartolith/Map/MapPreparation.h>
#include <Cartolith/Map/MapSheet.h>
#include <Cartolith/Map/Output/VectorFile.h>
#include <Cartolith/Map/Projection.h>

#include <QFileInfo>

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using Shapes::GisExtent;
using Shapes::GisShapePoint;
using namespace Cartolith::Map;
using MapInput::MapLayers;

namespace {

/// The topmost thing at a place.
QString describeAt(const MapLayers& layers, const GisShapePoint& lonLat, const CoordinateSystem* system,
                   double tolerance) {
    GisShapePoint here;
    try {
        here = Projection::fromLonLat(lonLat, system);
    } catch (const std::runtime_error&) {
        return QStringLiteral("outside the map's coordinate system");
    }
    for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) {
        QString found = (*layer)->describeAt(here, tolerance);
        if (!found.isNull()) {
            return found;
        }
    }
    return QStringLiteral("nothing here");
}

GisExtent allOf(MapScene& scene) {
    const GisExtent all = scene.extent();
    if (all.isEmpty()) {
        throw std::runtime_error("there is nothing to draw");
    }
    return all;
}

/// What the sheet shows when nobody says.
GisExtent extentOf(MapScene& scene, RenderOptions& options) {
    if (!options.extent.isEmpty()) {
        return options.extent;
    }
    if (!options.map.isEmpty() && scene.view().isUsable()) {
        options.sheet.air = 0.0; // the view has some
        return scene.view().visibleExtent();
    }
    return allOf(scene);
}

/// The sheet that is described, or the one that the options make.
MapSheet sheetOf(MapScene& scene, const MapLayers& layers, RenderOptions& options) {
    const std::shared_ptr<CoordinateSystem> system = scene.coordinateSystem();
    if (!options.described) {
        for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) { // the topmost first
            if (const auto legend = (*layer)->legend()) {
                options.sheet.legends.append(*legend);
            }
        }
        const GisExtent extent = extentOf(scene, options);
        return {options.sheet, extent, system};
    }
    Furniture::SheetDescription& description = *options.described;
    if (!options.extent.isEmpty()) {
        description.map.extent = options.extent;
    } else if (description.map.extent.isEmpty() && !options.map.isEmpty() && scene.view().isUsable()) {
        description.map.extent = scene.view().visibleExtent();
        description.map.air = 0.0; // the view has some
    }
    // A map of layers without features has the extent that is asked for.
    const GisExtent all = description.map.extent.isEmpty() ? allOf(scene) : scene.extent();
    MapSheet sheet(description, all.isEmpty() ? description.map.extent : all, system);
    const auto isCounted = [](const Furniture::SheetItem& item) { return item.hasCounts; };
    const bool hasCounts = std::any_of(description.items.cbegin(), description.items.cend(), isCounted);
    sheet.setLegends(Furniture::legendsOf(
        scene, sheet.view(), hasCounts ? Furniture::LegendCounts::Shown : Furniture::LegendCounts::Left));
    return sheet;
}

MapDrawing prepare(MapScene& scene, const MapLayers& layers, const MapView& view) {
    const MapInput::Reading reading(layers);
    MapPreparation preparation(scene, view);
    while (!preparation.step(std::chrono::hours(1))) {
    }
    if (!preparation.problems().isEmpty()) {
        throw std::runtime_error(preparation.problems().join(QStringLiteral("; ")).toStdString());
    }
    for (std::size_t i = 0; i < layers.size(); ++i) {
        layers[i]->report(scene.snapshot(static_cast<qsizetype>(i)), view);
    }
    return preparation.drawing();
}

QImage pictureOf(const MapDrawing& drawing, StepLog& log) {
    MapRenderJob job(drawing.view, drawing.layers, drawing.options);
    if (job.run() != MapRenderJob::State::Done) {
        throw std::bad_alloc();
    }
    const QList<MapRenderJob::Label> labels = job.labels();
    if (!labels.isEmpty()) {
        const auto placed =
            std::count_if(labels.cbegin(), labels.cend(), [](const MapRenderJob::Label& label) {
                return label.place.outcome == Labels::LabelOutcome::Placed;
            });
        log.done("label", QStringLiteral("%1 of %2 labels have room").arg(placed).arg(labels.size()));
    }
    return job.compose();
}

void writeVectors(const MapDrawing& drawing, const MapSheet& sheet, const QList<QImage>& insets,
                  const RenderOptions& options, StepLog& log) {
    const QSize pixels = sheet.description().pixels();
    Output::VectorOptions vectors;
    vectors.page = options.page;
    if (!vectors.page) {
        constexpr double inch = 25.4;
        vectors.page.emplace();
        vectors.page->dotsPerInch = sheet.description().dotsPerInch;
        vectors.page->size = QSizeF(pixels) * (inch / vectors.page->dotsPerInch);
    }
    vectors.title = sheet.description().title();
    vectors.below = [&sheet](QPainter& painter) { sheet.drawBelow(painter); };
    vectors.above = [&sheet, &insets](QPainter& painter) { sheet.drawAbove(painter, insets); };
    vectors.progress = [](double) { return !Interruption::isWanted(); };
    const Output::VectorReport report = MarkedPicture::save(drawing, options.output, vectors, pixels);
    if (!report.isComplete) {
        throw std::runtime_error("interrupted; nothing was written");
    }
    log.done("draw", QStringLiteral("%1 x %2 mm")
                         .arg(QString::number(vectors.page->size.width(), 'f', 1),
                              QString::number(vectors.page->size.height(), 'f', 1)));
    if (!report.pictures.isEmpty()) {
        log.done("pictures", report.pictures.join(QStringLiteral(", ")));
    }
}

void saveMap(const MapLayers& layers, const MapScene& drawn, const MapView& view, const QString& path) {
    MapScene scene;
    scene.setCoordinateSystem(drawn.coordinateSystem());
    scene.setView(view);
    for (const auto& layer : layers) {
        scene.insert(scene.count(), layer->entryToSave());
    }
    scene.save(path);
}

} // namespace

QString Commands::renderHelp() {
    return RenderOptions::help();
}

int Commands::render(const QStringList& arguments) {
    RenderOptions options = RenderOptions::of(arguments);
    StepLog log(options.quiet);

    MapInput::Input input = MapInput::read(options, log);
    MapScene& scene = input.scene;
    const MapLayers& layers = input.layers;
    const std::shared_ptr<CoordinateSystem> system = scene.coordinateSystem();
    QList<GisShapePoint> places;
    for (const QString& place : std::as_const(options.identify)) {
        places.append(system != nullptr ? Arguments::lonLat("identify", place)
                                        : Arguments::place("identify", place));
    }

    // Picture.
    const MapSheet sheet = sheetOf(scene, layers, options);
    if (!sheet.view().isUsable()) {
        throw std::runtime_error(QStringLiteral("the extent %1 cannot be drawn")
                                     .arg(extentOf(scene, options).toString())
                                     .toStdString());
    }
    const QStringList problems = sheet.problems();
    for (const QString& problem : problems) {
        log.answer("sheet", problem);
    }
    const QList<QImage> insets = Furniture::insetPictures(scene, sheet);
    MapDrawing drawing = prepare(scene, layers, sheet.view());
    drawing.options.closedBoxes = sheet.boxesOnMap();
    Interruption::watch(); // nothing half-written is to be left
    if (Output::VectorFile::isFormat(options.output)) {
        writeVectors(drawing, sheet, insets, options, log);
    } else {
        MapSheet::Content content;
        content.picture = pictureOf(drawing, log);
        const QImage image = sheet.draw({content}, insets);
        log.done("draw", QStringLiteral("%1 x %2 pixels").arg(image.width()).arg(image.height()));
        MarkedPicture::save(image, options.output);
    }
    log.done("write",
             QStringLiteral("%1, %2 bytes").arg(options.output).arg(QFileInfo(options.output).size()));
    if (!options.saveMap.isEmpty()) {
        saveMap(layers, scene, sheet.view(), options.saveMap);
        log.done("save", options.saveMap);
    }

    for (const GisShapePoint& place : std::as_const(places)) {
        log.answer("identify",
                   QStringLiteral("%1, %2: %3")
                       .arg(QString::number(place.x()), QString::number(place.y()),
                            describeAt(layers, place, system.get(), 2.0 * sheet.view().unitsPerPixel())));
    }
    return 0;
}
