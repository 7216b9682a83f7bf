#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Routing/RoutingPlace.h>

#include <QHash>
#include <QList>
#include <QString>

namespace Cartolith::Core::Routing {

class RoutingGraph;

/// What is wrong, or at least remarkable, with a network: the reasons why a search finds no route.
class CARTOLITH_CORE_EXPORT RoutingNetworkReport {
public:
    /// Nodes that edges connect, whatever their direction.
    struct Component {
        int nodes = 0;
        int edges = 0;
        double length = 0.0; ///< of the edges, both directions of a street counted
        int leastNode = -1;
    };
    /// A dead end that ends close to an edge it is not connected to: often a gap in the data.
    struct NearMiss {
        int node = -1;
        RoutingPlace place; ///< on the nearest edge; of edges equally near, on the first in the list
    };

    /// Near misses are looked for within the distance, coordinate units, inclusive; not at all when it is NaN
    /// or 0 or less. Edges that share a node with the street of the dead end do not count. About n log n.
    explicit RoutingNetworkReport(const RoutingGraph& graph, double nearMissDistance = 0.0);

    /// The one with the most nodes first, then by the least node.
    const QList<Component>& components() const noexcept { return m_components; }
    /// The position in components(); -1 for a node that is not there.
    int componentOf(int node) const { return m_componentOf.value(node, -1); }
    /// Nodes with exactly one neighbour, ascending.
    const QList<int>& deadEnds() const noexcept { return m_deadEnds; }
    /// By ascending node.
    const QList<NearMiss>& nearMisses() const noexcept { return m_nearMisses; }

    /// Why no edges lead from one node to the other, as a sentence: a node is missing, they lie in separate
    /// parts of the network, or one-way streets lead out of the one place or into the other. Empty when there
    /// is a way; whether its edges have a usable length and speed is not looked at. Linear.
    /// The nodes are called by these names where they are given, else "node 12"; a missing one by its id.
    static QString whyNoRoute(const RoutingGraph& graph, int from, int to, const QString& fromName = {},
                              const QString& toName = {});

private:
    QList<Component> m_components;
    QHash<int, int> m_componentOf;
    QList<int> m_deadEnds;
    QList<NearMiss> m_nearMisses;
};

} // namespace Cartolith::Core::Routing
