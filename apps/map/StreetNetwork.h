#pragma once

#include <Cartolith/Core/Routing/RoutingEdgeIndex.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>

#include <QString>

namespace Cartolith::Core::Layers {
class GisLayerVector;
}

/// The streets of a layer as a network to find routes in.
class StreetNetwork {
public:
    /// The layer is in metres; its fields "highway", "maxspeed", "oneway" and "name" count where it has them.
    explicit StreetNetwork(const Cartolith::Core::Layers::GisLayerVector& layer);

    const Cartolith::Core::Routing::RoutingGraph& graph() const { return m_graph; }
    const Cartolith::Core::Routing::RoutingEdgeIndex& edges() const { return m_edges; }
    /// "8,123 crossings and ends, 15,921 edges in 3 separate parts, the greatest with 99.1 % of them".
    QString summary() const;
    /// Speeds and directions that could not be read, and lines that are none; empty when there are none.
    QString remarks() const { return m_remarks; }

private:
    Cartolith::Core::Routing::RoutingGraph m_graph;
    Cartolith::Core::Routing::RoutingEdgeIndex m_edges;
    QString m_remarks;
};
