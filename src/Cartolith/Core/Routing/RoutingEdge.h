#pragma once

#include <Cartolith/Core/Routing/RoutingPoint.h>

#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

namespace Cartolith::Core::Routing {

/// A one-way connection between two nodes of a RoutingGraph; a street open both ways is two of them.
struct RoutingEdge {
    /// length / (speed * 1000 / 3600) seconds when the length is in metres; 0 for a speed that is not greater
    /// than 0, for which a search takes its default speed instead.
    double travelTime() const noexcept { return speed > 0.0 ? length / (speed * 1000.0 / 3600.0) : 0.0; }

    int id = -1; ///< below 0: the graph chooses one
    int startNode = -1;
    int endNode = -1;
    double length = 0.0;          ///< coordinate units; searches skip a negative or NaN one
    double speed = 50.0;          ///< kilometres per hour
    bool flag = false;            ///< the caller's own; nothing here reads it
    QList<RoutingPoint> geometry; ///< from the start node to the end node
    QMap<QString, QVariant> attributes;
};

} // namespace Cartolith::Core::Routing

Q_DECLARE_TYPEINFO(Cartolith::Core::Routing::RoutingEdge, Q_RELOCATABLE_TYPE);
