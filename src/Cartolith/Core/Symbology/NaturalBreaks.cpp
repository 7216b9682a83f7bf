#include <Cartolith/Core/Symbology/NaturalBreaksInternal.h>
#include <Cartolith/Core/Symbology/NaturalBreaksLayersInternal.h>
#include <Cartolith/Core/Symbology/NaturalBreaksRecurrenceInternal.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

namespace Cartolith::Core::Symbology::Internal {

namespace {

/// One cell of the recurrence's matrix: the values 1 to `row` in as many classes as its layer says.
struct Node {
    std::size_t row = 0;
    bool needsValue = false;             ///< the recurrence's own sum, not only where the last class begins
    std::vector<std::size_t> candidates; ///< beginnings of the last class that may win, descending
    double value = 0.0;
    std::size_t winner = 0;
};

using Nodes = std::vector<Node>; ///< of one layer, by ascending row

Node& at(Nodes& nodes, std::size_t row) {
    return *std::lower_bound(nodes.begin(), nodes.end(), row,
                             [](const Node& node, std::size_t wanted) { return node.row < wanted; });
}

/// Decides only the cells that the way back through the matrix may visit. Where one candidate lies below all
/// others by more than the recurrence can be off, it is the recurrence's choice; between the rest the
/// recurrence's own numbers decide, which are computed for those alone.
class SparseRecurrence {
public:
    SparseRecurrence(const std::vector<double>& sorted, std::size_t k)
        : m_sorted(sorted), m_classes(k), m_layers(sorted, k), m_nodes(k + 1),
          m_budget(sorted.size() * (sorted.size() / 128 + 8 * k)), m_candidates(sorted.size() + 1) {}

    /// As recurrenceCuts(), or nothing when too much is left undecided for this to be worth its while.
    std::optional<std::vector<std::size_t>> cuts() {
        if (!m_layers.isValid()) {
            return std::nullopt;
        }
        m_nodes[m_classes].push_back({m_sorted.size(), false, {}, 0.0, 0});
        for (std::size_t j = m_classes; j > 1; --j) {
            if (!findCandidates(j)) {
                return std::nullopt;
            }
        }
        for (Node& node : m_nodes[1]) {
            BackwardVariance variance;
            for (std::size_t i = node.row; i > 0; --i) {
                variance.add(m_sorted[i - 1]);
            }
            node.value = variance.value();
        }
        for (std::size_t j = 2; j <= m_classes; ++j) {
            for (Node& node : m_nodes[j]) {
                decide(node, m_nodes[j - 1]);
            }
        }
        std::vector<std::size_t> result(m_classes - 1, 0);
        std::size_t row = m_sorted.size();
        for (std::size_t j = m_classes; j > 1 && row > 1; --j) {
            row = at(m_nodes[j], row).winner - 1;
            result[j - 2] = row;
        }
        return result;
    }

private:
    struct Window {
        std::size_t low;
        std::size_t high;
    };

    bool spend(std::size_t steps) {
        const bool enough = steps <= m_budget;
        m_budget -= enough ? steps : m_budget;
        return enough;
    }

    /// The candidates of the layer's cells, and from them the cells of the layer below.
    bool findCandidates(std::size_t j) {
        Nodes& nodes = m_nodes[j];
        if (nodes.empty()) {
            return true;
        }
        // By the quadrangle inequality a beginning that is worse than another by some amount is worse by as
        // much in all rows after when it lies before the other, in all rows before when it lies after.
        const std::size_t lastRow = nodes.back().row;
        if (!spend(nodes.front().row + lastRow)) {
            return false;
        }
        const Window first = scan(nodes.front(), j, {2, nodes.front().row}, lastRow);
        if (nodes.size() > 1) {
            const Window last = scan(nodes.back(), j, {first.low, lastRow}, lastRow);
            if (!spend((nodes.size() - 2) * (last.high - first.low + 1))) {
                return false;
            }
            for (std::size_t at = 1; at + 1 < nodes.size(); ++at) {
                scan(nodes[at], j, {first.low, std::min(last.high, nodes[at].row)}, lastRow);
            }
        }
        return descend(j);
    }

