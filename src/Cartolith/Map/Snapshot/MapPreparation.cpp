#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Map/LayerSnapshotBuilder.h>
#include <Cartolith/Map/MapPreparation.h>
#include <Cartolith/Map/Picking/SelectionSet.h>
#include <Cartolith/Map/Scene/MapSceneInternal.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <stdexcept>

using namespace Cartolith::Core;

namespace Cartolith::Map {

class MapPreparation::Private {
public:
    Private(MapScene& drawn, const MapView& drawnView) : scene(drawn), view(drawnView) {}

    void fail(MapScene::Private::Kept& kept, const char* why) {
        problems.append(QStringLiteral("%1: %2").arg(kept.entry.layer->name(), QString::fromUtf8(why)));
        kept.snapshot = {};
        builder.reset();
        ++position;
    }

    MapScene& scene;
    const MapView view;
    qsizetype position = 0;
    std::optional<LayerSnapshotBuilder> builder; // of the layer at the position
    QStringList problems;
    std::atomic<bool> isCancelled = false;
};

MapPreparation::MapPreparation(MapScene& scene, const MapView& view)
    : d(std::make_unique<Private>(scene, view)) {}

MapPreparation::~MapPreparation() = default;

bool MapPreparation::step(std::chrono::milliseconds budget) {
    const auto end = std::chrono::steady_clock::now() + budget;
    std::vector<MapScene::Private::Kept>& entries = d->scene.d->entries;
    while (d->position < d->scene.count()) {
        if (d->isCancelled.load(std::memory_order_relaxed)) {
            return true;
        }
        MapScene::Private::Kept& kept = entries[static_cast<std::size_t>(d->position)];
        try {
            if (!d->builder && kept.isReady(d->scene, d->view)) {
                ++d->position;
                continue;
            }
            if (!d->builder) {
                d->builder.emplace(*kept.entry.layer, d->view, d->scene.coordinateSystem());
            }
            // Short ones, to look whether it is cancelled.
            if (!d->builder->step(std::min(budget, std::chrono::milliseconds(10)))) {
                if (std::chrono::steady_clock::now() >= end) {
                    return false;
                }
                continue;
            }
            kept.snapshot = d->builder->snapshot();
            d->builder.reset();
            ++d->position;
        } catch (const std::runtime_error& error) {
            d->fail(kept, error.what());
        } catch (const std::invalid_argument& error) { // a style that names a band the raster does not have
            d->fail(kept, error.what());
        }
    }
    return true;
}

void MapPreparation::cancel() noexcept {
    d->isCancelled.store(true, std::memory_order_relaxed);
}

double MapPreparation::progress() const noexcept {
    const double done = static_cast<double>(d->position) + (d->builder ? d->builder->progress() : 0.0);
    return d->scene.count() == 0 ? 1.0 : done / static_cast<double>(d->scene.count());
}

const QStringList& MapPreparation::problems() const {
    return d->problems;
}

std::unique_ptr<MapRenderJob> MapPreparation::job() const {
    const MapDrawing all = drawing();
    return std::make_unique<MapRenderJob>(all.view, all.layers, all.options);
}

MapDrawing MapPreparation::drawing() const {
    MapDrawing drawing;
    drawing.view = d->view;
    drawing.system = d->scene.coordinateSystem();
    for (const MapScene::Private::Kept& kept : d->scene.d->entries) {
        if (d->scene.isDrawn(kept.entry, d->view) && !(kept.snapshot == LayerSnapshot())) {
            drawing.layers.append({kept.snapshot, kept.entry.opacity, kept.entry.blend, kept.entry.casing});
            if (d->scene.selection() != nullptr) {
                drawing.layers.last().selected = d->scene.selection()->ids(kept.entry.layer);
            }
        }
    }
    drawing.options.background = d->scene.background();
    drawing.options.scaleDenominator = d->scene.scaleDenominator(d->view);
    drawing.options.labelMemory = d->scene.d->labelMemory;
    return drawing;
}

} // namespace Cartolith::Map
