#include <Cartolith/Core/Routing/LabelSearchInternal.h>
#include <Cartolith/Core/Routing/PlaceOnEdgesInternal.h>
#include <Cartolith/Core/Routing/RouteBuilderInternal.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/RoutingIsochrone.h>

#include <algorithm>

namespace Cartolith::Core::Routing {

using Internal::EdgePlace;
using Internal::LabelSearch;
using Internal::SearchTable;

namespace {

class Collector {
public:
    /// The places are where the search starts, if that is not a node.
    Collector(const RoutingGraph& graph, double limit, const std::vector<EdgePlace>& places)
        : m_graph(graph), m_limit(limit), m_places(places) {}

    /// The part of the edge, which costs so much as a whole, between two fractions of it, the first of which
    /// is reached at a cost within the limit. An edge of which nothing but a point is reached is left out.
    void add(int edge, double edgeCost, double startFraction, double endFraction, double startCost) {
        RoutingReach reach;
        reach.edge = edge;
        reach.startFraction = startFraction;
        reach.endFraction = endFraction;
        reach.startCost = startCost;
        reach.endCost = startCost + (endFraction - startFraction) * edgeCost;
        if (reach.endCost > m_limit) {
            reach.endCost = m_limit;
            reach.endFraction = std::min(endFraction, startFraction + (m_limit - startCost) / edgeCost);
        }
        if (!(reach.endFraction > startFraction)) {
            return;
        }
        reach.geometry =
            Internal::cutLine(m_graph.edges().at(edge).geometry, startFraction, reach.endFraction);
        m_reached.append(reach);
    }

    /// Everything beyond the nodes that the search was started at.
    QList<RoutingReach> spread(LabelSearch<>& search, const Internal::ArcRows& rows) {
        for (int node = search.next(); node >= 0 && search.label(node).cost <= m_limit;
             node = search.next()) {
            const double cost = search.label(node).cost;
            const auto at = static_cast<std::size_t>(node);
            for (int i = rows.first[at]; i < rows.first[at + 1]; ++i) {
                const Internal::Arc& arc = rows.arcs[static_cast<std::size_t>(i)];
                // What lies beyond the place where the search starts was reached from there.
                const auto start = std::find_if(m_places.begin(), m_places.end(), [&arc](const auto& place) {
                    return place.edge == arc.edge && place.fraction > 0.0;
                });
                add(arc.edge, arc.cost, 0.0, start != m_places.end() ? start->fraction : 1.0, cost);
            }
            search.spread(node);
        }
        return std::move(m_reached);
    }

private:
    const RoutingGraph& m_graph;
    double m_limit;
    const std::vector<EdgePlace>& m_places;
    QList<RoutingReach> m_reached;
};

} // namespace

QList<RoutingReach> RoutingIsochrone::reach(const RoutingGraph& graph, int source, double limit,
                                            RoutingCostMetric metric, double defaultSpeed) {
    if (!(limit >= 0.0) || !graph.nodes().contains(source)) {
        return {};
    }
    SearchTable& table = SearchTable::of(graph);
    const Internal::ArcRows& rows = table.outgoing(metric, defaultSpeed);
    LabelSearch<> search(table.memory(0), rows, table.numbers().count());
    search.start(table.numbers().numberOf(source), 0.0);
    const std::vector<EdgePlace> none;
    return Collector(graph, limit, none).spread(search, rows);
}

QList<RoutingReach> RoutingIsochrone::reach(const RoutingGraph& graph, const RoutingPlace& source,
                                            double limit, RoutingCostMetric metric, double defaultSpeed) {
    const std::vector<EdgePlace> places = Internal::edgePlaces(graph, source, metric, defaultSpeed);
    if (!(limit >= 0.0) || places.empty()) {
        return {};
    }
    SearchTable& table = SearchTable::of(graph);
    const Internal::ArcRows& rows = table.outgoing(metric, defaultSpeed);
    LabelSearch<> search(table.memory(0), rows, table.numbers().count());
    Collector collector(graph, limit, places);
    for (const EdgePlace& place : places) {
        const RoutingEdge& edge = graph.edges().at(place.edge);
        search.start(table.numbers().numberOf(edge.endNode), place.costToEnd());
        if (place.fraction <= 0.0) {
            search.start(table.numbers().numberOf(edge.startNode), 0.0);
        } else {
            collector.add(place.edge, place.cost, place.fraction, 1.0, 0.0);
        }
    }
    return collector.spread(search, rows);
}

} // namespace Cartolith::Core::Routing
