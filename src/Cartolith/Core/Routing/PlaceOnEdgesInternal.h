#pragma once

#include <Cartolith/Core/Routing/RoutingCostMetric.h>
#include <Cartolith/Core/Routing/RoutingPlace.h>

#include <vector>

namespace Cartolith::Core::Routing {

class RoutingGraph;

namespace Internal {

/// A place on an edge that can be passed.
struct EdgePlace {
    int edge;        ///< position
    double fraction; ///< from the start node, 0 to 1
    double cost;     ///< of the whole edge

    double costToEnd() const { return fraction <= 0.0 ? cost : (1.0 - fraction) * cost; }
    double costFromStart() const { return fraction >= 1.0 ? cost : fraction * cost; }
};

/// The place on its edge, and on the edge that leads back along the same line; those that can be passed.
/// Empty for a place that was not found or is not on the graph.
std::vector<EdgePlace> edgePlaces(const RoutingGraph& graph, const RoutingPlace& place,
                                  RoutingCostMetric metric, double defaultSpeed);

} // namespace Internal
} // namespace Cartolith::Core::Routing
