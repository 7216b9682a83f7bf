#pragma once

#include <Cartolith/Core/Routing/RoutingCostMetric.h>
#include <Cartolith/Core/Routing/RoutingPoint.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Cartolith::Core::Routing {

class RoutingGraph;
struct RoutingEdge;

namespace Internal {

/// What passing the edge costs. Nothing when a search must not pass it: its length is negative, under the
/// travel-time metric neither its own speed nor the default speed is greater than 0, or the cost is not
/// finite.
std::optional<double> edgeCost(const RoutingEdge& edge, RoutingCostMetric metric, double defaultSpeed);

/// The nodes that a search can meet, those of the graph and those that only edges name, numbered from 0 in
/// the order of their ids.
class NodeNumbers {
public:
    explicit NodeNumbers(const RoutingGraph& graph);

    int count() const noexcept { return m_count; }
    int idOf(int number) const noexcept {
        return m_ids.empty() ? number : m_ids[static_cast<std::size_t>(number)];
    }
    /// -1 when no such node is there.
    int numberOf(int id) const noexcept;

private:
    int m_count = 0;
    std::vector<int> m_ids; // ascending; empty when every id is its own number
};

/// An edge in a row of the table.
struct Arc {
    double cost;
    int other; ///< the number of the node at its other end
    int edge;  ///< its position in the graph's list
};

/// For each node the edges that leave it (or those that enter it) and may be passed, in the order of the
/// graph's list: compressed rows.
struct ArcRows {
    std::vector<int> first; ///< one more than there are nodes
    std::vector<Arc> arcs;
};

/// What a search has found out about a node.
struct Label {
    double cost = std::numeric_limits<double>::infinity(); ///< infinite: not reached
    int previous = -1;                                     ///< number of the node before; -1 at a source
    int edge = -1;                                         ///< by which it was reached, as a position
};

/// A heap with four children a node, of (cost, number) pairs, the smaller number first among equal costs.
/// Costs are not negative, so their bits order as they do, and a pair is one 128-bit integer.
class KeyHeap {
public:
    bool isEmpty() const noexcept { return m_keys.empty(); }
    void clear() noexcept { m_keys.clear(); }
    double leastCost() const noexcept { return costOf(m_keys.front()); }

    void push(double cost, int number) {
        const Key key =
            (static_cast<Key>(std::bit_cast<std::uint64_t>(cost)) << 64) | static_cast<std::uint32_t>(number);
        std::size_t hole = m_keys.size();
        m_keys.push_back(key);
        Key* const keys = m_keys.data();
        while (hole > 0) {
            const std::size_t parent = (hole - 1) / 4;
            if (keys[parent] <= key) {
                break;
            }
            keys[hole] = keys[parent];
            hole = parent;
        }
        keys[hole] = key;
    }

    std::pair<double, int> pop() {
        Key* const keys = m_keys.data();
        const Key least = keys[0];
        const Key last = m_keys.back();
        m_keys.pop_back();
        const std::size_t size = m_keys.size();
        std::size_t hole = 0;
        // To the bottom along the smallest children, then up: the last key nearly always belongs down there.
        for (std::size_t child = 1; child < size; child = 4 * hole + 1) {
            if (child + 4 <= size) {
                const std::size_t a = keys[child + 1] < keys[child] ? child + 1 : child;
                const std::size_t b = keys[child + 3] < keys[child + 2] ? child + 3 : child + 2;
                child = keys[b] < keys[a] ? b : a;
            } else {
                child = static_cast<std::size_t>(std::min_element(keys + child, keys + size) - keys);
            }
            keys[hole] = keys[child];
            hole = child;
        }
        while (hole > 0) {
            const std::size_t parent = (hole - 1) / 4;
            if (keys[parent] <= last) {
                break;
            }
            keys[hole] = keys[parent];
            hole = parent;
        }
        if (size > 0) {
            keys[hole] = last;
        }
        return {costOf(least), static_cast<int>(static_cast<std::uint32_t>(least))};
    }

private:
    __extension__ using Key = unsigned __int128;

    static double costOf(Key key) noexcept {
        return std::bit_cast<double>(static_cast<std::uint64_t>(key >> 64));
    }

    std::vector<Key> m_keys;
};

/// Memory of a search, kept from one to the next.
struct SearchMemory {
    std::vector<Label> labels;
    std::vector<int> reached; ///< the nodes whose labels are set
    KeyHeap heap;

    /// No label set, for so many nodes. Costs what the last search reached.
    void reset(int nodeCount);
};

/// A graph's edges as a search wants them. Made when first asked for, and dropped when the graph changes.
class SearchTable {
public:
    /// The table of the graph; valid until the graph changes.
    static SearchTable& of(const RoutingGraph& graph);

    explicit SearchTable(const RoutingGraph& graph);

    const RoutingGraph& graph() const noexcept { return *m_graph; }
    const NodeNumbers& numbers() const noexcept { return *m_numbers; }
    const std::shared_ptr<const NodeNumbers>& sharedNumbers() const noexcept { return m_numbers; }

    /// Each is kept for the last default speed it was asked for.
    const ArcRows& outgoing(RoutingCostMetric metric, double defaultSpeed);
    const ArcRows& incoming(RoutingCostMetric metric, double defaultSpeed);
    /// The position of each node; NaN when it is none of the graph's.
    const std::vector<RoutingPoint>& positions();
    /// The greatest factor by which the straight distance between any two nodes can be multiplied and still
    /// be no more than the cost of any way between them; 0 when nothing can be said.
    double costPerDistance(RoutingCostMetric metric, double defaultSpeed);

    /// One for each side of a search in both directions.
    SearchMemory& memory(int side) { return m_memory[static_cast<std::size_t>(side)]; }

private:
    struct Costs {
        std::optional<ArcRows> outgoing;
        std::optional<ArcRows> incoming;
        std::optional<double> perDistance;
        double defaultSpeed = 0.0;
    };

    Costs& costs(RoutingCostMetric metric, double defaultSpeed);
    ArcRows makeRows(RoutingCostMetric metric, double defaultSpeed, bool incoming) const;

    const RoutingGraph* m_graph;
    std::shared_ptr<const NodeNumbers> m_numbers;
    std::vector<RoutingPoint> m_positions;
    std::array<Costs, 2> m_costs;
    std::array<SearchMemory, 2> m_memory;
};

} // namespace Internal
} // namespace Cartolith::Core::Routing
