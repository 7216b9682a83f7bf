#pragma once

#include <Cartolith/Core/Routing/RoutingRoute.h>
#include <Cartolith/Core/Routing/SearchTableInternal.h>

#include <optional>

namespace Cartolith::Core::Routing::Internal {

/// The part of a line between two fractions of its length, from <= to; the ends are exact at 0 and 1.
QList<RoutingPoint> cutLine(const QList<RoutingPoint>& line, double from, double to);

/// Appends the line; a first point that is exactly the last one there is not repeated.
void appendLine(QList<RoutingPoint>& geometry, const QList<RoutingPoint>& line);

/// Puts a route together, edge by edge.
class RouteBuilder {
public:
    RouteBuilder(const RoutingGraph& graph, double defaultSpeed)
        : m_graph(graph), m_defaultSpeed(defaultSpeed) {}

    /// The part of the edge between two fractions of its length.
    void add(int edge, double from = 0.0, double to = 1.0);
    /// Ends the route: it is not to be added to any more.
    RoutingRoute take(QList<int> nodePath);

private:
    const RoutingGraph& m_graph;
    double m_defaultSpeed;
    RoutingRoute m_route;
    std::optional<RoutingPoint> m_heading; ///< at the end of what was added last, when that has a length
    qsizetype m_turned = 1;                ///< legs whose turn is known; the first has none
};

/// The nodes and edges from a source to a node, by the labels of a search.
struct Path {
    QList<int> nodes; ///< ids
    QList<int> edges; ///< positions
};
Path pathTo(const SearchTable& table, const SearchMemory& memory, int number);

/// What a search without success answers.
RoutingRoute noRoute();
/// The route along whole edges.
RoutingRoute routeAlong(const RoutingGraph& graph, const Path& path, double defaultSpeed);

} // namespace Cartolith::Core::Routing::Internal
