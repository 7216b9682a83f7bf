#pragma once

#include <Cartolith/Core/Routing/RoutingRoute.h>

#include <algorithm>
#include <numeric>

namespace Cartolith::Core::Routing {

/// The routes of a fleet, one for each vehicle; RoutingSolver fills it.
struct RoutingSolution {
    /// The sum over the routes in their order.
    double totalDistance() const {
        return std::accumulate(routes.begin(), routes.end(), 0.0, [](double sum, const RoutingRoute& route) {
            return sum + route.totalDistance;
        });
    }
    /// The sum over the routes in their order, in seconds.
    double totalTime() const {
        return std::accumulate(routes.begin(), routes.end(), 0.0,
                               [](double sum, const RoutingRoute& route) { return sum + route.totalTime; });
    }
    /// The number of routes that are not empty.
    int vehiclesUsed() const {
        return static_cast<int>(std::count_if(routes.begin(), routes.end(),
                                              [](const RoutingRoute& route) { return !route.isEmpty(); }));
    }

    QList<RoutingRoute> routes;
};

} // namespace Cartolith::Core::Routing
