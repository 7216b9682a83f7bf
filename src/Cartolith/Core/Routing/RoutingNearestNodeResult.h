#pragma once

#include <Cartolith/Core/Routing/RoutingPoint.h>

#include <limits>

namespace Cartolith::Core::Routing {

/// The answer of RoutingNodeIndex::nearestNode().
struct RoutingNearestNodeResult {
    bool found() const noexcept { return nodeId >= 0; }

    int nodeId = -1; ///< -1 when nothing was found
    RoutingPoint position;
    /// Infinite when nothing was found, and when its square overflows.
    double distance = std::numeric_limits<double>::infinity();
};

} // namespace Cartolith::Core::Routing
