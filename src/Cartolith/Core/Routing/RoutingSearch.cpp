#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Routing/LabelSearchInternal.h>
#include <Cartolith/Core/Routing/PlaceOnEdgesInternal.h>
#include <Cartolith/Core/Routing/RouteBuilderInternal.h>
#include <Cartolith/Core/Routing/RoutingDijkstra.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/RoutingSearch.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Routing {

using Internal::EdgePlace;
using Internal::LabelSearch;
using Internal::SearchTable;

namespace {

using Common::Internal::infinity;

class StraightLine {
public:
    StraightLine(const std::vector<RoutingPoint>& positions, int target, double costPerDistance)
        : m_positions(positions.data()), m_target(positions[static_cast<std::size_t>(target)]),
          m_costPerDistance(costPerDistance) {}

    double operator()(int node) const {
        const double estimate = m_positions[node].distanceTo(m_target) * m_costPerDistance;
        return estimate < infinity ? estimate : 0.0; // NaN: the node has no place
    }

private:
    const RoutingPoint* m_positions;
    RoutingPoint m_target;
    double m_costPerDistance;
};

bool hasBoth(const RoutingGraph& graph, int source, int target) {
    return graph.nodes().contains(source) && graph.nodes().contains(target);
}

/// Where a route starts or ends: at a node, with what the piece of an edge beside it costs.
struct Terminal {
    int node;
    double cost;
    EdgePlace piece; ///< edge -1: the place is the node itself
};

constexpr EdgePlace atNode{-1, 0.0, 0.0};

std::vector<Terminal> starts(const SearchTable& table, const std::vector<EdgePlace>& places) {
    std::vector<Terminal> terminals;
    for (const EdgePlace& place : places) {
        const RoutingEdge& edge = table.graph().edges().at(place.edge);
        // From an end of the edge nothing of it is travelled.
        terminals.push_back({table.numbers().numberOf(edge.endNode), place.costToEnd(),
                             place.fraction < 1.0 ? place : atNode});
        if (place.fraction <= 0.0) {
            terminals.push_back({table.numbers().numberOf(edge.startNode), 0.0, atNode});
        }
    }
    return terminals;
}

std::vector<Terminal> ends(const SearchTable& table, const std::vector<EdgePlace>& places) {
    std::vector<Terminal> terminals;
    for (const EdgePlace& place : places) {
        const RoutingEdge& edge = table.graph().edges().at(place.edge);
        terminals.push_back({table.numbers().numberOf(edge.startNode), place.costFromStart(),
                             place.fraction > 0.0 ? place : atNode});
        if (place.fraction >= 1.0) {
            terminals.push_back({table.numbers().numberOf(edge.endNode), 0.0, atNode});
        }
    }
    return terminals;
}

} // namespace

RoutingRoute RoutingSearch::aStarRoute(const RoutingGraph& graph, int source, int target,
                                       RoutingCostMetric metric, double defaultSpeed) {
    if (!hasBoth(graph, source, target)) {
        return Internal::noRoute();
    }
    Common::Internal::LogStep step(Common::LogChannels::routing, "search");
    step.set("nodes", graph.nodeCount());
    SearchTable& table = SearchTable::of(graph);
    const int last = table.numbers().numberOf(target);
    const int count = table.numbers().count();
    LabelSearch search(table.memory(0), table.outgoing(metric, defaultSpeed), count,
                       StraightLine(table.positions(), last, table.costPerDistance(metric, defaultSpeed)));
    search.start(table.numbers().numberOf(source), 0.0);
    // A sum of n costs is off by at most n roundings, relative to itself, and so is every key on the best
    // way.
    const double margin = 1.0 + 4.0 * count * std::numeric_limits<double>::epsilon();
    double limit = infinity;
    while (search.bound() <= limit) {
        const int node = search.next();
        if (node < 0) {
            break;
        }
        if (node == last) {
            limit = search.label(last).cost * margin;
        } else {
            search.spread(node);
        }
    }
    if (std::isinf(search.label(last).cost)) {
        return Internal::noRoute();
    }
    return Internal::routeAlong(graph, Internal::pathTo(table, table.memory(0), last), defaultSpeed);
}

