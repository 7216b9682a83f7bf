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
        const bool isLast = i + 1 == line.size();
        if (cut.isEmpty() && (start <= after || isLast)) {
            cut.append(at(start));
        }
        if (!cut.isEmpty() && (end <= after || isLast)) {
            const RoutingPoint last = to >= 1.0 ? line.constLast() : at(end);
            if (cut.size() < 2 ||
                cut.constLast() != last) { // where it ends at a vertex, that is there already
                cut.append(last);
            }
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

namespace {

/// The direction of the first piece of the line with a length, from its start (step 1) or backwards from its
/// end (step -1, still pointing along the line); nothing when there is none.
std::optional<RoutingPoint> direction(const QList<RoutingPoint>& line, int step) {
    const qsizetype from = step > 0 ? 0 : line.size() - 1;
    for (qsizetype i = from + step; i >= 0 && i < line.size(); i += step) {
        const RoutingPoint along((line.at(i).x - line.at(from).x) * step,
                                 (line.at(i).y - line.at(from).y) * step);
        if (!along.isNull()) {
            return along;
        }
    }
    return std::nullopt;
}

double angleBetween(const RoutingPoint& in, const RoutingPoint& out) {
    constexpr double back = 180.0; // to the left, whatever the sign of a cross product of 0
    const double angle =
        std::atan2(in.x * out.y - in.y * out.x, in.x * out.x + in.y * out.y) * back / std::numbers::pi;
    return angle > -back ? angle : back;
}

} // namespace

void RouteBuilder::add(int edge, double from, double to) {
    const RoutingEdge& travelled = m_graph.edges().at(edge);
    const bool whole = from <= 0.0 && to >= 1.0;
    const double part = whole ? 1.0 : to - from;
    const double distance = part * travelled.length;
    const double time =
        part * edgeCost(travelled, RoutingCostMetric::TravelTime, m_defaultSpeed).value_or(0.0);
    const QString name = travelled.attributes.value(QStringLiteral("name")).toString();
    const QList<RoutingPoint> line = cutLine(travelled.geometry, from, to);
    QList<RoutingPoint>& geometry = m_route.geometry;

    if (m_route.legs.isEmpty() || m_route.legs.constLast().name != name) {
        const bool shared =
            !geometry.isEmpty() && (line.isEmpty() || geometry.constLast() == line.constFirst());
        RoutingLeg leg;
        leg.name = name;
        leg.firstPoint = geometry.size() - (shared ? 1 : 0);
        m_route.legs.append(leg);
    }
    m_route.legs.last().distance += distance;
    m_route.legs.last().time += time;
    m_route.totalDistance += distance;
    m_route.totalTime += time;
    m_route.edgePath.append(edge);
    // From line to line, not along the joined geometry: where the ends of two lines are one node they may
    // still be a tolerance apart, and that step would look like a turn.
    if (const auto ahead = direction(line, 1)) {
        for (; m_turned < m_route.legs.size(); ++m_turned) {
            m_route.legs[m_turned].turn = m_heading ? angleBetween(*m_heading, *ahead) : 0.0;
        }
        m_heading = direction(line, -1);
    }
    appendLine(geometry, line);
}

RoutingRoute RouteBuilder::take(QList<int> nodePath) {
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
