#include <Cartolith/Core/Common/RoomInternal.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/SearchTableInternal.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Routing {

using Common::Internal::makeRoom;

RoutingGraph::RoutingGraph() = default;
RoutingGraph::~RoutingGraph() = default;
RoutingGraph::RoutingGraph(RoutingGraph&& other) noexcept = default;
RoutingGraph& RoutingGraph::operator=(RoutingGraph&& other) noexcept = default;

// Without the tables of the search: two graphs must not write into the same ones.
RoutingGraph::RoutingGraph(const RoutingGraph& other)
    : m_nodes(other.m_nodes), m_edges(other.m_edges), m_outEdges(other.m_outEdges),
      m_nextOut(other.m_nextOut), m_nextNodeId(other.m_nextNodeId), m_nextEdgeId(other.m_nextEdgeId),
      m_edgeIdsArePositions(other.m_edgeIdsArePositions) {}

RoutingGraph& RoutingGraph::operator=(const RoutingGraph& other) {
    return *this = RoutingGraph(other);
}

void RoutingGraph::changed() {
    m_searchTable.reset();
}

int RoutingGraph::takeId(int wanted, long long& next) {
    if (wanted < 0) {
        if (next > std::numeric_limits<int>::max()) {
            throw std::length_error("RoutingGraph has no ids left.");
        }
        return static_cast<int>(next++);
    }
    next = std::max(next, static_cast<long long>(wanted) + 1);
    return wanted;
}

int RoutingGraph::addNode(const RoutingNode& node) {
    RoutingNode added = node;
    long long nextId = m_nextNodeId;
    const int id = added.id = takeId(node.id, nextId);
    m_nodes.insert(id, added);
    m_nextNodeId = nextId;
    changed();
    return id;
}

int RoutingGraph::addEdge(RoutingEdge edge) {
    long long nextId = m_nextEdgeId;
    const int id = edge.id = takeId(edge.id, nextId);
    const int start = edge.startNode;
    const auto position = static_cast<int>(m_edges.size());
    makeRoom(m_edges, 1);
    makeRoom(m_nextOut, 1);
    enter(m_outEdges[start], m_nextOut, position);
    m_nextOut.append(-1);
    m_edges.append(std::move(edge));
    m_nextEdgeId = nextId;
    m_edgeIdsArePositions = m_edgeIdsArePositions && id == position;
    changed();
    return id;
}

void RoutingGraph::enter(OutEdges& out, QList<int>& nextOut, int position) {
    if (out.first < 0) {
        out.first = position;
    } else {
        nextOut[out.last] = position;
    }
    out.last = position;
}

template <typename Visit>
void RoutingGraph::forEachOutEdge(int node, Visit visit) const {
    for (int i = m_outEdges.value(node).first; i >= 0; i = m_nextOut.at(i)) {
        visit(m_edges.at(i));
    }
}

RoutingNode* RoutingGraph::findNode(int id) {
    const auto found = m_nodes.find(id);
    return found != m_nodes.end() ? &found.value() : nullptr;
}

const RoutingNode* RoutingGraph::findNode(int id) const {
    const auto found = m_nodes.constFind(id);
    return found != m_nodes.constEnd() ? &found.value() : nullptr;
}

const RoutingEdge* RoutingGraph::findEdge(int id) const {
    if (m_edgeIdsArePositions) {
        return id >= 0 && id < m_edges.size() ? &m_edges.at(id) : nullptr;
    }
    const auto found = std::find_if(m_edges.cbegin(), m_edges.cend(),
                                    [id](const RoutingEdge& edge) { return edge.id == id; });
    return found != m_edges.cend() ? &*found : nullptr;
}

const RoutingEdge* RoutingGraph::findEdge(int from, int to) const {
    for (int i = m_outEdges.value(from).first; i >= 0; i = m_nextOut.at(i)) {
        if (m_edges.at(i).endNode == to) {
            return &m_edges.at(i);
        }
    }
    return nullptr;
}

QList<const RoutingEdge*> RoutingGraph::outEdges(int node) const {
    QList<const RoutingEdge*> edges;
    forEachOutEdge(node, [&edges](const RoutingEdge& edge) { edges.append(&edge); });
    return edges;
}

