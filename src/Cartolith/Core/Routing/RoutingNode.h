#pragma once

#include <Cartolith/Core/Routing/RoutingPoint.h>
#include <Cartolith/Core/Routing/RoutingTimeWindow.h>

#include <QMap>
#include <QString>
#include <QVariant>

namespace Cartolith::Core::Routing {

/// A place where edges of a RoutingGraph meet. The graph only copies the stop data; RoutingStop reads them.
struct RoutingNode {
    /// True when the attribute "depot" is there and converts to true.
    bool isDepot() const { return attributes.value(QStringLiteral("depot")).toBool(); }
    RoutingTimeWindow timeWindow() const noexcept { return {earliest, latest}; }

    int id = -1; ///< below 0: the graph chooses one
    QString name;
    RoutingPoint position;
    double demand = 0.0;      ///< what a vehicle has to carry for this stop
    double serviceTime = 0.0; ///< seconds
    double earliest = 0.0;
    double latest = RoutingTimeWindow::noClosing;
    QMap<QString, QVariant> attributes;
};

} // namespace Cartolith::Core::Routing

Q_DECLARE_TYPEINFO(Cartolith::Core::Routing::RoutingNode, Q_RELOCATABLE_TYPE);
