#include <Cartolith/Core/Routing/RouteBuilderInternal.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Cartolith::Core::Routing::Internal {

QList<RoutingPoint> cutLine(const QList<RoutingPoint>& line, double from, double to) {
    if ((from <= 0.0 && to >= 1.0) || line.size() < 2) {
        return line;
    }
    const double length = RoutingGraph::polylineLength(line);
    const double start = from * length;
    const double end = to * length;
    QList<RoutingPoint> cut;
    if (from <= 0.0) {
        cut.append(line.constFirst());
    }
    double before = 0.0;
    for (qsizetype i = 1; i < line.size(); ++i) {
        const RoutingPoint& a = line.at(i - 1);
        const RoutingPoint& b = line.at(i);
        const double step = a.distanceTo(b);
        const auto at = [&](double along) {
            const double t = step > 0.0 ? std::clamp((along - before) / step, 0.0, 1.0) : 0.0;
            return RoutingPoint(a.x + t * (b.x - a.x), a.y + t * (b.y - a.y));
        };
        const double after = before + step;
        const bool last = i + 1 == line.size();
        if (cut.isEmpty() && (start <= after || last)) {
            cut.append(at(start));
        }
        if (!cut.isEmpty() && (end <= after || last)) {
            cut.append(to >= 1.0 ? line.constLast() : at(end));
            break;
        }
        if (!cut.isEmpty() && cut.constLast() != b) {
            cut.append(b);
        }
        before = after;
    }
    return cut;
}

void appendLine(QList<RoutingPoint>& geometry, const QList<RoutingPoint>& line) {
    const bool shared = !geometry.isEmpty() && !line.isEmpty() && geometry.constLast() == line.constFirst();
    geometry.reserve(geometry.size() + line.size());
    for (qsizetype i = shared ? 1 : 0; i < line.size(); ++i) {
        geometry.append(line.at(i));
    }
}

void RouteBuilder::add(int edge, double from, double to) {
    const RoutingEdge& travelled = m_graph.edges().at(edge);
    const bool whole = from <= 0.0 && to >= 1.0;
    const double part = whole ? 1.0 : to - from;
    const double distance = part * travelled.length;
    const double time =
        part * edgeCost(travelled, RoutingCostMetric::TravelTime, m_defaultSpeed).value_or(0.0);
    const QString name = travelled.attributes.value(QStringLiteral("name")).toString();

    if (m_route.legs.isEmpty() || m_route.legs.constLast().name != name) {
        RoutingLeg leg;
        leg.name = name;
        leg.firstPoint = std::max<qsizetype>(0, m_route.geometry.size() - 1);
        m_route.legs.append(leg);
    }
    m_route.legs.last().distance += distance;
    m_route.legs.last().time += time;
    m_route.totalDistance += distance;
    m_route.totalTime += time;
    m_route.edgePath.append(edge);
    appendLine(m_route.geometry, cutLine(travelled.geometry, from, to));
}

namespace {

/// The direction of the first piece of the line with a length, from a point onwards (step 1) or backwards
/// from it (step -1, still pointing along the line); nothing when there is none.
std::optional<RoutingPoint> direction(const QList<RoutingPoint>& line, qsizetype point, int step) {
    for (qsizetype i = point + step; i >= 0 && i < line.size(); i += step) {
        const RoutingPoint along((line.at(i).x - line.at(point).x) * step,
                                 (line.at(i).y - line.at(point).y) * step);
        if (!along.isNull()) {
            return along;
        }
    }
    return std::nullopt;
}

double turnAt(const QList<RoutingPoint>& line, qsizetype point) {
    const auto in = direction(line, point, -1);
    const auto out = direction(line, point, 1);
    if (!in || !out) {
        return 0.0;
    }
    const double turn = std::atan2(in->x * out->y - in->y * out->x, in->x * out->x + in->y * out->y);
    return turn * 180.0 / std::numbers::pi;
}

} // namespace

RoutingRoute RouteBuilder::take(QList<int> nodePath) {
    for (qsizetype i = 1; i < m_route.legs.size(); ++i) {
        m_route.legs[i].turn = turnAt(m_route.geometry, m_route.legs.at(i).firstPoint);
    }
    m_route.nodePath = std::move(nodePath);
    return std::move(m_route);
}

Path pathTo(const SearchTable& table, const SearchMemory& memory, int number) {
    Path path;
    for (int node = number; node >= 0;) {
        const Label& label = memory.labels[static_cast<std::size_t>(node)];
        path.nodes.append(table.numbers().idOf(node));
        if (label.previous >= 0) {
            path.edges.append(label.edge);
        }
        node = label.previous;
    }
    std::reverse(path.nodes.begin(), path.nodes.end());
    std::reverse(path.edges.begin(), path.edges.end());
    return path;
}

RoutingRoute noRoute() {
    RoutingRoute route;
    route.success = false;
    route.message = QStringLiteral("No route found.");
    return route;
}

RoutingRoute routeAlong(const RoutingGraph& graph, const Path& path, double defaultSpeed) {
    RouteBuilder route(graph, defaultSpeed);
    for (const int edge : path.edges) {
        route.add(edge);
    }
    return route.take(path.nodes);
}

} // namespace Cartolith::Core::Routing::Internal