    /// Leaves the beginnings in the window that may win; returns those that may win in other rows up to
    /// `lastRow`.
    Window scan(Node& node, std::size_t j, Window window, std::size_t lastRow) {
        long double least = std::numeric_limits<long double>::infinity();
        long double most = least; // the recurrence's choice is not above
        for (std::size_t i = window.low; i <= window.high; ++i) {
            const long double sum = m_layers.candidate(i, node.row, j);
            const long double error = m_layers.error(i, node.row, j);
            least = std::min(least, sum);
            most = std::min(most, sum + error);
            m_candidates[i] = {sum, sum - error};
        }
        const long double reach = least + 2.0L * static_cast<long double>(m_layers.greatestError(lastRow));
        Window reached{window.high, window.low};
        for (std::size_t i = window.high; i >= window.low; --i) {
            if (m_candidates[i].sum <= reach) {
                reached.low = i;
                reached.high = std::max(reached.high, i);
            }
            if (m_candidates[i].least <= most) {
                node.candidates.push_back(i);
            }
        }
        return reached;
    }

    bool descend(std::size_t j) {
        Nodes& below = m_nodes[j - 1];
        std::size_t sweeps = 0;
        for (const Node& node : m_nodes[j]) {
            const bool needsValue = node.needsValue || node.candidates.size() > 1;
            sweeps += needsValue ? node.row - node.candidates.back() + 1 : 0;
            for (const std::size_t i : node.candidates) {
                if (i > 2) { // the first value alone is known to sum up to 0
                    below.push_back({i - 1, needsValue, {}, 0.0, 0});
                }
            }
        }
        if (!spend(sweeps)) {
            return false;
        }
        std::sort(below.begin(), below.end(), [](const Node& a, const Node& b) {
            return a.row != b.row ? a.row < b.row : a.needsValue && !b.needsValue;
        });
        below.erase(std::unique(below.begin(), below.end(),
                                [](const Node& a, const Node& b) { return a.row == b.row; }),
                    below.end());
        return true;
    }

    void decide(Node& node, Nodes& below) const {
        node.winner = node.candidates.front();
        if (!node.needsValue && node.candidates.size() == 1) {
            return;
        }
        node.value = std::numeric_limits<double>::infinity();
        BackwardVariance variance;
        std::size_t i = node.row + 1;
        for (const std::size_t candidate : node.candidates) {
            while (i > candidate) {
                variance.add(m_sorted[--i - 1]);
            }
            const double value = variance.value() + (i > 2 ? at(below, i - 1).value : 0.0);
            if (value < node.value) {
                node.value = value;
                node.winner = i;
            }
        }
    }

    struct Candidate {
        long double sum = 0.0L;
        long double least = 0.0L; ///< the recurrence's sum is not below
    };

    const std::vector<double>& m_sorted;
    std::size_t m_classes;
    NaturalBreaksLayers m_layers;
    std::vector<Nodes> m_nodes; ///< [j]
    std::size_t m_budget;       ///< steps left before the whole recurrence is the better choice
    std::vector<Candidate> m_candidates;
};

} // namespace

QList<double> naturalBreaks(const QList<double>& sorted, int k) {
    const std::vector<double> values(sorted.cbegin(), sorted.cend());
    const auto classes = static_cast<std::size_t>(k);
    std::optional<std::vector<std::size_t>> cuts = SparseRecurrence(values, classes).cuts();
    if (!cuts) {
        cuts = recurrenceCuts(values, classes);
    }
    QList<double> breaks{values.front()};
    for (const std::size_t cut : *cuts) {
        breaks.append(values[cut]);
    }
    breaks.append(values.back());
    return breaks;
}

} // namespace Cartolith::Core::Symbology::Internal
