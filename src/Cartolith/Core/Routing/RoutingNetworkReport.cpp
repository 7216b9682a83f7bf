#include <Cartolith/Core/Routing/RoutingEdgeIndex.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/RoutingNetworkReport.h>

#include <QSet>

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace Cartolith::Core::Routing {

namespace {

/// The neighbours of each node: along the edges, against them, or both.
using Neighbours = QHash<int, QList<int>>;

Neighbours neighbours(const RoutingGraph& graph, bool along, bool against) {
    Neighbours result;
    for (const RoutingEdge& edge : graph.edges()) {
        if (along) {
            result[edge.startNode].append(edge.endNode);
        }
        if (against) {
            result[edge.endNode].append(edge.startNode);
        }
    }
    return result;
}

QSet<int> reachable(const Neighbours& neighbours, int from) {
    QSet<int> seen{from};
    std::vector<int> open{from};
    while (!open.empty()) {
        const int node = open.back();
        open.pop_back();
        const QList<int> next = neighbours.value(node);
        for (const int other : next) {
            if (!seen.contains(other)) {
                seen.insert(other);
                open.push_back(other);
            }
        }
    }
    return seen;
}

QList<int> sortedIds(const RoutingGraph& graph) {
    QList<int> ids = graph.nodes().keys();
    std::sort(ids.begin(), ids.end());
    return ids;
}

} // namespace

RoutingNetworkReport::RoutingNetworkReport(const RoutingGraph& graph, double nearMissDistance) {
    const Neighbours around = neighbours(graph, true, true);
    const QList<int> ids = sortedIds(graph);
    for (const int id : ids) {
        if (!m_componentOf.contains(id)) {
            const QSet<int> members = reachable(around, id);
            Component component;
            for (const int member : members) {
                if (graph.nodes().contains(member)) { // an edge may name others
                    m_componentOf.insert(member, static_cast<int>(m_components.size()));
                    ++component.nodes;
                }
            }
            component.leastNode = id;
            m_components.append(component);
        }
    }
    for (const RoutingEdge& edge : graph.edges()) {
        const auto found = m_componentOf.constFind(edge.startNode);
        if (found != m_componentOf.constEnd()) {
            ++m_components[found.value()].edges;
            m_components[found.value()].length += edge.length;
        }
    }
    QList<int> order(m_components.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [this](int a, int b) { return m_components.at(a).nodes > m_components.at(b).nodes; });
    QList<int> rank(order.size());
    QList<Component> sorted;
    for (const int component : std::as_const(order)) {
        rank[component] = static_cast<int>(sorted.size());
        sorted.append(m_components.at(component));
    }
    m_components = sorted;
    for (int& component : m_componentOf) {
        component = rank.at(component);
    }

    RoutingEdgeIndex index;
    if (nearMissDistance > 0.0) {
        index.build(graph);
    }
    for (const int id : ids) {
        QSet<int> others;
        const QList<int> beside = around.value(id);
        others = QSet<int>(beside.begin(), beside.end());
        others.remove(id);
        if (others.size() != 1) {
            continue;
        }
        m_deadEnds.append(id);
        const int neighbour = *others.constBegin();
        NearMiss miss;
        miss.node = id;
        miss.place = index.nearestEdge(graph.nodes().value(id).position, nearMissDistance, [&](int position) {
            const RoutingEdge& edge = graph.edges().at(position);
            return edge.startNode != id && edge.endNode != id && edge.startNode != neighbour &&
                   edge.endNode != neighbour;
        });
        if (miss.place.found()) {
            m_nearMisses.append(miss);
        }
    }
}

QString RoutingNetworkReport::whyNoRoute(const RoutingGraph& graph, int from, int to, const QString& fromName,
                                         const QString& toName) {
    const auto nameOf = [](int node, const QString& name) {
        return name.isEmpty() ? QStringLiteral("node %1").arg(node) : name;
    };
    const QString start = nameOf(from, fromName);
    const QString end = nameOf(to, toName);
    for (const int node : {from, to}) {
        if (graph.findNode(node) == nullptr) {
            return QStringLiteral("Node %1 is not in the network.").arg(node);
        }
    }
    const QSet<int> ahead = reachable(neighbours(graph, true, false), from);
    if (ahead.contains(to)) {
        return {};
    }
    const QSet<int> around = reachable(neighbours(graph, true, true), from);
    if (!around.contains(to)) {
        const QSet<int> other = reachable(neighbours(graph, true, true), to);
        return QStringLiteral("Separate parts of the network: that of %1 has %2 nodes, that of %3 has %4.")
            .arg(start)
            .arg(around.size())
            .arg(end)
            .arg(other.size());
    }
    const QSet<int> behind = reachable(neighbours(graph, false, true), to);
    return QStringLiteral("One-way streets: of the %1 nodes of this part of the network, %2 can be reached "
                          "from %3, and %4 can be reached from %5.")
        .arg(around.size())
        .arg(ahead.size())
        .arg(start, end)
        .arg(behind.size());
}

} // namespace Cartolith::Core::Routing
