#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/SearchTableInternal.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace Cartolith::Core::Routing::Internal {

std::optional<double> edgeCost(const RoutingEdge& edge, RoutingCostMetric metric, double defaultSpeed) {
    if (edge.length < 0.0) {
        return std::nullopt;
    }
    double cost = edge.length;
    if (metric == RoutingCostMetric::TravelTime) {
        const double speed = edge.speed > 0.0 ? edge.speed : defaultSpeed;
        if (!(speed > 0.0)) {
            return std::nullopt;
        }
        cost = edge.length / (speed * 1000.0 / 3600.0);
    }
    return std::isfinite(cost) ? std::optional<double>(cost) : std::nullopt;
}

NodeNumbers::NodeNumbers(const RoutingGraph& graph) {
    std::vector<int> ids;
    int greatest = -1;
    bool negative = false;
    const auto see = [&greatest, &negative](int id) {
        greatest = std::max(greatest, id);
        negative = negative || id < 0;
    };
    for (auto it = graph.nodes().keyBegin(); it != graph.nodes().keyEnd(); ++it) {
        see(*it);
    }
    for (const RoutingEdge& edge : graph.edges()) {
        see(edge.startNode);
        see(edge.endNode);
    }
    if (!negative && greatest + 1LL == graph.nodeCount()) {
        m_count = graph.nodeCount(); // ids as the graph gives them: 0 and on, without a gap
        return;
    }
    m_ids.reserve(static_cast<std::size_t>(graph.nodeCount()));
    m_ids.assign(graph.nodes().keyBegin(), graph.nodes().keyEnd());
    const auto sortUnique = [this] {
        std::sort(m_ids.begin(), m_ids.end());
        m_ids.erase(std::unique(m_ids.begin(), m_ids.end()), m_ids.end());
    };
    sortUnique();
    const auto known = static_cast<std::ptrdiff_t>(m_ids.size());
    for (const RoutingEdge& edge : graph.edges()) {
        for (const int id : {edge.startNode, edge.endNode}) {
            if (!std::binary_search(m_ids.begin(), m_ids.begin() + known, id)) {
                m_ids.push_back(id);
            }
        }
    }
    sortUnique();
    m_count = static_cast<int>(m_ids.size());
}

int NodeNumbers::numberOf(int id) const noexcept {
    if (m_ids.empty()) {
        return id >= 0 && id < m_count ? id : -1;
    }
    const auto found = std::lower_bound(m_ids.begin(), m_ids.end(), id);
    return found != m_ids.end() && *found == id ? static_cast<int>(found - m_ids.begin()) : -1;
}

void KeyQueue::reset(double meanCost) {
    const double perCost = bucketsPerMean / meanCost;
    m_perCost = meanCost > 0.0 && std::isfinite(perCost) ? perCost : 0.0;
    m_base = 0.0;
    m_near.clear();
    m_far.clear();
    while (takeBucket() >= 0) {
    }
    m_entries.clear();
    m_free = -1;
    m_word = 0;
    m_nearEnd = 1.0;
}

int KeyQueue::takeBucket() {
    for (; m_word < m_used.size(); ++m_word) {
        if (m_used[m_word] != 0) {
            const std::size_t bucket =
                m_word * 64 + static_cast<std::size_t>(std::countr_zero(m_used[m_word]));
            m_used[m_word] &= m_used[m_word] - 1;
            m_nearEnd = static_cast<double>(bucket + 1);
            return std::exchange(m_first[bucket], -1);
        }
    }
    return -1;
}

bool KeyQueue::findNear() {
    while (true) {
        int entry = takeBucket();
        if (entry >= 0) {
            while (entry >= 0) {
                Entry& found = m_entries[static_cast<std::size_t>(entry)];
                m_near.push(found.cost, found.number);
                const int next = std::exchange(found.next, m_free);
                m_free = std::exchange(entry, next);
            }
            return true;
        }
        if (m_far.empty()) {
            return false;
        }
        // New buckets, from the least of the others on.
        m_base = std::min_element(m_far.begin(), m_far.end(), [](const Entry& a, const Entry& b) {
                     return a.cost < b.cost;
                 })->cost;
        m_nearEnd = 0.0;
        m_word = 0;
        std::vector<Entry> waiting;
        waiting.swap(m_far);
        for (const Entry& again : waiting) {
            push(again.cost, again.number);
        }
    }
}

void SearchMemory::reset(int nodeCount, double meanCost) {
    const auto count = static_cast<std::size_t>(nodeCount);
    if (labels.size() != count || reached.size() > count / 8) {
        labels.assign(count, Label());
    } else {
        for (const int node : reached) {
            labels[static_cast<std::size_t>(node)] = Label();
        }
    }
    reached.clear();
    queue.reset(meanCost);
}