QList<int> RoutingGraph::outEdgeIds(int node) const {
    QList<int> ids;
    forEachOutEdge(node, [&ids](const RoutingEdge& edge) { ids.append(edge.id); });
    return ids;
}

QList<int> RoutingGraph::neighbors(int node) const {
    QList<int> ends;
    forEachOutEdge(node, [&ends](const RoutingEdge& edge) { ends.append(edge.endNode); });
    return ends;
}

double RoutingGraph::straightDistance(int a, int b) const {
    const RoutingNode* const nodeA = findNode(a);
    const RoutingNode* const nodeB = findNode(b);
    return nodeA != nullptr && nodeB != nullptr ? nodeA->position.distanceTo(nodeB->position) : -1.0;
}

double RoutingGraph::edgeDistance(int a, int b) const {
    const RoutingEdge* const edge = findEdge(a, b);
    return edge != nullptr ? edge->length : -1.0;
}

bool RoutingGraph::boundingBox(RoutingPoint& min, RoutingPoint& max) const {
    if (m_nodes.isEmpty()) {
        min = max = RoutingPoint();
        return false;
    }
    constexpr double largest = std::numeric_limits<double>::max();
    min = {largest, largest};
    max = {-largest, -largest};
    for (const RoutingNode& node : m_nodes) {
        min = {std::min(min.x, node.position.x), std::min(min.y, node.position.y)};
        max = {std::max(max.x, node.position.x), std::max(max.y, node.position.y)};
    }
    return true;
}

bool RoutingGraph::removeEdge(int id) {
    const RoutingEdge* const edge = findEdge(id);
    if (edge == nullptr) {
        return false;
    }
    removeEdges([edge](const RoutingEdge& any) { return &any == edge; });
    return true;
}

bool RoutingGraph::removeNode(int id) {
    if (!m_nodes.contains(id)) {
        return false;
    }
    m_nodes.detach();
    removeEdges([id](const RoutingEdge& edge) { return edge.startNode == id || edge.endNode == id; });
    m_nodes.remove(id);
    m_outEdges.remove(id);
    return true;
}

// All memory comes first. The table of edges that leave a node is changed in place and loses entries only: a
// QHash that finds no memory for one ends the process.
template <typename Doomed>
void RoutingGraph::removeEdges(Doomed doomed) {
    std::vector<int> places(static_cast<std::size_t>(m_edges.size()), -1);
    int kept = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (!doomed(m_edges.at(static_cast<qsizetype>(i)))) {
            places[i] = kept++;
        }
    }
    QList<int> nextOut;
    makeRoom(nextOut, kept);
    nextOut.resize(kept);
    nextOut.fill(-1);
    makeRoom(m_edges);
    m_outEdges.detach();

    changed();
    for (OutEdges& out : m_outEdges) {
        OutEdges fewer;
        for (int i = out.first; i >= 0; i = m_nextOut.at(i)) {
            if (const int place = places[static_cast<std::size_t>(i)]; place >= 0) {
                enter(fewer, nextOut, place);
            }
        }
        out = fewer;
    }
    m_edgeIdsArePositions = true;
    RoutingEdge* const edges = m_edges.data();
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (const int place = places[i]; place >= 0) {
            if (place != static_cast<int>(i)) {
                edges[place] = std::move(edges[i]);
            }
            m_edgeIdsArePositions = m_edgeIdsArePositions && edges[place].id == place;
        }
    }
    m_edges.remove(kept, m_edges.size() - kept);
    m_nextOut.swap(nextOut);
}

void RoutingGraph::rebuildAdjacency() {
    QHash<int, OutEdges> outEdges;
    QList<int> nextOut;
    makeRoom(nextOut, m_edges.size());
    bool idsArePositions = true;
    for (int i = 0; i < m_edges.size(); ++i) {
        nextOut.append(-1);
        enter(outEdges[m_edges.at(i).startNode], nextOut, i);
        idsArePositions = idsArePositions && m_edges.at(i).id == i;
    }
    changed();
    m_outEdges.swap(outEdges);
    m_nextOut.swap(nextOut);
    m_edgeIdsArePositions = idsArePositions;
}

void RoutingGraph::clear() {
    *this = RoutingGraph();
}

} // namespace Cartolith::Core::Routing
