#include <Cartolith/Core/Layers/GisFeatureReader.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Symbology/GisFeatureSymbol.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/Picking/Picker.h>
#include <Cartolith/Map/Picking/PixelDistanceInternal.h>
#include <Cartolith/Map/Picking/ShapesOnMapInternal.h>
#include <Cartolith/Map/RendererFields.h>
#include <Cartolith/Map/Snapshot/FlatShapeInternal.h>
#include <Cartolith/Map/Symbols/SaneSizeInternal.h>
#include <Cartolith/Map/Symbols/SymbolReachInternal.h>

#include <QSet>

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <vector>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using Layers::GisLayerStyle;
using Shapes::GisExtent;

namespace Cartolith::Map::Picking {

using Map::Internal::saneSize;

namespace {

/// From the middle of what a style draws to its edge, in pixels of the style.
double reachOf(const GisLayerStyle& style, LayerSnapshot::Kind kind) {
    const double line = saneSize(style.lineWidth());
    return (kind == LayerSnapshot::Kind::Point ? saneSize(style.pointSize()) + line : line) / 2.0;
}

using System = std::shared_ptr<CoordinateSystem>;

} // namespace

class Picker::Private {
public:
    struct Asked {
        const MapView& view;
        const System& system;
        QPointF pixel;
        double pixels;
    };

    /// What was made for a layer; good as long as the systems are these.
    struct Way {
        std::weak_ptr<Layers::GisLayer> layer;
        System layerSystem;
        System mapSystem;
        std::unique_ptr<Internal::ShapesOnMap> shapes;
        double coarse = 0.0; // how closely edges are followed that are not near the pixel
    };

    Way& wayOf(const std::shared_ptr<Layers::GisLayer>& layer, const Asked& asked) {
        std::erase_if(ways, [&](const Way& way) {
            const auto of = way.layer.lock();
            return of == nullptr || (of == layer && (way.layerSystem != layer->coordinateSystem() ||
                                                     way.mapSystem != asked.system));
        });
        auto found =
            std::find_if(ways.begin(), ways.end(), [&](const Way& way) { return way.layer.lock() == layer; });
        if (found == ways.end()) {
            ways.push_back({layer, layer->coordinateSystem(), asked.system,
                            std::make_unique<Internal::ShapesOnMap>(*layer, asked.system)});
            found = std::prev(ways.end());
            if (found->shapes->isElsewhere()) {
                found->coarse = Map::Internal::Bending::ofAll(*layer, *asked.system);
            }
        }
        return *found;
    }

    void look(const std::shared_ptr<Layers::GisLayer>& layer, qsizetype position, const Asked& asked,
              QList<Hit>& hits) {
        try {
            if (const auto raster = std::dynamic_pointer_cast<Layers::GisLayerRaster>(layer)) {
                lookAtRaster(raster, position, asked, hits);
            } else if (const auto vector = std::dynamic_pointer_cast<Layers::GisLayerVector>(layer)) {
                lookAtShapes(vector, position, asked, hits);
            }
        } catch (const std::runtime_error& error) {
            problems.append(QStringLiteral("%1: %2").arg(layer->name(), QString::fromUtf8(error.what())));
        } catch (const std::invalid_argument& error) { // a style that names a band the raster does not have
            problems.append(QStringLiteral("%1: %2").arg(layer->name(), QString::fromUtf8(error.what())));
        }
    }

    static void lookAtRaster(const std::shared_ptr<Layers::GisLayerRaster>& raster, qsizetype position,
                             const Asked& asked, QList<Hit>& hits) {
        const QPointF place = asked.view.toMap(asked.pixel);
        const CoordinateSystem* const system = asked.system.get();
        if (const auto* const cells = dynamic_cast<const Layers::GisLayerGdalRaster*>(raster.get())) {
            const QList<double> values = cells->valuesAt({place.x(), place.y()}, system);
            const auto hasValue = [](double value) { return !std::isnan(value); };
            if (std::any_of(values.cbegin(), values.cend(), hasValue)) {
                hits.append({raster, position, -1, 0.0, values});
            }
            return;
        }
        const double half = asked.view.unitsPerPixel() / 2.0;
        const QImage pixel = raster->readImage(
            {place.x() - half, place.y() - half, place.x() + half, place.y() + half}, {1, 1}, system);
        if (!pixel.isNull() && pixel.pixelColor(0, 0).alpha() > 0) {
            hits.append({raster, position, -1, 0.0, {}});
        }
    }

    /// In the order in which they are drawn.
    void lookAtShapes(const std::shared_ptr<Layers::GisLayerVector>& layer, qsizetype position,
                      const Asked& asked, QList<Hit>& hits) {
        Way& way = wayOf(layer, asked);
        Internal::ShapesOnMap& shapes = *way.shapes;
        const double margin =
            (asked.pixels + Map::Internal::farthestReach(*layer) * asked.view.devicePixelRatio() + 1.0) *
            asked.view.unitsPerPixel();
        const QPointF place = asked.view.toMap(asked.pixel);
        const GisExtent around =
            GisExtent(place.x(), place.y(), place.x(), place.y()).inflate(margin, margin);
        // What is farther away is not asked for, but for on which side of it the pixel is.
        shapes.bend(Map::Internal::Bending::within(around, asked.view.unitsPerPixel(), way.coarse));
        const auto box = shapes.onLayer(around);
        if (!box) {
            return;
        }
        std::vector<Hit> found;
        const auto lookAt = [&](const Shapes::GisShape& shape, qint64 id) {
            if (const auto distance = distanceOf(*layer, shape, shapes, asked)) {
                found.push_back({layer, position, id, *distance, {}});
            }
        };
        if (dynamic_cast<const Layers::GisLayerOgrOnDemand*>(layer.get()) != nullptr && !layer->isDirty()) {
            readShapes(*layer, *box, lookAt);
        } else {
            QList<Shapes::GisShape*> near = layer->query(*box);
            std::sort(near.begin(), near.end(),
                      [](const auto* a, const auto* b) { return a->id() < b->id(); });
            const Map::Internal::FeatureIds ids(*layer);
            for (const Shapes::GisShape* shape : std::as_const(near)) {
                lookAt(*shape, ids.of(*shape));
            }
        }
        std::reverse(found.begin(), found.end());
        std::stable_sort(found.begin(), found.end(),
                         [](const Hit& a, const Hit& b) { return a.distance < b.distance; });
        QSet<qint64> seen;
        for (Hit& hit : found) {
            if (!seen.contains(hit.featureId)) {
                seen.insert(hit.featureId);
                hits.append(std::move(hit));
            }
        }
    }

