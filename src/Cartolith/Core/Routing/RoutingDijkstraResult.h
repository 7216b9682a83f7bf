#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Routing/RoutingEdge.h>

#include <QHash>

#include <memory>
#include <optional>

namespace Cartolith::Core::Routing {

namespace Internal {
struct ReachedNodes;
}

/// What a search from one node found out. A search that stopped at a target also leaves nodes here whose
/// costs are not final: those that it would have come to next.
///
/// Each of the three tables is made when it is first asked for, which takes about as long as the search;
/// costTo(), hasPathTo() and previousOf() need none. A result is used by one thread at a time; copies are
/// independent. The edges belong to the graph: pointers to them are valid as long as nobody changes the
/// graph.
class CARTOLITH_CORE_EXPORT RoutingDijkstraResult {
public:
    /// Nothing reached.
    explicit RoutingDijkstraResult(int source = -1);
    /// Tables from elsewhere, which are not checked.
    RoutingDijkstraResult(int source, QHash<int, double> costs, QHash<int, int> previousNodes,
                          QHash<int, const RoutingEdge*> previousEdges);

    int source() const noexcept { return m_source; }

    /// Positive infinity when the node was not reached.
    double costTo(int node) const;
    /// True when the node was reached.
    bool hasPathTo(int node) const;
    /// The node before this one; nothing for the source and for nodes that were not reached.
    std::optional<int> previousOf(int node) const;
    int reachedCount() const;

    const QHash<int, double>& costs() const;
    const QHash<int, int>& previousNodes() const;
    const QHash<int, const RoutingEdge*>& previousEdges() const;

private:
    friend class RoutingDijkstra;

    RoutingDijkstraResult(int source, std::shared_ptr<const Internal::ReachedNodes> reached);
    template <typename Table, typename Add>
    Table& filled(Table& table, Add add) const;

    int m_source;
    std::shared_ptr<const Internal::ReachedNodes> m_reached; // null when the tables came from elsewhere
    mutable QHash<int, double> m_costs;
    mutable QHash<int, int> m_previousNodes;
    mutable QHash<int, const RoutingEdge*> m_previousEdges;
};

} // namespace Cartolith::Core::Routing
