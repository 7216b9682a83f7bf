#pragma once

#include <Cartolith/Core/Routing/RoutingPoint.h>

#include <QList>
#include <QString>

namespace Cartolith::Core::Routing {

/// A stretch of a route along edges of one name, for directions.
struct RoutingLeg {
    QString name;          ///< the edges' attribute "name"; may be empty
    double distance = 0.0; ///< coordinate units
    double time = 0.0;     ///< seconds
    double turn = 0.0;     ///< degrees turned to enter it, left positive, in (-180, 180]; 0 for the first leg
    qsizetype firstPoint = 0; ///< where it starts in the geometry of the route
};

/// A way through the network, or why there is none.
struct RoutingRoute {
    /// The number of points of the geometry.
    int size() const noexcept { return static_cast<int>(geometry.size()); }
    /// True without geometry, also for a route from a node to itself.
    bool isEmpty() const noexcept { return geometry.isEmpty(); }

    bool success = true;
    QString message;              ///< empty unless the search failed
    QList<RoutingPoint> geometry; ///< a point that two edges share is there once
    QList<int> nodePath;          ///< the nodes passed, in order
    QList<int> edgePath;          ///< the edges travelled, as positions in RoutingGraph::edges()
    double totalDistance = 0.0;   ///< coordinate units
    double totalTime = 0.0;       ///< seconds; an edge that has no time (no speed at all) adds none
    QList<RoutingLeg> legs;
};

} // namespace Cartolith::Core::Routing
