#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Routing/RoutingCostMetric.h>
#include <Cartolith/Core/Routing/RoutingPlace.h>
#include <Cartolith/Core/Routing/RoutingRoute.h>

namespace Cartolith::Core::Routing {

class RoutingGraph;

/// Searches for one pair of nodes that look at less of the graph than RoutingDijkstra, many pairs at once,
/// and routes between places along edges. Costs, passable edges, missing ids and the message without a route
/// are those of RoutingDijkstra.
class CARTOLITH_CORE_EXPORT RoutingSearch {
public:
    RoutingSearch() = delete;

    /// A* (P. Hart, N. Nilsson and B. Raphael, 1968). The estimate is the straight distance times the least
    /// cost per straight distance of any edge, so that it is right for any graph; where an edge costs nothing
    /// it says nothing, and the search is Dijkstra's.
    ///
    /// The cost is that of RoutingDijkstra::run() to the last bit: the search goes on past its first arrival
    /// until rounding cannot hide a smaller cost. Of ways of equal cost it may find another one.
    static RoutingRoute aStarRoute(const RoutingGraph& graph, int source, int target,
                                   RoutingCostMetric metric = RoutingCostMetric::Distance,
                                   double defaultSpeed = 50.0);

    /// From both ends until they meet (I. Pohl, 1971). Costs are added up from either end, so that of ways
    /// whose costs differ by rounding alone another one than run()'s may be found; its cost, added up from
    /// the source, is then greater than that of run() by at most n * 2^-51 of it for ways of n edges.
    static RoutingRoute bidirectionalRoute(const RoutingGraph& graph, int source, int target,
                                           RoutingCostMetric metric = RoutingCostMetric::Distance,
                                           double defaultSpeed = 50.0);

    /// Row i holds the costs from source i to each of the targets, as run() gives them; infinite where there
    /// is no way. One search for each source, which stops when the targets are settled.
    static QList<QList<double>> costMatrix(const RoutingGraph& graph, const QList<int>& sources,
                                           const QList<int>& targets,
                                           RoutingCostMetric metric = RoutingCostMetric::Distance,
                                           double defaultSpeed = 50.0);

    /// Between places along edges of the graph; it is not changed. The first and the last edge count by the
    /// fraction travelled. Where an edge leads back between the same nodes along the same line, a place on
    /// one is a place on the other, too. The node path holds the nodes passed; it may be empty.
    static RoutingRoute routeBetween(const RoutingGraph& graph, const RoutingPlace& from,
                                     const RoutingPlace& to,
                                     RoutingCostMetric metric = RoutingCostMetric::Distance,
                                     double defaultSpeed = 50.0);
};

} // namespace Cartolith::Core::Routing
