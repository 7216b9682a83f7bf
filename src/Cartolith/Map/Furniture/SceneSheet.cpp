#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>
#include <Cartolith/Map/Furniture/LegendSizesInternal.h>
#include <Cartolith/Map/Furniture/SceneSheet.h>
#include <Cartolith/Map/LegendBounds.h>
#include <Cartolith/Map/MapPreparation.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/MapSheet.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <optional>

using namespace Cartolith::Core;
using Symbology::GisRasterStyle;
using Symbology::GisSymbolLegendItem;
using Symbology::GisSymbolRenderer;

namespace Cartolith::Map::Furniture {

namespace {

/// As places too small for the map are hidden.
bool drawsNothing(const Layers::GisLayerStyle& style, Shapes::GisShapeType kind) {
    if (kind != Shapes::GisShapeType::Polygon && !style.sizeField().isEmpty() &&
        std::max(style.sizeFrom(), style.sizeTo()) > 0.0F) {
        return false;
    }
    if (kind == Shapes::GisShapeType::Point) {
        return style.pointSize() <= 0.0F;
    }
    const bool hasLine = style.lineWidth() > 0.0F || style.casingWidth() > 0.0F;
    return kind == Shapes::GisShapeType::Polyline
               ? !hasLine && style.haloWidth() <= 0.0F
               : !hasLine && style.fillOpacity() <= 0 && style.fillPattern() == Layers::FillPattern::None;
}

LegendContent contentOf(const Layers::GisLayerVector& layer, LegendCounts counts) {
    const GisSymbolRenderer* const renderer = layer.symbolRenderer();
    const bool isOneStyle =
        renderer == nullptr || renderer->type() == Symbology::GisSymbolRendererType::Simple;
    const bool isInMemory = dynamic_cast<const Layers::GisLayerOgrOnDemand*>(&layer) == nullptr;
    LegendContent content;
    if (!isOneStyle && isInMemory) {
        content = LegendContent::of(layer, layer.name());
    } else {
        content.kind = layer.shapeType();
        content.title = isOneStyle ? QString() : layer.name();
        const auto items = renderer != nullptr ? renderer->legendItems()
                                               : QList<GisSymbolLegendItem>{{layer.name(), layer.style()}};
        for (const GisSymbolLegendItem& item : items) {
            if (item.enabled) {
                content.rows.append({isOneStyle ? layer.name() : item.label, item.style, -1, item.isDefault});
            }
        }
        if (isOneStyle && !content.rows.isEmpty()) {
            const auto sizes = Map::Internal::sizeRows(content.rows.first().style, QString(), content.kind);
            content.rows.first().isDefault = false;
            if (!sizes.isEmpty()) {
                content.title = layer.name();
                content.rows = sizes;
            } else if (isInMemory) {
                content.rows.first().count = layer.rawShapes().size();
            }
        }
    }
    content.rows.removeIf(
        [&content](const LegendContent::Row& row) { return drawsNothing(row.style, content.kind); });
    if (counts == LegendCounts::Left) {
        for (LegendContent::Row& row : content.rows) {
            row.count = -1;
        }
        content.smallPrint.clear();
    }
    return content;
}

/// Nothing for pictures in colours of their own.
std::optional<LegendContent> contentOf(Layers::GisLayerGdalRaster& layer) {
    const GisRasterStyle& style = layer.rasterStyle();
    if (style.rendering() == GisRasterStyle::Rendering::Ramp && !style.classes().isEmpty()) {
        return LegendContent::of(
            LegendBounds(style.classes(), Symbology::GisClassificationMethod::Manual, {}),
            style.classColors(), layer.name());
    }
    if (style.rendering() != GisRasterStyle::Rendering::Ramp &&
        style.rendering() != GisRasterStyle::Rendering::Grey) {
        return std::nullopt;
    }
    const auto [least, greatest] = layer.stretchBounds(style.band());
    const Symbology::GisColorRamp grey(QStringLiteral("Grey"),
                                       {{0.0, QStringLiteral("#000000")}, {1.0, QStringLiteral("#FFFFFF")}});
    const bool isRamp = style.rendering() == GisRasterStyle::Rendering::Ramp;
    return LegendContent::of(isRamp ? style.ramp() : grey, isRamp && style.isReversed(), least, greatest,
                             layer.name());
}

} // namespace

QList<SheetLegend> legendsOf(const MapScene& scene, const MapView& view, LegendCounts counts) {
    QList<SheetLegend> legends;
    for (qsizetype i = scene.count() - 1; i >= 0; --i) {
        const MapScene::Entry& entry = scene.entry(i);
        if (entry.layer == nullptr || !scene.isDrawn(entry, view)) {
            continue;
        }
        std::optional<LegendContent> content;
        if (const auto* const vector = dynamic_cast<const Layers::GisLayerVector*>(entry.layer.get())) {
            content = contentOf(*vector, counts);
            content->casing = entry.casing;
        } else if (auto* const raster = dynamic_cast<Layers::GisLayerGdalRaster*>(entry.layer.get())) {
            content = contentOf(*raster);
        }
        if (content && !content->rows.isEmpty()) {
            legends.append({entry.layer->name(), *content});
        }
    }
    return legends;
}

QList<QImage> insetPictures(MapScene& scene, const MapSheet& sheet) {
    QList<QImage> pictures;
    for (const SheetItem& item : sheet.description().items) {
        if (item.kind != SheetItem::Kind::Inset) {
            continue;
        }
        const MapView& view = sheet.insetViews().at(pictures.size());
        MapPreparation preparation(scene, view);
        while (!preparation.step(std::chrono::hours(1))) {
        }
        MapDrawing drawing = preparation.drawing();
        drawing.layers.removeIf([&item](const MapRenderJob::Layer& layer) {
            return !item.layers.isEmpty() && !item.layers.contains(layer.snapshot.layerName());
        });
        for (MapRenderJob::Layer& layer : drawing.layers) {
            layer.selected.clear(); // it shows where, not what
        }
        drawing.options = {}; // without labels and background
        drawing.options.hasLabels = false;
        MapRenderJob job(view, drawing.layers, drawing.options);
        if (job.run() != MapRenderJob::State::Done) {
            throw std::bad_alloc();
        }
        pictures.append(job.compose());
    }
    return pictures;
}

} // namespace Cartolith::Map::Furniture