RoutingRoute RoutingSearch::bidirectionalRoute(const RoutingGraph& graph, int source, int target,
                                               RoutingCostMetric metric, double defaultSpeed) {
    if (!hasBoth(graph, source, target)) {
        return Internal::noRoute();
    }
    Common::Internal::LogStep step(Common::LogChannels::routing, "search");
    step.set("nodes", graph.nodeCount());
    SearchTable& table = SearchTable::of(graph);
    const int count = table.numbers().count();
    LabelSearch<> forward(table.memory(0), table.outgoing(metric, defaultSpeed), count);
    LabelSearch<> backward(table.memory(1), table.incoming(metric, defaultSpeed), count);
    double best = infinity;
    int meeting = -1;
    const auto meet = [&](int node) {
        const double cost = forward.label(node).cost + backward.label(node).cost;
        if (cost < best) {
            best = cost;
            meeting = node;
        }
    };
    forward.start(table.numbers().numberOf(source), 0.0);
    backward.start(table.numbers().numberOf(target), 0.0);
    meet(table.numbers().numberOf(source));
    // Either side may run dry: then all its ways are known, and the other one cannot add any.
    while (forward.bound() + backward.bound() < best) {
        LabelSearch<>& nearer = forward.bound() <= backward.bound() ? forward : backward;
        const int node = nearer.next();
        if (node >= 0) {
            nearer.spread(node, meet);
        }
    }
    if (meeting < 0) {
        return Internal::noRoute();
    }
    Internal::Path path = Internal::pathTo(table, table.memory(0), meeting);
    Internal::Path rest = Internal::pathTo(table, table.memory(1), meeting); // from the target
    std::reverse(rest.nodes.begin(), rest.nodes.end());
    std::reverse(rest.edges.begin(), rest.edges.end());
    path.nodes.append(rest.nodes.mid(1));
    path.edges.append(rest.edges);
    return Internal::routeAlong(graph, path, defaultSpeed);
}

QList<QList<double>> RoutingSearch::costMatrix(const RoutingGraph& graph, const QList<int>& sources,
                                               const QList<int>& targets, RoutingCostMetric metric,
                                               double defaultSpeed) {
    QList<QList<double>> matrix;
    matrix.reserve(sources.size());
    for (const int source : sources) {
        const auto result = RoutingDijkstra::runToAll(graph, source, targets, metric, defaultSpeed);
        QList<double> row;
        row.reserve(targets.size());
        for (const int target : targets) {
            row.append(graph.nodes().contains(target) ? result.costTo(target) : infinity);
        }
        matrix.append(row);
    }
    return matrix;
}

RoutingRoute RoutingSearch::routeBetween(const RoutingGraph& graph, const RoutingPlace& from,
                                         const RoutingPlace& to, RoutingCostMetric metric,
                                         double defaultSpeed) {
    const std::vector<EdgePlace> fromPlaces = Internal::edgePlaces(graph, from, metric, defaultSpeed);
    const std::vector<EdgePlace> toPlaces = Internal::edgePlaces(graph, to, metric, defaultSpeed);
    double best = infinity;
    // Along one edge, without passing a node.
    const EdgePlace* direct = nullptr;
    double directEnd = 0.0;
    for (const EdgePlace& start : fromPlaces) {
        for (const EdgePlace& end : toPlaces) {
            const double cost = (end.fraction - start.fraction) * start.cost;
            if (start.edge == end.edge && start.fraction <= end.fraction && cost < best) {
                best = cost;
                direct = &start;
                directEnd = end.fraction;
            }
        }
    }

    SearchTable& table = SearchTable::of(graph);
    const std::vector<Terminal> sources = starts(table, fromPlaces);
    const std::vector<Terminal> targets = ends(table, toPlaces);
    LabelSearch<> search(table.memory(0), table.outgoing(metric, defaultSpeed), table.numbers().count());
    for (const Terminal& source : sources) {
        search.start(source.node, source.cost);
    }
    const Terminal* arrival = nullptr;
    while (search.bound() < best) {
        const int node = search.next();
        if (node < 0) {
            break;
        }
        for (const Terminal& target : targets) {
            if (target.node == node && search.label(node).cost + target.cost < best) {
                best = search.label(node).cost + target.cost;
                arrival = &target;
            }
        }
        search.spread(node);
    }

    Internal::RouteBuilder route(graph, defaultSpeed);
    if (arrival == nullptr) {
        if (direct == nullptr) {
            return Internal::noRoute();
        }
        route.add(direct->edge, direct->fraction, directEnd);
        return route.take({});
    }
    const Internal::Path path = Internal::pathTo(table, table.memory(0), arrival->node);
    const int first = table.numbers().numberOf(path.nodes.constFirst());
    const auto departure =
        std::find_if(sources.begin(), sources.end(), [&search, first](const Terminal& source) {
            return source.node == first && source.cost == search.label(first).cost;
        });
    if (departure != sources.end() && departure->piece.edge >= 0) {
        route.add(departure->piece.edge, departure->piece.fraction, 1.0);
    }
    for (const int edge : path.edges) {
        route.add(edge);
    }
    if (arrival->piece.edge >= 0) {
        route.add(arrival->piece.edge, 0.0, arrival->piece.fraction);
    }
    return route.take(path.nodes);
}

} // namespace Cartolith::Core::Routing
