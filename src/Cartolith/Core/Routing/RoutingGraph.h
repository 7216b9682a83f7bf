#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Routing/RoutingEdge.h>
#include <Cartolith/Core/Routing/RoutingNode.h>

#include <QHash>
#include <QList>

#include <memory>

namespace Cartolith::Core::Routing {

namespace Internal {
class SearchTable;
}

/// A directed road network: nodes by id, and one-way edges in the order in which they were added.
///
/// Planar; lengths are in coordinate units, speeds in kilometres per hour, so that travel times are seconds
/// when the coordinates are metres. Streets as they come from a map share inner vertices where they cross:
/// RoutingPreparation cuts them there before buildFromPolylines().
///
/// Edges may name nodes that are not there; a search passes them like any other. Ids are unique for nodes.
/// Several edges may have one id; lookups then find the first in the list. Pointers and references into the
/// graph are valid until it is changed next. The first search after a change makes tables in time linear in
/// the graph, so a graph, const or not, is used by one thread at a time; copies are independent.
///
/// When memory runs out, removing leaves the graph as it was, and so do the other operations, except that Qt
/// ends the process where its QHash finds no memory for one more node.
class CARTOLITH_CORE_EXPORT RoutingGraph {
public:
    RoutingGraph();
    RoutingGraph(const RoutingGraph& other);
    RoutingGraph(RoutingGraph&& other) noexcept;
    RoutingGraph& operator=(const RoutingGraph& other);
    RoutingGraph& operator=(RoutingGraph&& other) noexcept;
    ~RoutingGraph();

    /// Returns the id used: the node's own, or the next free one when that is below 0. A node with this id is
    /// replaced. \throws std::length_error when the greatest id has been used and another one is wanted
    int addNode(const RoutingNode& node);
    /// As addNode(), but every edge is kept, also with an id that another one has.
    int addEdge(RoutingEdge edge);

    /// Null when there is none. All but the id may be changed through it; A* goes on
    /// with the positions that it saw first, until the graph is changed otherwise.
    RoutingNode* findNode(int id);
    const RoutingNode* findNode(int id) const;
    /// The first edge with this id; null when there is none. Constant time as long as ids are the positions
    /// in the list, as they are when the graph chooses them and no edge was removed; else linear.
    const RoutingEdge* findEdge(int id) const;
    /// The first edge between the two nodes in this direction; null when there is none.
    const RoutingEdge* findEdge(int from, int to) const;

    /// In no particular order.
    const QHash<int, RoutingNode>& nodes() const noexcept { return m_nodes; }
    int nodeCount() const noexcept { return static_cast<int>(m_nodes.size()); }
    const QList<RoutingEdge>& edges() const noexcept { return m_edges; }
    int edgeCount() const noexcept { return static_cast<int>(m_edges.size()); }

    /// The edges that leave a node, in the order of the list; likewise their ids and their end nodes.
    QList<const RoutingEdge*> outEdges(int node) const;
    QList<int> outEdgeIds(int node) const;
    QList<int> neighbors(int node) const;

    /// Between the positions of two nodes; -1 when either is missing.
    double straightDistance(int a, int b) const;
    /// The length of findEdge(a, b); -1 when there is none.
    double edgeDistance(int a, int b) const;
    /// Around the nodes. Without nodes: false, and both points are (0, 0). NaN coordinates do not count;
    /// where all are NaN, `min` is DBL_MAX and `max` is -DBL_MAX.
    bool boundingBox(RoutingPoint& min, RoutingPoint& max) const;

    /// Removes the first edge with this id; false when there is none. Linear.
    bool removeEdge(int id);
    /// Removes the node and every edge that starts or ends at it; false, and nothing is removed, when there
    /// is no such node. Linear.
    bool removeNode(int id);
    /// Enters every edge anew under its start node, in the order of the list. The operations above keep this
    /// up to date themselves.
    void rebuildAdjacency();
    /// Removes everything; the next ids are 0 again.
    void clear();

    /// The sum of the distances between consecutive points; 0 for fewer than 2 points.
    static double polylineLength(const QList<RoutingPoint>& line);
    /// "%1_%2" with x / tolerance and y / tolerance, rounded half away from zero to 64-bit integers. Beyond
    /// their range the nearest of them counts; a NaN has the least one for itself.
    static QString snapKey(const RoutingPoint& point, double tolerance);
    /// The node of the point's key; a new one at the point when the table does not have the key yet. The
    /// table grows by it. Points closer than the tolerance in two cells are two nodes.
    int findOrCreateNode(const RoutingPoint& point, double tolerance, QHash<QString, int>& keys);

    /// Replaces the network by an edge from the first to the last point of each line, in order, and with
    /// `bidirectional` another one back right behind it unless both ends are one node. Lines of fewer than 2
    /// points are left out.
    ///
    /// Ends with the same snapKey() are one node; a tolerance that is not finite and greater than 0 counts as
    /// 1e-9. The attributes of line i are entry i of the list, none beyond its end. "SPEED" is the speed
    /// (km/h, not checked; 50 when missing), "AD" also becomes the attribute "name".
    void buildFromPolylines(const QList<QList<RoutingPoint>>& lines,
                            const QList<QMap<QString, QVariant>>& attributes, double tolerance,
                            bool bidirectional);

private:
    friend class Internal::SearchTable;

    // The edges that leave a node as a list linked through m_nextOut, by position in m_edges; -1 ends it.
    struct OutEdges {
        int first = -1;
        int last = -1;
    };

    int takeId(int wanted, long long& next);
    static void enter(OutEdges& out, QList<int>& nextOut, int position);
    template <typename Doomed>
    void removeEdges(Doomed doomed);
    template <typename Visit>
    void forEachOutEdge(int node, Visit visit) const;
    void changed();

    QHash<int, RoutingNode> m_nodes;
    QList<RoutingEdge> m_edges;
    QHash<int, OutEdges> m_outEdges;
    QList<int> m_nextOut;
    long long m_nextNodeId = 0;
    long long m_nextEdgeId = 0;
    bool m_edgeIdsArePositions = true;
    // Made by the first search, dropped by the next change.
    mutable std::unique_ptr<Internal::SearchTable> m_searchTable;
};

} // namespace Cartolith::Core::Routing
