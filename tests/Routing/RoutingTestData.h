#pragma once

#include "TestSeed.h"

#include <Cartolith/Core/Routing/RoutingCostMetric.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>

#include <QMap>
#include <QStringList>

#include <limits>
#include <map>
#include <random>

namespace test {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

using Cartolith::Core::Routing::RoutingCostMetric;
using Cartolith::Core::Routing::RoutingEdge;
using Cartolith::Core::Routing::RoutingGraph;
using Cartolith::Core::Routing::RoutingNode;
using Cartolith::Core::Routing::RoutingPoint;

inline RoutingEdge edge(int from, int to, double length, double speed = 50.0,
                        const QList<RoutingPoint>& geometry = {}) {
    RoutingEdge edge;
    edge.startNode = from;
    edge.endNode = to;
    edge.length = length;
    edge.speed = speed;
    edge.geometry = geometry;
    return edge;
}

inline RoutingNode node(int id, double x, double y) {
    RoutingNode node;
    node.id = id;
    node.position = {x, y};
    return node;
}

/// Few nodes on a small lattice, with gaps between their ids, and many edges: ties, loops, parallel edges,
/// islands, ends that are no nodes, lengths of 0, below 0, infinite and NaN, speeds of 0.
inline RoutingGraph randomGraph(std::mt19937& random, int nodes, int edges) {
    const auto upTo = [&random](int n) { return std::uniform_int_distribution<int>(0, n)(random); };
    RoutingGraph graph;
    const int step = 1 + upTo(2);
    for (int i = 0; i < nodes; ++i) {
        graph.addNode(node(i * step, upTo(9), upTo(9)));
    }
    const double odd[] = {0.0, -0.0, -1.0, infinity, nan};
    for (int i = 0; i < edges; ++i) {
        const int from = upTo(nodes) * step;
        const int to = upTo(nodes) * step - (upTo(40) == 0 ? 1 : 0);
        const double length = upTo(12) == 0 ? odd[upTo(4)] : upTo(5) * 0.1 + graph.straightDistance(from, to);
        graph.addEdge(edge(from, to, length, upTo(6) == 0 ? 0.0 : 10.0 * upTo(9)));
    }
    return graph;
}

/// A map drawn in characters: a letter or '+' is a node, "-" and "|" are streets open both ways, 'v' '^' '<'
/// '>' one-way streets; 10 units from node to node. Nodes have the ids of their places in reading order.
inline RoutingGraph drawn(const QStringList& rows, QMap<QChar, int>& ids) {
    RoutingGraph graph;
    std::map<std::pair<int, int>, int> at;
    for (int y = 0; y < rows.size(); y += 2) {
        for (int x = 0; x < rows[y].size(); x += 2) {
            if (rows[y][x] != ' ') {
                at[{x, y}] = graph.addNode(node(-1, x * 5.0, -y * 5.0));
                ids[rows[y][x]] = at[{x, y}];
            }
        }
    }
    const auto join = [&](std::pair<int, int> a, std::pair<int, int> b, bool there, bool back) {
        const RoutingPoint from = graph.findNode(at.at(a))->position;
        const RoutingPoint to = graph.findNode(at.at(b))->position;
        if (there) {
            graph.addEdge(edge(at[a], at[b], 10, 50, {from, to}));
        }
        if (back) {
            graph.addEdge(edge(at[b], at[a], 10, 50, {to, from}));
        }
    };
    for (int y = 0; y < rows.size(); ++y) {
        for (int x = 0; x < rows[y].size(); ++x) {
            const QChar mark = rows[y][x];
            if (y % 2 == 0 && x % 2 == 1 && mark != ' ') {
                join({x - 1, y}, {x + 1, y}, mark != '<', mark != '>');
            } else if (y % 2 == 1 && x % 2 == 0 && mark != ' ') {
                join({x, y - 1}, {x, y + 1}, mark != '^', mark != 'v');
            }
        }
    }
    return graph;
}

/// The rules of the search in the plainest form: the least (cost, id) not settled yet is found by looking at
/// all of them, and every table is a map.
struct PlainSearch {
    std::map<int, double> costs;
    std::map<int, int> previous;
    std::map<int, const RoutingEdge*> edges;

    PlainSearch(const RoutingGraph& graph, int source, int target, RoutingCostMetric metric, double defaultSpeed) {
        if (graph.findNode(source) == nullptr || (target >= 0 && graph.findNode(target) == nullptr)) {
            return;
        }
        std::map<int, bool> settled;
        costs[source] = 0.0;
        while (true) {
            const std::pair<const int, double>* best = nullptr;
            for (const auto& entry : costs) {
                if (!settled[entry.first] && (best == nullptr || entry.second < best->second)) {
                    best = &entry;
                }
            }
            if (best == nullptr || best->first == target) {
                return;
            }
            const auto [node, cost] = *best;
            settled[node] = true;
            for (const RoutingEdge* edge : graph.outEdges(node)) {
                double weight = edge->length;
                if (metric == RoutingCostMetric::TravelTime) {
                    const double speed = edge->speed > 0 ? edge->speed : defaultSpeed;
                    weight = speed > 0 ? edge->length / (speed * 1000 / 3600) : nan;
                }
                if (edge->length < 0 || !std::isfinite(weight)) {
                    continue;
                }
                const auto known = costs.find(edge->endNode);
                if (known == costs.end() || weight + cost < known->second) {
                    costs[edge->endNode] = weight + cost;
                    previous[edge->endNode] = node;
                    edges[edge->endNode] = edge;
                }
            }
        }
    }
    double costTo(int node) const {
        const auto found = costs.find(node);
        return found != costs.end() ? found->second : infinity;
    }
};

template <typename Key, typename Value>
std::map<Key, Value> sorted(const QHash<Key, Value>& hash) {
    return {hash.constKeyValueBegin(), hash.constKeyValueEnd()};
}

} // namespace test
