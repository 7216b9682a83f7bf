#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Routing/RoutingNearestNodeResult.h>

#include <QList>

#include <limits>
#include <vector>

namespace Cartolith::Core::Routing {

class RoutingGraph;

/// Finds the node nearest to a point, and the nodes around it, to attach addresses, depots and clicks to a
/// network. RoutingEdgeIndex finds the nearest place along an edge instead.
///
/// A snapshot: later changes of the graph are not seen. Distances are those of RoutingPoint::distanceTo(),
/// compared exactly, and of nodes at one distance the smallest id counts, so that an answer is the one that a
/// look at every node gives. A node with a coordinate that is not finite is never found.
///
/// The nodes lie in a grid of its own making, with about one node in a cell and a bounded number of cells
/// whatever the cell size asked for. A query costs what lies around the point; it gets slow where most nodes
/// crowd into very little of the area. Const operations may run side by side.
class CARTOLITH_CORE_EXPORT RoutingNodeIndex {
public:
    struct IndexedNode {
        int id;
        RoutingPoint position;
    };

    /// A cell size that is not greater than 0 is replaced by chooseCellSize(), one that is not finite by 1.
    /// An empty graph leaves the index unbuilt. The index is as it was when memory runs out.
    void build(const RoutingGraph& graph, double cellSize = -1.0);
    void clear();
    bool isBuilt() const noexcept { return m_built; }
    int nodeCount() const noexcept { return static_cast<int>(m_nodes.size()); }
    /// In coordinate units, as build() settled it; 0 before.
    double cellSize() const noexcept { return m_cellSize; }

    /// The greater side of the bounding box over the square root of the number of nodes (if that is above
    /// 1), at least 1e-9; 1 when there is no such side.
    static double chooseCellSize(const RoutingGraph& graph);

    /// Within the distance, inclusive; any distance when it is infinite or NaN, none when it is negative.
    /// Nothing is near a point with a NaN.
    RoutingNearestNodeResult nearestNode(const RoutingPoint& point,
                                         double maxDistance = std::numeric_limits<double>::infinity()) const;

    /// The ids of the nodes at most the radius away, ascending; none for a radius that is negative or NaN.
    QList<int> nodesInRadius(const RoutingPoint& point, double radius) const;

    /// How many rings of cells around a cell (in units of cellSize()) cover every node.
    long long maximumRingFrom(long long cx, long long cy) const;

private:
    void fill(const RoutingGraph& graph, double cellSize);
    long long cellOf(double coordinate) const;
    // Of the grid; coordinates beyond it belong to its border.
    int columnOf(double x) const;
    int rowOf(double y) const;

    bool m_built = false;
    double m_cellSize = 0.0;
    long long m_minColumn = 0;
    long long m_maxColumn = 0;
    long long m_minRow = 0;
    long long m_maxRow = 0;

    std::vector<IndexedNode> m_nodes; // by cell of the grid, row by row; those in no cell at the end
    std::vector<int> m_firstOfCell;   // one more than there are cells
    RoutingPoint m_origin;
    double m_side = 1.0;
    double m_perUnit = 1.0; // cells
    int m_columns = 1;
    int m_rows = 1;
    double m_slack = 0.0; // by how much rounding can put a node beyond the edge of its cell
};

} // namespace Cartolith::Core::Routing

Q_DECLARE_TYPEINFO(Cartolith::Core::Routing::RoutingNodeIndex::IndexedNode, Q_PRIMITIVE_TYPE);
