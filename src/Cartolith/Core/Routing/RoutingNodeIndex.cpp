#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/RoutingNodeIndex.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Cartolith::Core::Routing {

namespace {

using Common::Internal::infinity;
constexpr double epsilon = std::numeric_limits<double>::epsilon();

long long gap(long long a, long long b) {
    long long difference = 0;
    if (__builtin_sub_overflow(std::max(a, b), std::min(a, b), &difference)) {
        return std::numeric_limits<long long>::max();
    }
    return difference;
}

bool isFinite(const RoutingPoint& point) {
    return std::isfinite(point.x) && std::isfinite(point.y);
}

struct Range {
    double least;
    double greatest;
};

/// Where most values lie: without the outermost hundredth on each side, unless that is near by. A few nodes
/// with a wrong place must not stretch the grid until all others share one cell.
Range bulk(std::vector<double>& values) {
    const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
    const Range all{*least, *greatest};
    const auto aside = static_cast<std::ptrdiff_t>(values.size() / 100);
    if (aside == 0) {
        return all;
    }
    std::nth_element(values.begin(), values.begin() + aside, values.end());
    const double low = values[static_cast<std::size_t>(aside)];
    std::nth_element(values.begin(), values.end() - 1 - aside, values.end());
    const double high = *(values.end() - 1 - aside);
    const double air = (high - low) * 0.05;
    return {std::max(all.least, low - air), std::min(all.greatest, high + air)};
}

int cellAlong(double offset, int count) {
    return !(offset > 0.0) ? 0 : (offset >= count ? count - 1 : static_cast<int>(offset));
}

} // namespace

double RoutingNodeIndex::chooseCellSize(const RoutingGraph& graph) {
    RoutingPoint min, max;
    if (!graph.boundingBox(min, max)) {
        return 1.0;
    }
    const double span = std::max(max.x - min.x, max.y - min.y);
    if (!(span > 0.0) || !std::isfinite(span)) {
        return 1.0;
    }
    const double root = std::sqrt(static_cast<double>(graph.nodeCount()));
    return std::max(1e-9, root > 1.0 ? span / root : span);
}

long long RoutingNodeIndex::cellOf(double coordinate) const {
    const double cell = std::floor(coordinate / m_cellSize);
    constexpr double limit = 9223372036854775808.0;
    if (cell >= limit) {
        return std::numeric_limits<long long>::max();
    }
    return cell >= -limit ? static_cast<long long>(cell) : std::numeric_limits<long long>::min();
}

int RoutingNodeIndex::columnOf(double x) const {
    return cellAlong((x - m_origin.x) * m_perUnit, m_columns);
}

int RoutingNodeIndex::rowOf(double y) const {
    return cellAlong((y - m_origin.y) * m_perUnit, m_rows);
}

void RoutingNodeIndex::clear() {
    *this = RoutingNodeIndex();
}

void RoutingNodeIndex::build(const RoutingGraph& graph, double cellSize) {
    RoutingNodeIndex built;
    built.fill(graph, cellSize);
    *this = std::move(built);
}

void RoutingNodeIndex::fill(const RoutingGraph& graph, double cellSize) {
    if (graph.nodeCount() == 0) {
        return;
    }
    m_cellSize = cellSize <= 0.0 ? chooseCellSize(graph) : cellSize;
    if (!(m_cellSize > 0.0) || !std::isfinite(m_cellSize)) {
        m_cellSize = 1.0;
    }
    m_built = true;

    m_nodes.reserve(static_cast<std::size_t>(graph.nodeCount()));
    for (auto it = graph.nodes().cbegin(); it != graph.nodes().cend(); ++it) {
        m_nodes.push_back({it.key(), it->position});
    }
    const auto end = std::partition(m_nodes.begin(), m_nodes.end(),
                                    [](const IndexedNode& node) { return isFinite(node.position); });
    std::vector<double> xs, ys;
    for (auto node = m_nodes.begin(); node != end; ++node) {
        xs.push_back(node->position.x);
        ys.push_back(node->position.y);
    }
    m_firstOfCell.assign(2, 0);
    if (xs.empty()) {
        return;
    }
    const auto [left, right] = std::minmax_element(xs.begin(), xs.end());
    const auto [bottom, top] = std::minmax_element(ys.begin(), ys.end());
    m_minColumn = cellOf(*left);
    m_maxColumn = cellOf(*right);
    m_minRow = cellOf(*bottom);
    m_maxRow = cellOf(*top);
    m_slack = 8 * epsilon * std::max({std::abs(*left), std::abs(*right), std::abs(*bottom), std::abs(*top)});

    const Range x = bulk(xs);
    const Range y = bulk(ys);
    const double width = x.greatest - x.least;
    const double height = y.greatest - y.least;
    const auto count = static_cast<double>(xs.size());
    // Square cells, about as many as nodes; along a line, the nodes share its length.
    const double side =
        std::max(std::sqrt(width) * std::sqrt(height) / std::sqrt(count), std::max(width, height) / count);
    m_origin = {x.least, y.least};
    if (side > 0.0 && std::isfinite(side) && std::isfinite(1.0 / side)) {
        m_side = side;
        m_perUnit = 1.0 / side;
        m_columns = static_cast<int>(std::min(width / side, count)) + 1;
        m_rows = static_cast<int>(std::min(height / side, count)) + 1;
    }

    const auto cellOfNode = [this](const IndexedNode& node) {
        return static_cast<std::size_t>(rowOf(node.position.y)) * static_cast<std::size_t>(m_columns) +
               static_cast<std::size_t>(columnOf(node.position.x));
    };
    m_firstOfCell.assign(static_cast<std::size_t>(m_columns) * static_cast<std::size_t>(m_rows) + 1, 0);
    for (auto node = m_nodes.begin(); node != end; ++node) {
        ++m_firstOfCell[cellOfNode(*node)];
    }
    int before = 0;
    for (int& first : m_firstOfCell) {
        first = before += first;
    }
    std::vector<IndexedNode> sorted(m_nodes);
    for (auto node = m_nodes.begin(); node != end; ++node) {
        sorted[static_cast<std::size_t>(--m_firstOfCell[cellOfNode(*node)])] = *node;
    }
    m_nodes = std::move(sorted);
}

