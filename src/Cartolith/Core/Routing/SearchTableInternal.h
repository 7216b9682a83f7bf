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
    double meanCost = 0.0;
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
        for (std::size_t child = 1; child < size; child = 4 * hole + 1) {
            const std::size_t end = std::min(child + 4, size);
            for (std::size_t i = child + 1; i < end; ++i) {
                child = keys[i] < keys[child] ? i : child;
            }
            if (last <= keys[child]) {
                break;
            }
            keys[hole] = keys[child];
            hole = child;
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

/// A queue of (cost, number) pairs in exactly the order of one KeyHeap, for searches whose keys hardly ever
/// get smaller. Only the pairs of the lowest bucket of costs are in a heap, which so stays small; the others
/// lie unsorted in buckets, and what is beyond the last bucket in a list until the buckets are used up.
///
/// A pair stays in that list for as many rounds as its edge is 16 mean costs long, so that all edges together
/// cause no more steps there than a sixteenth of their number.
class KeyQueue {
public:
    KeyQueue() { m_first.fill(-1); }

    /// Empty, for edges of about this cost; 0 and what is not finite make it one heap.
    void reset(double meanCost);
    bool isEmpty() { return m_near.isEmpty() && !findNear(); }
    /// The queue is not empty.
    double leastCost() noexcept { return m_near.leastCost(); }

    void push(double cost, int number) {
        const double bucket = (cost - m_base) * m_perCost;
        if (!(bucket >= m_nearEnd)) { // also when infinite costs leave no number
            m_near.push(cost, number);
        } else if (bucket < bucketCount) {
            insert(static_cast<std::size_t>(bucket), cost, number);
        } else {
            m_far.push_back({cost, number, -1});
        }
    }
    /// After isEmpty() said no.
    std::pair<double, int> pop() { return m_near.pop(); }

private:
    static constexpr int bucketCount = 1024;
    static constexpr double bucketsPerMean = 64.0;

    struct Entry {
        double cost;
        int number;
        int next; ///< in the same bucket, or among the free entries; -1 ends it
    };

    void insert(std::size_t bucket, double cost, int number) {
        int entry = m_free;
        if (entry < 0) {
            entry = static_cast<int>(m_entries.size());
            m_entries.emplace_back();
        } else {
            m_free = m_entries[static_cast<std::size_t>(entry)].next;
        }
        m_entries[static_cast<std::size_t>(entry)] = {cost, number, m_first[bucket]};
        m_first[bucket] = entry;
        m_used[bucket / 64] |= std::uint64_t(1) << (bucket % 64);
    }
    /// The first entry of the next bucket that holds something, which is empty then; -1 when none does.
    int takeBucket();
    /// Fills the heap with the next bucket; false when nothing is left.
    bool findNear();

    KeyHeap m_near;
    double m_base = 0.0; ///< the cost at which bucket 0 begins
    double m_perCost = 0.0;
    double m_nearEnd = 1.0;               ///< the first bucket that is not in the heap
    std::array<int, bucketCount> m_first; ///< entries; -1 in every bucket without a bit in m_used
    std::array<std::uint64_t, bucketCount / 64> m_used{}; ///< a bit for each bucket that holds something
    std::size_t m_word = 0;                               ///< of m_used, in which the next bucket may be
    std::vector<Entry> m_entries;
    int m_free = -1;
    std::vector<Entry> m_far;
};

/// Memory of a search, kept from one to the next.
struct SearchMemory {
    std::vector<Label> labels;
    std::vector<int> reached; ///< the nodes whose labels are set
    KeyQueue queue;

    /// No label set, for so many nodes and edges of such a cost. Costs what the last search reached.
    void reset(int nodeCount, double meanCost);
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
