#include <Cartolith/Core/Routing/PlaceOnEdgesInternal.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/SearchTableInternal.h>

#include <algorithm>

namespace Cartolith::Core::Routing::Internal {

std::vector<EdgePlace> edgePlaces(const RoutingGraph& graph, const RoutingPlace& place,
                                  RoutingCostMetric metric, double defaultSpeed) {
    std::vector<EdgePlace> places;
    if (place.edge < 0 || place.edge >= graph.edgeCount() ||
        !(place.fraction >= 0.0 && place.fraction <= 1.0)) {
        return places;
    }
    const auto add = [&](const RoutingEdge& edge, double fraction) {
        if (const auto cost = edgeCost(edge, metric, defaultSpeed)) {
            places.push_back({static_cast<int>(&edge - graph.edges().constData()), fraction, *cost});
        }
    };
    const RoutingEdge& edge = graph.edges().at(place.edge);
    add(edge, place.fraction);
    for (const RoutingEdge* const back : graph.outEdges(edge.endNode)) {
        if (back != &edge && back->endNode == edge.startNode &&
            std::equal(back->geometry.crbegin(), back->geometry.crend(), edge.geometry.cbegin(),
                       edge.geometry.cend())) {
            add(*back, 1.0 - place.fraction);
        }
    }
    return places;
}

} // namespace Cartolith::Core::Routing::Internal
