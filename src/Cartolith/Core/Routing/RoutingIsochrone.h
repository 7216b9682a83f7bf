#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Routing/RoutingCostMetric.h>
#include <Cartolith/Core/Routing/RoutingPlace.h>

#include <QList>

namespace Cartolith::Core::Routing {

class RoutingGraph;

/// The part of an edge that can be reached within a limit.
struct RoutingReach {
    int edge = -1;              ///< position in RoutingGraph::edges()
    double startFraction = 0.0; ///< of its length; above 0 on the edge that the search starts on
    double endFraction = 1.0;   ///< below 1 where the limit cuts it
    double startCost = 0.0;
    double endCost = 0.0; ///< the limit where that cuts the edge
    QList<RoutingPoint> geometry;
};

/// How far one comes: everything within a distance or a time of a place, with the edges cut at the limit.
/// Costs and passable edges are those of RoutingDijkstra. Each direction of a street is an edge of its own,
/// entered at its start node; so a street may be reached from both of its ends.
class CARTOLITH_CORE_EXPORT RoutingIsochrone {
public:
    RoutingIsochrone() = delete;

    /// In the order in which their start nodes are settled, then in the order of the edges; empty for a limit
    /// that is negative or NaN and for a node that is not there.
    static QList<RoutingReach> reach(const RoutingGraph& graph, int source, double limit,
                                     RoutingCostMetric metric = RoutingCostMetric::Distance,
                                     double defaultSpeed = 50.0);
    /// The same from a place along an edge, whose reachable parts come first.
    static QList<RoutingReach> reach(const RoutingGraph& graph, const RoutingPlace& source, double limit,
                                     RoutingCostMetric metric = RoutingCostMetric::Distance,
                                     double defaultSpeed = 50.0);
};

} // namespace Cartolith::Core::Routing
