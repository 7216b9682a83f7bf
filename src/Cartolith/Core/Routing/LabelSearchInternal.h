#pragma once

#include <Cartolith/Core/Routing/SearchTableInternal.h>

namespace Cartolith::Core::Routing::Internal {

/// The lower bound of a search that knows nothing of its target: E. W. Dijkstra's (1959).
struct NoEstimate {
    double operator()(int /*node*/) const noexcept { return 0.0; }
};

/// The one search behind all operations. It settles node after node in the order of cost + estimate, the
/// smaller number first among equals, and hands each to the caller, who says when to stop.
///
/// A key in the queue is stale when its node has a smaller cost by now. Comparing exactly is right: a key
/// that is larger by a hair could only offer larger costs to neighbours that have smaller ones already, since
/// adding one edge's cost to two sums keeps their order, also in rounded arithmetic.
///
/// For the same reason the costs are, without an estimate, exactly the least of the rounded sums over all
/// ways, added up from the source. An estimate that breaks the triangle inequality by rounding makes a node
/// settle again with a smaller cost, as often as it takes.
template <typename Estimate = NoEstimate>
class LabelSearch {
public:
    LabelSearch(SearchMemory& memory, const ArcRows& rows, int nodeCount, Estimate estimate = {})
        : m_memory(memory), m_first(rows.first.data()), m_arcs(rows.arcs.data()), m_estimate(estimate) {
        memory.reset(nodeCount, rows.meanCost);
        m_labels = memory.labels.data();
    }

    /// A source, or a place on the way that is reached at this cost.
    void start(int node, double cost) { offer(node, {cost, -1, -1}); }

    /// The least cost + estimate that is not settled yet; infinite at the end. Stale keys count as well.
    double bound() {
        return m_memory.queue.isEmpty() ? std::numeric_limits<double>::infinity()
                                        : m_memory.queue.leastCost();
    }

    /// The node whose turn it is; -1 when nothing is left.
    int next() {
        while (!m_memory.queue.isEmpty()) {
            const auto [key, node] = m_memory.queue.pop();
            if (!(key > m_labels[node].cost + m_estimate(node))) {
                return node;
            }
        }
        return -1;
    }

    /// Offers the way over the node to its neighbours; `reached` is called with those that take it.
    template <typename Reached>
    void spread(int node, Reached reached) {
        const double cost = m_labels[node].cost;
        const Arc* const end = m_arcs + m_first[node + 1];
        for (const Arc* arc = m_arcs + m_first[node]; arc != end; ++arc) {
            if (offer(arc->other, {cost + arc->cost, node, arc->edge})) {
                reached(arc->other);
            }
        }
    }
    void spread(int node) {
        spread(node, [](int) {});
    }

    const Label& label(int node) const noexcept { return m_labels[node]; }

private:
    bool offer(int node, const Label& way) {
        Label& label = m_labels[node];
        if (!(way.cost < label.cost)) {
            return false;
        }
        if (std::isinf(label.cost)) {
            m_memory.reached.push_back(node);
        }
        label = way;
        m_memory.queue.push(way.cost + m_estimate(node), node);
        return true;
    }

    SearchMemory& m_memory;
    const int* m_first;
    const Arc* m_arcs;
    Label* m_labels;
    Estimate m_estimate;
};

} // namespace Cartolith::Core::Routing::Internal
