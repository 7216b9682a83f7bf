#pragma once

#include <Cartolith/Core/Layers/GisLayerSubscription.h>
#include <Cartolith/Map/GroundScale.h>
#include <Cartolith/Map/LabelMemory.h>
#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/MapScene.h>

namespace Cartolith::Map {

class MapScene::Private {
public:
    static std::size_t checked(qsizetype position, std::size_t end);

    struct Kept {
        explicit Kept(Entry what) { setEntry(std::move(what)); }
        void setEntry(Entry what);
        /// Whether the layer has a snapshot that will do for the view, or needs none.
        bool isReady(const MapScene& scene, const MapView& inView) const;
        void setSnapshot(const LayerSnapshot& made, quint64 ofLook);

        Entry entry;
        LayerSnapshot snapshot;
        quint64 snapshotLook = 0;
        std::shared_ptr<quint64> look = std::make_shared<quint64>(0); // counts its changes
        Core::Layers::GisLayerSubscription subscription;
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
