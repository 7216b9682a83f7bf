#pragma once

#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/LabelMemory.h>
#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/MapScene.h>

namespace Cartolith::Map {

class MapScene::Private {
public:
    static std::size_t checked(qsizetype position, std::size_t end);

    struct Kept {
        explicit Kept(Entry what) : entry(std::move(what)) {}
        void setEntry(Entry what);
        /// Whether the layer has a snapshot that will do for the view, or needs none.
        bool isReady(const MapScene& scene, const MapView& inView) const;

        Entry entry;
        LayerSnapshot snapshot;
    };

    std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> system;
    GroundScale ground{nullptr};
    MapView view;
    QColor background = Qt::transparent;
    std::vector<Kept> entries;
    std::shared_ptr<const Picking::SelectionSet> selection;
    std::shared_ptr<LabelMemory> labelMemory = std::make_shared<LabelMemory>();
};

} // namespace Cartolith::Map
