#pragma once

#include <Cartolith/Core/Routing/SearchTableInternal.h>

namespace Cartolith::Core::Routing::Internal {

/// The labels of a finished search, kept without its graph: all of them when it reached many nodes, else
/// those reached, sorted by number.
struct ReachedNodes {
    /// Takes the labels out of the memory.
    ReachedNodes(const SearchTable& table, SearchMemory& memory);

    /// Null when the node was not reached.
    const Label* find(int id) const;
    template <typename Visit>
    void forEach(Visit visit) const;

    std::shared_ptr<const NodeNumbers> numbers;
    const RoutingEdge* edges; ///< the graph's, valid while it is unchanged
    int count;
    std::vector<Label> all;
    std::vector<std::pair<int, Label>> some;
};

template <typename Visit>
void ReachedNodes::forEach(Visit visit) const {
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].cost < std::numeric_limits<double>::infinity()) {
            visit(numbers->idOf(static_cast<int>(i)), all[i]);
        }
    }
    for (const auto& [number, label] : some) {
        visit(numbers->idOf(number), label);
    }
}

} // namespace Cartolith::Core::Routing::Internal
