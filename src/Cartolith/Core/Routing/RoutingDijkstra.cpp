#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Routing/LabelSearchInternal.h>
#include <Cartolith/Core/Routing/ReachedNodesInternal.h>
#include <Cartolith/Core/Routing/RouteBuilderInternal.h>
#include <Cartolith/Core/Routing/RoutingDijkstra.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>

#include <algorithm>

namespace Cartolith::Core::Routing {

using Internal::LabelSearch;
using Internal::SearchTable;

namespace {

/// Settles node after node until `isLast` says so of one.
template <typename IsLast>
void settle(SearchTable& table, int source, RoutingCostMetric metric, double defaultSpeed, IsLast isLast) {
    LabelSearch<> search(table.memory(0), table.outgoing(metric, defaultSpeed), table.numbers().count());
    search.start(table.numbers().numberOf(source), 0.0);
    for (int node = search.next(); node >= 0 && !isLast(node); node = search.next()) {
        search.spread(node);
    }
}

/// The table when both ends are there (a target below 0 is none), searched from source to target.
SearchTable* searched(const RoutingGraph& graph, int source, int target, RoutingCostMetric metric,
                      double defaultSpeed) {
    if (!graph.nodes().contains(source) || (target >= 0 && !graph.nodes().contains(target))) {
        return nullptr;
    }
    SearchTable& table = SearchTable::of(graph);
    const int last = target >= 0 ? table.numbers().numberOf(target) : -1;
    settle(table, source, metric, defaultSpeed, [last](int node) { return node == last; });
    return &table;
}

QList<QList<double>> allPairs(const RoutingGraph& graph, const QList<int>& nodes, RoutingCostMetric metric,
                              double defaultSpeed) {
    QList<QList<double>> matrix;
    matrix.reserve(nodes.size());
    for (const int source : nodes) {
        const RoutingDijkstraResult result = RoutingDijkstra::run(graph, source, -1, metric, defaultSpeed);
        QList<double> row;
        row.reserve(nodes.size());
        for (const int target : nodes) {
            row.append(result.costTo(target));
        }
        matrix.append(row);
    }
    return matrix;
}

} // namespace

RoutingDijkstraResult RoutingDijkstra::run(const RoutingGraph& graph, int source, int target,
                                           RoutingCostMetric metric, double defaultSpeed) {
    Common::Internal::LogStep step(Common::LogChannels::routing, "search");
    step.set("nodes", graph.nodeCount());
    SearchTable* const table = searched(graph, source, target, metric, defaultSpeed);
    if (table == nullptr) {
        return RoutingDijkstraResult(source);
    }
    return {source, std::make_shared<const Internal::ReachedNodes>(*table, table->memory(0))};
}

RoutingDijkstraResult RoutingDijkstra::runToAll(const RoutingGraph& graph, int source,
                                                const QList<int>& targets, RoutingCostMetric metric,
                                                double defaultSpeed) {
    if (!graph.nodes().contains(source)) {
        return RoutingDijkstraResult(source);
    }
    Common::Internal::LogStep step(Common::LogChannels::routing, "search");
    step.set("nodes", graph.nodeCount());
    step.set("targets", targets.size());
    SearchTable& table = SearchTable::of(graph);
    std::vector<int> open;
    for (const int target : targets) {
        if (target >= 0 && graph.nodes().contains(target)) {
            open.push_back(table.numbers().numberOf(target));
        }
    }
    std::sort(open.begin(), open.end());
    open.erase(std::unique(open.begin(), open.end()), open.end());
    std::size_t left = open.size();
    settle(table, source, metric, defaultSpeed, [&](int node) {
        left -= std::binary_search(open.begin(), open.end(), node) ? 1U : 0U;
        return left == 0;
    });
    return {source, std::make_shared<const Internal::ReachedNodes>(table, table.memory(0))};
}

QList<int> RoutingDijkstra::extractNodePath(const RoutingDijkstraResult& result, int target) {
    if (!result.hasPathTo(target)) {
        return {};
    }
    QList<int> path{target};
    // A tree has no way longer than this; tables that go in a circle end here.
    qsizetype steps = result.m_reached != nullptr ? result.reachedCount() : result.m_previousNodes.size() + 1;
    for (int node = target; node != result.source();) {
        const std::optional<int> previous = result.previousOf(node);
        if (!previous || steps-- == 0) {
            return {};
        }
        node = *previous;
        path.append(node);
    }
    std::reverse(path.begin(), path.end());
    return path;
}

QList<int> RoutingDijkstra::shortestNodePath(const RoutingGraph& graph, int source, int target, double* cost,
                                             RoutingCostMetric metric, double defaultSpeed) {
    const RoutingDijkstraResult result = run(graph, source, target, metric, defaultSpeed);
    if (cost != nullptr) {
        *cost = result.costTo(target);
    }
    return extractNodePath(result, target);
}

RoutingRoute RoutingDijkstra::shortestRoute(const RoutingGraph& graph, int source, int target,
                                            RoutingCostMetric metric, double defaultSpeed) {
    SearchTable* const table = searched(graph, source, target, metric, defaultSpeed);
    const int last = table != nullptr ? table->numbers().numberOf(target) : -1;
    if (last < 0 || std::isinf(table->memory(0).labels[static_cast<std::size_t>(last)].cost)) {
        return Internal::noRoute();
    }
    return Internal::routeAlong(graph, Internal::pathTo(*table, table->memory(0), last), defaultSpeed);
}

QList<RoutingPoint> RoutingDijkstra::pathToGeometry(const RoutingGraph& graph, const QList<int>& nodePath) {
    QList<RoutingPoint> geometry;
    for (qsizetype i = 1; i < nodePath.size(); ++i) {
        const RoutingEdge* shortest = nullptr;
        for (const RoutingEdge* const edge : graph.outEdges(nodePath.at(i - 1))) {
            if (edge->endNode == nodePath.at(i) && edge->length >= 0.0 &&
                (shortest == nullptr || edge->length < shortest->length)) {
                shortest = edge;
            }
        }
        if (shortest != nullptr) {
            Internal::appendLine(geometry, shortest->geometry);
        }
    }
    return geometry;
}

QList<QList<double>> RoutingDijkstra::allPairsDistances(const RoutingGraph& graph, const QList<int>& nodes) {
    return allPairs(graph, nodes, RoutingCostMetric::Distance, 0.0);
}

QList<QList<double>> RoutingDijkstra::allPairsTravelTimes(const RoutingGraph& graph, const QList<int>& nodes,
                                                          double defaultSpeed) {
    return allPairs(graph, nodes, RoutingCostMetric::TravelTime, defaultSpeed);
}

} // namespace Cartolith::Core::Routing