SearchTable& SearchTable::of(const RoutingGraph& graph) {
    if (graph.m_searchTable == nullptr) {
        graph.m_searchTable = std::make_unique<SearchTable>(graph);
    }
    graph.m_searchTable->m_graph = &graph; // it may have been moved
    return *graph.m_searchTable;
}

SearchTable::SearchTable(const RoutingGraph& graph)
    : m_graph(&graph), m_numbers(std::make_shared<const NodeNumbers>(graph)) {}

SearchTable::Costs& SearchTable::costs(RoutingCostMetric metric, double defaultSpeed) {
    Costs& costs = m_costs[metric == RoutingCostMetric::TravelTime ? 1 : 0];
    const bool same =
        costs.defaultSpeed == defaultSpeed || (!(costs.defaultSpeed > 0.0) && !(defaultSpeed > 0.0));
    if (metric == RoutingCostMetric::TravelTime && !same) {
        costs = Costs();
        costs.defaultSpeed = defaultSpeed;
    }
    return costs;
}

const ArcRows& SearchTable::outgoing(RoutingCostMetric metric, double defaultSpeed) {
    Costs& costs = this->costs(metric, defaultSpeed);
    if (!costs.outgoing) {
        costs.outgoing = makeRows(metric, defaultSpeed, false);
    }
    return *costs.outgoing;
}

const ArcRows& SearchTable::incoming(RoutingCostMetric metric, double defaultSpeed) {
    Costs& costs = this->costs(metric, defaultSpeed);
    if (!costs.incoming) {
        costs.incoming = makeRows(metric, defaultSpeed, true);
    }
    return *costs.incoming;
}

ArcRows SearchTable::makeRows(RoutingCostMetric metric, double defaultSpeed, bool incoming) const {
    const QList<RoutingEdge>& edges = m_graph->edges();
    struct Entry {
        int row;
        Arc arc;
    };
    std::vector<Entry> entries;
    double sum = 0.0;
    entries.reserve(static_cast<std::size_t>(edges.size()));
    ArcRows rows;
    rows.first.assign(static_cast<std::size_t>(m_numbers->count()) + 1, 0);
    int position = 0;
    for (const RoutingEdge& edge : edges) {
        if (const std::optional<double> cost = edgeCost(edge, metric, defaultSpeed)) {
            int row = m_numbers->numberOf(edge.startNode);
            int other = m_numbers->numberOf(edge.endNode);
            if (incoming) {
                std::swap(row, other);
            }
            entries.push_back({row, {*cost, other, position}});
            ++rows.first[static_cast<std::size_t>(row)];
            sum += *cost;
        }
        ++position;
    }
    rows.meanCost = entries.empty() ? 0.0 : sum / static_cast<double>(entries.size());
    // To the ends of the rows, and back from there, so that each row keeps the order of the list.
    int end = 0;
    for (int& first : rows.first) {
        first = end += first;
    }
    rows.arcs.resize(entries.size());
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        rows.arcs[static_cast<std::size_t>(--rows.first[static_cast<std::size_t>(entry->row)])] = entry->arc;
    }
    return rows;
}

const std::vector<RoutingPoint>& SearchTable::positions() {
    if (m_positions.empty()) {
        using Common::Internal::nan;
        m_positions.assign(static_cast<std::size_t>(m_numbers->count()), RoutingPoint(nan, nan));
        // By the key: a caller may have changed the id in the node.
        for (auto it = m_graph->nodes().cbegin(); it != m_graph->nodes().cend(); ++it) {
            m_positions[static_cast<std::size_t>(m_numbers->numberOf(it.key()))] = it->position;
        }
    }
    return m_positions;
}

double SearchTable::costPerDistance(RoutingCostMetric metric, double defaultSpeed) {
    const ArcRows& rows = outgoing(metric, defaultSpeed);
    std::optional<double>& least = costs(metric, defaultSpeed).perDistance;
    if (!least) {
        const std::vector<RoutingPoint>& at = positions();
        double factor = std::numeric_limits<double>::infinity();
        for (std::size_t node = 0; node < at.size(); ++node) {
            for (int i = rows.first[node]; i < rows.first[node + 1]; ++i) {
                const Arc& arc = rows.arcs[static_cast<std::size_t>(i)];
                const double straight = at[node].distanceTo(at[static_cast<std::size_t>(arc.other)]);
                // Straight distances that are no numbers bound nothing.
                factor = std::isfinite(straight)
                             ? (straight > 0.0 ? std::min(factor, arc.cost / straight) : factor)
                             : 0.0;
            }
        }
        // A little less, for the rounding of distances and quotients.
        least = std::isfinite(factor) ? factor * (1.0 - 1e-12) : 0.0;
    }
    return *least;
}

} // namespace Cartolith::Core::Routing::Internal