    template <typename LookAt>
    void readShapes(Layers::GisLayerVector& layer, const GisExtent& box, LookAt lookAt) {
        constexpr qint64 most = 100'000;
        Layers::GisFeatureRequest request;
        request.extent = box;
        request.limit = most;
        request.fields = Symbology::GisFeatureSymbol::fieldsOf(layer.style());
        if (const Symbology::GisSymbolRenderer* const renderer = layer.symbolRenderer()) {
            request.fields = fieldsOf(*renderer);
            for (const Symbology::GisSymbolLegendItem& item : renderer->legendItems()) {
                *request.fields += Symbology::GisFeatureSymbol::fieldsOf(item.style);
            }
            if (renderer->usesFeatureAttributes() && request.fields->isEmpty()) {
                request.fields.reset();
            }
        }
        const auto reader = layer.read(request);
        qint64 count = 0;
        for (; reader->next(); ++count) {
            if (const Shapes::GisShape* const shape = reader->shape()) {
                lookAt(*shape, reader->featureId());
            }
        }
        if (count == most) {
            problems.append(QStringLiteral("%1: more than %2 features are near").arg(layer.name()).arg(most));
        }
    }

    /// None when it is farther than asked.
    static std::optional<double> distanceOf(const Layers::GisLayer& layer, const Shapes::GisShape& shape,
                                            Internal::ShapesOnMap& shapes, const Asked& asked) {
        const auto kind = shapes.take(shape);
        if (!kind) {
            return std::nullopt;
        }
        const CoordinateSystems::CutParts& parts = shapes.parts();
        const double toMiddle =
            Internal::pixelDistance(*kind, parts.coordinates, parts.ends, asked.view, asked.pixel);
        const Symbology::GisSymbolRenderer* const renderer = layer.symbolRenderer();
        const Symbology::GisSymbolContext context(shape);
        const GisLayerStyle style = Symbology::GisFeatureSymbol::resolved(
            renderer == nullptr ? layer.style() : renderer->styleForFeature(context), context,
            shape.shapeType());
        if (*kind == LayerSnapshot::Kind::Point && !(style.pointSize() > 0.0F)) {
            return std::nullopt; // left out of the picture
        }
        const double reach = reachOf(style, *kind);
        const double distance = std::max(0.0, toMiddle - reach * asked.view.devicePixelRatio());
        return distance <= asked.pixels ? std::optional(distance) : std::nullopt;
    }

    template <typename IsShown>
    QList<Hit> lookAtAll(const QList<std::shared_ptr<Layers::GisLayer>>& layers, const Asked& asked,
                         IsShown isShown) {
        constexpr double most = 1000.0;
        problems.clear();
        QList<Hit> hits;
        const bool isPlace = std::isfinite(asked.pixel.x()) && std::isfinite(asked.pixel.y());
        if (!asked.view.isUsable() || !isPlace || !(asked.pixels >= 0.0)) {
            return hits;
        }
        const Asked bounded{asked.view, asked.system, asked.pixel, std::min(asked.pixels, most)};
        for (qsizetype i = layers.size() - 1; i >= 0; --i) {
            if (layers.at(i) != nullptr && isShown(i)) {
                look(layers.at(i), i, bounded, hits);
            }
        }
        return hits;
    }

    std::vector<Way> ways;
    System groundSystem;
    GroundScale ground{nullptr};
    QStringList problems;
};

Picker::Picker() : d(std::make_unique<Private>()) {}
Picker::~Picker() = default;

QList<Hit> Picker::hitTest(const MapScene& scene, const MapView& view, QPointF pixel, double pixels) {
    QList<std::shared_ptr<Layers::GisLayer>> layers;
    for (qsizetype i = 0; i < scene.count(); ++i) {
        layers.append(scene.entry(i).layer);
    }
    return d->lookAtAll(layers, {view, scene.coordinateSystem(), pixel, pixels},
                        [&](qsizetype i) { return scene.isDrawn(scene.entry(i), view); });
}

QList<Hit> Picker::hitTest(const QList<std::shared_ptr<Layers::GisLayer>>& layers, const System& mapSystem,
                           const MapView& view, QPointF pixel, double pixels) {
    if (d->groundSystem != mapSystem) {
        d->ground = GroundScale(mapSystem);
        d->groundSystem = mapSystem;
    }
    const double scale = view.scaleDenominator(d->ground);
    return d->lookAtAll(layers, {view, mapSystem, pixel, pixels},
                        [&](qsizetype i) { return layers.at(i)->isVisibleAtScale(scale); });
}

const QStringList& Picker::problems() const {
    return d->problems;
}

} // namespace Cartolith::Map::Picking
