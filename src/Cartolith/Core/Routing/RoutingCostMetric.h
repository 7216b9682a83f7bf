#pragma once

namespace Cartolith::Core::Routing {

/// What a search makes least.
enum class RoutingCostMetric {
    Distance,  ///< the sum of the edges' lengths
    TravelTime ///< the sum of the edges' travel times in seconds
};

} // namespace Cartolith::Core::Routing