RoutingNearestNodeResult RoutingNodeIndex::nearestNode(const RoutingPoint& point, double maxDistance) const {
    RoutingNearestNodeResult best;
    if (!m_built || maxDistance < 0.0) {
        return best;
    }
    double bound = std::isfinite(maxDistance) ? maxDistance : infinity;
    // Squares further apart than this have different roots; most nodes are done with before a root is taken.
    double squareBound = bound * bound * (1.0 + 4 * epsilon);
    const IndexedNode* const nodes = m_nodes.data();
    const int* const firstOfCell = m_firstOfCell.data();
    const auto look = [&](int row, int fromColumn, int toColumn) {
        const std::size_t cells = static_cast<std::size_t>(row) * static_cast<std::size_t>(m_columns);
        const int end = firstOfCell[cells + static_cast<std::size_t>(toColumn) + 1];
        for (int i = firstOfCell[cells + static_cast<std::size_t>(fromColumn)]; i < end; ++i) {
            const IndexedNode& node = nodes[i];
            const double dx = point.x - node.position.x;
            const double dy = point.y - node.position.y;
            const double square = dx * dx + dy * dy;
            if (!(square <= squareBound)) {
                continue;
            }
            const double distance = std::sqrt(square);
            if (distance < bound || (distance == bound && (!best.found() || node.id < best.nodeId))) {
                best = {node.id, node.position, distance};
                bound = distance;
                squareBound = square * (1.0 + 4 * epsilon);
            }
        }
    };

    const int column = columnOf(point.x);
    const int row = rowOf(point.y);
    // What lies outside the rings seen so far is at least this far away, beyond one side of their square; the
    // border cells of the grid reach on forever.
    const double slack = m_slack + 8 * epsilon * (std::abs(point.x) + std::abs(point.y));
    const auto unseen = [&](int ring) {
        const auto beyond = [&](double at, double origin, int cell, int cells) {
            const double low = cell - ring > 0 ? at - (origin + (cell - ring) * m_side) : infinity;
            const double high = cell + ring + 1 < cells ? origin + (cell + ring + 1) * m_side - at : infinity;
            return std::min(low, high);
        };
        return std::min(beyond(point.x, m_origin.x, column, m_columns),
                        beyond(point.y, m_origin.y, row, m_rows)) -
               slack;
    };
    const int rings = std::max({column, m_columns - 1 - column, row, m_rows - 1 - row});
    for (int ring = 0; ring <= rings; ++ring) {
        const int left = std::max(column - ring, 0);
        const int right = std::min(column + ring, m_columns - 1);
        for (int r = std::max(row - ring, 0); r <= std::min(row + ring, m_rows - 1); ++r) {
            if (r == row - ring || r == row + ring) {
                look(r, left, right);
                continue;
            }
            if (column - ring >= 0) {
                look(r, left, left);
            }
            if (column + ring < m_columns) {
                look(r, right, right);
            }
        }
        if (unseen(ring) > bound) {
            break;
        }
    }
    return best;
}

QList<int> RoutingNodeIndex::nodesInRadius(const RoutingPoint& point, double radius) const {
    QList<int> ids;
    if (!m_built || !(radius >= 0.0)) {
        return ids;
    }
    const double reach = radius + m_slack + 8 * epsilon * (std::abs(point.x) + std::abs(point.y));
    const int right = columnOf(point.x + reach);
    const int top = rowOf(point.y + reach);
    const int left = columnOf(point.x - reach);
    for (int row = rowOf(point.y - reach); row <= top; ++row) {
        const std::size_t cells = static_cast<std::size_t>(row) * static_cast<std::size_t>(m_columns);
        const int end = m_firstOfCell[cells + static_cast<std::size_t>(right) + 1];
        for (int i = m_firstOfCell[cells + static_cast<std::size_t>(left)]; i < end; ++i) {
            const IndexedNode& node = m_nodes[static_cast<std::size_t>(i)];
            if (point.distanceTo(node.position) <= radius) {
                ids.append(node.id);
            }
        }
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

long long RoutingNodeIndex::maximumRingFrom(long long cx, long long cy) const {
    const long long ring =
        std::max({gap(cx, m_minColumn), gap(cx, m_maxColumn), gap(cy, m_minRow), gap(cy, m_maxRow)});
    return ring < std::numeric_limits<long long>::max() ? ring + 1 : ring;
}

} // namespace Cartolith::Core::Routing
