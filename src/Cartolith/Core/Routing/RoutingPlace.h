#pragma once

#include <Cartolith/Core/Routing/RoutingPoint.h>

#include <limits>

namespace Cartolith::Core::Routing {

/// A place along an edge of a graph, as RoutingEdgeIndex finds it. On a street of two edges, one for each
/// direction, it is a place on both.
struct RoutingPlace {
    bool found() const noexcept { return edge >= 0; }

    int edge = -1;         ///< position in RoutingGraph::edges(); -1 when nothing was found
    double fraction = 0.0; ///< of the length of the edge's geometry, from its start node on, 0 to 1
    RoutingPoint position; ///< on the edge
    double distance = std::numeric_limits<double>::infinity(); ///< from the point asked about to the position
};

} // namespace Cartolith::Core::Routing
