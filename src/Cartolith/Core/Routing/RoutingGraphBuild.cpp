// Networks from lines.

#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/SnapCellInternal.h>

#include <algorithm>
#include <utility>

namespace Cartolith::Core::Routing {

using Internal::SnapCell;

double RoutingGraph::polylineLength(const QList<RoutingPoint>& line) {
    double length = 0.0;
    for (qsizetype i = 1; i < line.size(); ++i) {
        length += line.at(i - 1).distanceTo(line.at(i));
    }
    return length;
}

QString RoutingGraph::snapKey(const RoutingPoint& point, double tolerance) {
    const SnapCell cell(point, tolerance);
    return QStringLiteral("%1_%2").arg(cell.x).arg(cell.y);
}

int RoutingGraph::findOrCreateNode(const RoutingPoint& point, double tolerance, QHash<QString, int>& keys) {
    const QString key = snapKey(point, tolerance);
    const auto known = keys.constFind(key);
    if (known != keys.constEnd()) {
        return known.value();
    }
    RoutingNode node;
    node.position = point;
    return keys.insert(key, addNode(node)).value();
}

void RoutingGraph::buildFromPolylines(const QList<QList<RoutingPoint>>& lines,
                                      const QList<QMap<QString, QVariant>>& attributes, double tolerance,
                                      bool bidirectional) {
    Common::Internal::LogStep step(Common::LogChannels::routing, "build");
    step.set("lines", lines.size());
    tolerance = Internal::usableTolerance(tolerance);
    RoutingGraph built;
    built.m_edges.reserve(lines.size() * (bidirectional ? 2 : 1));
    built.m_nextOut.reserve(built.m_edges.capacity());
    // The cells themselves are the keys here: writing them as text would take most of the time.
    QHash<SnapCell, int> nodeOfCell;
    nodeOfCell.reserve(lines.size());
    built.m_nodes.reserve(lines.size());
    built.m_outEdges.reserve(lines.size());
    const auto nodeAt = [&](const RoutingPoint& point) {
        const SnapCell cell(point, tolerance);
        const auto known = nodeOfCell.constFind(cell);
        if (known != nodeOfCell.constEnd()) {
            return known.value();
        }
        RoutingNode node;
        node.position = point;
        return nodeOfCell.insert(cell, built.addNode(node)).value();
    };
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QList<RoutingPoint>& line = lines.at(i);
        if (line.size() < 2) {
            continue;
        }
        RoutingEdge edge;
        edge.startNode = nodeAt(line.constFirst());
        edge.endNode = nodeAt(line.constLast());
        edge.length = polylineLength(line);
        edge.geometry = line;
        edge.attributes = attributes.value(i);
        const auto speed = edge.attributes.constFind(QStringLiteral("SPEED"));
        if (speed != edge.attributes.constEnd()) {
            edge.speed = speed.value().toDouble();
        }
        const auto name = edge.attributes.constFind(QStringLiteral("AD"));
        if (name != edge.attributes.constEnd()) {
            edge.attributes[QStringLiteral("name")] = QVariant(name.value()); // copied before the map changes
        }
        built.addEdge(edge);
        if (bidirectional && edge.startNode != edge.endNode) {
            std::swap(edge.startNode, edge.endNode);
            std::reverse(edge.geometry.begin(), edge.geometry.end());
            built.addEdge(std::move(edge));
        }
    }
    *this = std::move(built);
}

} // namespace Cartolith::Core::Routing
