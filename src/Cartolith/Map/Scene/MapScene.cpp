#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisLayerOgrOnDemand.h>
#include <Cartolith/Core/Layers/GisLayerRaster.h>
#include <Cartolith/Map/LayerSnapshotBuilder.h>
#include <Cartolith/Map/MapPreparation.h>
#include <Cartolith/Map/Projection.h>
#include <Cartolith/Map/Scene/MapSceneInternal.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using Shapes::GisExtent;

namespace Cartolith::Map {

std::size_t MapScene::Private::checked(qsizetype position, std::size_t end) {
    if (position < 0 || static_cast<std::size_t>(position) >= end) {
        throw std::out_of_range("the map has no layer at that position");
    }
    return static_cast<std::size_t>(position);
}

void MapScene::Private::Kept::setEntry(Entry what) {
    if (entry.layer != what.layer) {
        snapshot = {};
    }
    entry = std::move(what);
}

bool MapScene::Private::Kept::isReady(const MapScene& scene, const MapView& inView) const {
    return !scene.isDrawn(entry, inView) || snapshot.isOf(*entry.layer, inView, scene.coordinateSystem());
}

MapScene::MapScene() : d(std::make_unique<Private>()) {}
MapScene::~MapScene() = default;
MapScene::MapScene(MapScene&& other) noexcept = default;
MapScene& MapScene::operator=(MapScene&& other) noexcept = default;

const std::shared_ptr<CoordinateSystem>& MapScene::coordinateSystem() const {
    return d->system;
}

void MapScene::setCoordinateSystem(std::shared_ptr<CoordinateSystem> system) {
    d->ground = GroundScale(system);
    d->system = std::move(system);
}

const MapView& MapScene::view() const {
    return d->view;
}

void MapScene::setView(const MapView& view) {
    d->view = view;
}

QColor MapScene::background() const {
    return d->background;
}

void MapScene::setBackground(QColor color) {
    d->background = color;
}

qsizetype MapScene::count() const {
    return static_cast<qsizetype>(d->entries.size());
}

const MapScene::Entry& MapScene::entry(qsizetype position) const {
    return d->entries[Private::checked(position, d->entries.size())].entry;
}

void MapScene::append(std::shared_ptr<Layers::GisLayer> layer) {
    Entry entry;
    entry.layer = std::move(layer);
    insert(count(), std::move(entry));
}

void MapScene::insert(qsizetype position, Entry entry) {
    if (entry.layer == nullptr && entry.missing.isEmpty()) {
        throw std::invalid_argument("there is no layer to put into the map");
    }
    const std::size_t at = Private::checked(position, d->entries.size() + 1);
    d->entries.insert(d->entries.begin() + static_cast<std::ptrdiff_t>(at), Private::Kept(std::move(entry)));
}

void MapScene::replace(qsizetype position, Entry entry) {
    if (entry.layer == nullptr && entry.missing.isEmpty()) {
        throw std::invalid_argument("there is no layer to put into the map");
    }
    d->entries[Private::checked(position, d->entries.size())].setEntry(std::move(entry));
}

void MapScene::remove(qsizetype position) {
    const std::size_t at = Private::checked(position, d->entries.size());
    d->entries.erase(d->entries.begin() + static_cast<std::ptrdiff_t>(at));
}

void MapScene::move(qsizetype from, qsizetype to) {
    const auto first =
        d->entries.begin() + static_cast<std::ptrdiff_t>(Private::checked(from, d->entries.size()));
    const auto target =
        d->entries.begin() + static_cast<std::ptrdiff_t>(Private::checked(to, d->entries.size()));
    if (first < target) {
        std::rotate(first, first + 1, target + 1);
    } else {
        std::rotate(target, first, first + 1);
    }
}

const std::shared_ptr<const Picking::SelectionSet>& MapScene::selection() const {
    return d->selection;
}

void MapScene::setSelection(std::shared_ptr<const Picking::SelectionSet> selection) {
    d->selection = std::move(selection);
}

GisExtent MapScene::extent() {
    GisExtent all;
    for (Private::Kept& kept : d->entries) {
        Layers::GisLayer* const layer = kept.entry.layer.get();
        if (layer == nullptr) {
            continue;
        }
        const bool isElsewhere = d->system != nullptr && !Projection::isIn(*layer, *d->system);
        if (!isElsewhere) {
            all = all.expand(layer->extent());
        } else if (const auto* const raster = dynamic_cast<const Layers::GisLayerRaster*>(layer)) {
            all = all.expand(raster->extentIn(*d->system));
        } else if (dynamic_cast<const Layers::GisLayerOgrOnDemand*>(layer) != nullptr &&
                   layer->coordinateSystem() != nullptr) { // without, the builder says so
            all = all.expand(
                Projection::meshIn(layer->extent(), *layer->coordinateSystem(), *d->system).extent);
        } else {
            if (!kept.snapshot.isOf(*layer, d->view, d->system)) {
                LayerSnapshotBuilder builder(*layer, d->view, d->system);
                while (!builder.step(std::chrono::hours(1))) {
                }
                kept.snapshot = builder.snapshot();
            }
            all = all.expand(kept.snapshot.extent());
        }
    }
    return all;
}

double MapScene::scaleDenominator(const MapView& view) const {
    return view.scaleDenominator(d->ground);
}

bool MapScene::isDrawn(const Entry& entry, const MapView& view) const {
    return entry.layer != nullptr && entry.opacity > 0.0 &&
           entry.layer->isVisibleAtScale(scaleDenominator(view));
}

LayerSnapshot MapScene::snapshot(qsizetype position) const {
    return d->entries[Private::checked(position, d->entries.size())].snapshot;
}

QImage MapScene::draw(const MapView& view) {
    MapPreparation preparation(*this, view);
    while (!preparation.step(std::chrono::hours(1))) {
    }
    const auto job = preparation.job();
    if (job->run() == MapRenderJob::State::Failed) {
        throw std::bad_alloc();
    }
    return job->compose();
}

} // namespace Cartolith::Map
