#pragma once

#include <Cartolith/Core/Layers/GisLayerSubscription.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/Picking/ShapesOnMapInternal.h>
#include <Cartolith/Map/Picking/SnapTreeInternal.h>

#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace Cartolith::Core::Layers {
class GisFeatureReader;
class GisLayerVector;
} // namespace Cartolith::Core::Layers

namespace Cartolith::Map::Picking::Internal {

/// The pieces of one layer, as they are on the map; begun anew when the layer changes.
class SnapLayer {
public:
    SnapLayer(std::shared_ptr<Core::Layers::GisLayerVector> layer, ShapesOnMap::Systems mapSystem);
    ~SnapLayer();

    /// A piece of work; false when there is none left. `view` is what is read of a layer that reads as asked,
    /// and how closely bent edges are followed.
    bool work(const MapView& view);
    /// Whether work() has nothing to do: the tree is of the layer as it is now, or of none that can be read.
    bool isReady(const MapView& view) const;
    /// Whether what is in the tree is in the layer.
    bool isUnchanged() const { return !*m_isChanged; }
    double progress() const;
    /// Why nothing, or not everything, is in the tree; empty otherwise.
    const QString& problem() const { return m_problem; }

    const std::shared_ptr<Core::Layers::GisLayerVector>& layer() const { return m_layer; }
    const SnapTree& tree() const { return m_tree; }
    qint64 featureId(const SnapItem& item) const { return m_featureIds[item.feature]; }

private:
    void begin(const MapView& view);
    bool collect();
    void openReader(const MapView& view);
    void take(const Core::Shapes::GisShape& shape, qint64 id);
    void addEdges(LayerSnapshot::Kind kind, quint32 feature);
    void addCentre(LayerSnapshot::Kind kind, quint32 feature);

    std::shared_ptr<Core::Layers::GisLayerVector> m_layer;
    ShapesOnMap::Systems m_mapSystem;
    const bool m_isReadByView;
    std::shared_ptr<bool> m_isChanged = std::make_shared<bool>(true); // since it was begun
    Core::Layers::GisLayerSubscription m_subscription;

    std::unique_ptr<ShapesOnMap> m_shapes; // while shapes are taken
    std::unique_ptr<Core::Layers::GisFeatureReader> m_reader;
    std::size_t m_position = 0; // in the layer's list
    bool m_isCollected = false;
    Core::Shapes::GisExtent m_read; // of a layer that reads as asked
    Map::Internal::Bending m_bending;
    std::vector<QPointF> m_vertices; // of one shape, sorted

    SnapTree m_tree;
    std::vector<qint64> m_featureIds;
    QString m_problem;
};

} // namespace Cartolith::Map::Picking::Internal
