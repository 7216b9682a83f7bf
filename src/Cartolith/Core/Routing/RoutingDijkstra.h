#pragma once

#include <Cartolith/Core/Routing/RoutingCostMetric.h>
#include <Cartolith/Core/Routing/RoutingDijkstraResult.h>
#include <Cartolith/Core/Routing/RoutingRoute.h>

namespace Cartolith::Core::Routing {

class RoutingGraph;

/// Shortest paths by Dijkstra's algorithm. RoutingSearch has the faster searches for one pair of nodes, for
/// several targets, and between places along edges.
///
/// The cost of an edge is its length or its travel time in seconds. No search travels an
/// edge of negative length or one whose cost is not finite. An edge whose speed is not greater than 0 has the
/// default speed (km/h); when that is not greater than 0 either it cannot be passed under travel time.
///
/// Nodes of equal cost are settled in the order of their ids, and of ways of equal cost to a node the one
/// found first stays, so that answers do not depend on anything but the graph. Ids that are not there are no
/// error: nothing is reached.
class CARTOLITH_CORE_EXPORT RoutingDijkstra {
public:
    RoutingDijkstra() = delete;

    /// Stops when the target is settled. Without a target (below 0) it settles every node that can be
    /// reached.
    static RoutingDijkstraResult run(const RoutingGraph& graph, int source, int target = -1,
                                     RoutingCostMetric metric = RoutingCostMetric::Distance,
                                     double defaultSpeed = 50.0);
    /// As run(), stopping when all of the targets that can be reached are settled. Targets below 0
    /// or not in the graph are ignored; when none remains, only the source is reached.
    static RoutingDijkstraResult runToAll(const RoutingGraph& graph, int source, const QList<int>& targets,
                                          RoutingCostMetric metric = RoutingCostMetric::Distance,
                                          double defaultSpeed = 50.0);

    /// From source to target, both included; empty when there is no path or the tables are broken.
    static QList<int> extractNodePath(const RoutingDijkstraResult& result, int target);

    /// The target's cost goes to `cost` when that is not null; infinite when there is no path.
    static QList<int> shortestNodePath(const RoutingGraph& graph, int source, int target,
                                       double* cost = nullptr,
                                       RoutingCostMetric metric = RoutingCostMetric::Distance,
                                       double defaultSpeed = 50.0);

    /// With geometry, totals and legs of the edges travelled. Without a path: success false and the message
    /// "No route found.". From a node to itself: its path alone, no geometry.
    static RoutingRoute shortestRoute(const RoutingGraph& graph, int source, int target,
                                      RoutingCostMetric metric = RoutingCostMetric::Distance,
                                      double defaultSpeed = 50.0);

    /// The geometries of the edges between consecutive nodes, one after the other; a point that is exactly
    /// the last one is not repeated. Of parallel edges the shortest counts, of these the first; where no edge
    /// leads on there is nothing.
    static QList<RoutingPoint> pathToGeometry(const RoutingGraph& graph, const QList<int>& nodePath);

    /// Row i holds the costs from node i of the list to each node of the list; infinite where there is no
    /// way. A search of all that can be reached for each row; RoutingSearch::costMatrix() stops early.
    static QList<QList<double>> allPairsDistances(const RoutingGraph& graph, const QList<int>& nodes);
    static QList<QList<double>> allPairsTravelTimes(const RoutingGraph& graph, const QList<int>& nodes,
                                                    double defaultSpeed = 50.0);
};

} // namespace Cartolith::Core::Routing
