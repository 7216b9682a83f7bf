#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Routing/RoutingPoint.h>

#include <QHash>
#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

#include <optional>

namespace Cartolith::Core::Routing {

/// Turns streets as a map has them into the lines that RoutingGraph::buildFromPolylines() wants.
///
/// On a map, streets share inner vertices where they cross, are open in both directions unless they say
/// otherwise, and have a speed as text, if any. Here they are cut where they meet, and each direction that
/// may be travelled becomes a line of its own. Lines that cross without a common vertex, as at a bridge, stay
/// apart.
///
///     const auto prepared = RoutingPreparation::prepare(lines, attributes, {});
///     graph.buildFromPolylines(prepared.lines, prepared.attributes, options.tolerance, false);
///
/// Coordinates are taken to be metres: project them first (CoordinateTransformer::transformPoints()), for
/// degrees are no lengths.
class CARTOLITH_CORE_EXPORT RoutingPreparation {
public:
    struct CARTOLITH_CORE_EXPORT Options {
        /// Vertices with the same RoutingGraph::snapKey() are one place; that of buildFromPolylines().
        double tolerance = 0.01;
        QString classAttribute = QStringLiteral("highway");
        QString speedAttribute = QStringLiteral("maxspeed");
        QString onewayAttribute = QStringLiteral("oneway");
        /// km/h of lines that have no usable speed of their own, by class, and for all other classes. The
        /// defaults are speeds that are common in towns.
        QHash<QString, double> classSpeeds = defaultClassSpeeds();
        double otherSpeed = 30.0;
        /// km/h where the speed is "none": no limit.
        double unlimitedSpeed = 120.0;
    };

    struct Result {
        /// Every piece in every direction that is open, in the order of the source lines and along them, the
        /// way back right behind the way there.
        QList<QList<RoutingPoint>> lines;
        /// Those of the source line, and "SPEED" in km/h.
        QList<QMap<QString, QVariant>> attributes;
        QList<int> sources; ///< the position of the source line

        int skippedLines = 0;     ///< source lines without two different places, or with a NaN or infinity
        int unreadSpeeds = 0;     ///< source lines whose speed could not be read: that of the class was taken
        int unreadDirections = 0; ///< source lines whose direction could not be read: taken as open both ways
    };

    RoutingPreparation() = delete;

    /// Lines beyond the end of the list of attributes have none. Linear in the number of vertices.
    static Result prepare(const QList<QList<RoutingPoint>>& lines,
                          const QList<QMap<QString, QVariant>>& attributes, const Options& options);

    /// km/h: "50", "50 km/h", "50 kmh", "50 kph", "30 mph", "10 knots", a number; infinite for "none".
    /// Nothing for anything else, also for 0 and below.
    static std::optional<double> parseSpeed(const QVariant& value);

    static QHash<QString, double> defaultClassSpeeds();
};

} // namespace Cartolith::Core::Routing
