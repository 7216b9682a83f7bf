#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Routing/ReachedNodesInternal.h>
#include <Cartolith/Core/Routing/RoutingDijkstraResult.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>

#include <algorithm>
#include <limits>

namespace Cartolith::Core::Routing {

namespace Internal {

ReachedNodes::ReachedNodes(const SearchTable& table, SearchMemory& memory)
    : numbers(table.sharedNumbers()), edges(table.graph().edges().constData()),
      count(static_cast<int>(memory.reached.size())) {
    if (memory.reached.size() > memory.labels.size() / 8) {
        all = std::move(memory.labels);
        memory.labels.clear(); // moved from: the next search makes new ones
        return;
    }
    some.reserve(memory.reached.size());
    for (const int number : memory.reached) {
        some.emplace_back(number, memory.labels[static_cast<std::size_t>(number)]);
    }
    std::sort(some.begin(), some.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
}

const Label* ReachedNodes::find(int id) const {
    const int number = numbers->numberOf(id);
    if (number < 0) {
        return nullptr;
    }
    if (!all.empty()) {
        const Label& label = all[static_cast<std::size_t>(number)];
        return label.cost < std::numeric_limits<double>::infinity() ? &label : nullptr;
    }
    const auto found = std::lower_bound(some.begin(), some.end(), number,
                                        [](const auto& entry, int wanted) { return entry.first < wanted; });
    return found != some.end() && found->first == number ? &found->second : nullptr;
}

} // namespace Internal

RoutingDijkstraResult::RoutingDijkstraResult(int source) : m_source(source) {}

RoutingDijkstraResult::RoutingDijkstraResult(int source, QHash<int, double> costs,
                                             QHash<int, int> previousNodes,
                                             QHash<int, const RoutingEdge*> previousEdges)
    : m_source(source), m_costs(std::move(costs)), m_previousNodes(std::move(previousNodes)),
      m_previousEdges(std::move(previousEdges)) {}

RoutingDijkstraResult::RoutingDijkstraResult(int source,
                                             std::shared_ptr<const Internal::ReachedNodes> reached)
    : m_source(source), m_reached(std::move(reached)) {}

double RoutingDijkstraResult::costTo(int node) const {
    using Common::Internal::infinity;
    if (m_reached == nullptr) {
        return m_costs.value(node, infinity);
    }
    const Internal::Label* const label = m_reached->find(node);
    return label != nullptr ? label->cost : infinity;
}

bool RoutingDijkstraResult::hasPathTo(int node) const {
    return m_reached == nullptr ? m_costs.contains(node) : m_reached->find(node) != nullptr;
}

std::optional<int> RoutingDijkstraResult::previousOf(int node) const {
    if (m_reached == nullptr) {
        const auto found = m_previousNodes.constFind(node);
        return found != m_previousNodes.constEnd() ? std::optional<int>(found.value()) : std::nullopt;
    }
    const Internal::Label* const label = m_reached->find(node);
    return label != nullptr && label->previous >= 0
               ? std::optional<int>(m_reached->numbers->idOf(label->previous))
               : std::nullopt;
}

int RoutingDijkstraResult::reachedCount() const {
    return m_reached == nullptr ? static_cast<int>(m_costs.size()) : m_reached->count;
}

/// The table, filled when it is not yet.
template <typename Table, typename Add>
Table& RoutingDijkstraResult::filled(Table& table, Add add) const {
    if (table.isEmpty() && m_reached != nullptr) {
        Table filling;
        filling.reserve(m_reached->count);
        m_reached->forEach([&](int id, const Internal::Label& label) { add(filling, id, label); });
        table.swap(filling);
    }
    return table;
}

const QHash<int, double>& RoutingDijkstraResult::costs() const {
    return filled(m_costs,
                  [](auto& costs, int id, const Internal::Label& label) { costs.insert(id, label.cost); });
}

const QHash<int, int>& RoutingDijkstraResult::previousNodes() const {
    return filled(m_previousNodes, [this](auto& nodes, int id, const Internal::Label& label) {
        if (label.previous >= 0) {
            nodes.insert(id, m_reached->numbers->idOf(label.previous));
        }
    });
}

const QHash<int, const RoutingEdge*>& RoutingDijkstraResult::previousEdges() const {
    return filled(m_previousEdges, [this](auto& edges, int id, const Internal::Label& label) {
        if (label.previous >= 0) {
            edges.insert(id, m_reached->edges + label.edge);
        }
    });
}

} // namespace Cartolith::Core::Routing
