#include <Cartolith/Core/Common/LogChannels.h>
#include <Cartolith/Core/Common/LogStepInternal.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/RoutingPreparation.h>
#include <Cartolith/Core/Routing/SnapCellInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Cartolith::Core::Routing {

using Internal::SnapCell;

namespace {

using Line = QList<RoutingPoint>;

/// The line without vertices that fall onto the one before; empty when nothing is left that leads anywhere.
Line cleaned(const Line& line, double tolerance) {
    Line result;
    for (const RoutingPoint& point : line) {
        if (!std::isfinite(point.x) || !std::isfinite(point.y)) {
            return {};
        }
        if (result.isEmpty() || !(SnapCell(result.constLast(), tolerance) == SnapCell(point, tolerance))) {
            result.append(point);
        }
    }
    return result.size() >= 2 ? result : Line();
}

/// How often each place is passed, where the end of a line counts as two: what is passed twice is a junction.
QHash<SnapCell, int> countVisits(const QList<Line>& lines, double tolerance) {
    QHash<SnapCell, int> visits;
    for (const Line& line : lines) {
        for (qsizetype i = 0; i < line.size(); ++i) {
            const bool end = i == 0 || i + 1 == line.size();
            visits[SnapCell(line.at(i), tolerance)] += end ? 2 : 1;
        }
    }
    return visits;
}

enum class Direction { Both, Forward, Backward };

std::optional<Direction> parseDirection(const QVariant& value) {
    const QString text = value.toString().trimmed().toLower();
    if (text.isEmpty() || text == QLatin1String("no") || text == QLatin1String("0") ||
        text == QLatin1String("false")) {
        return Direction::Both;
    }
    if (text == QLatin1String("yes") || text == QLatin1String("1") || text == QLatin1String("true")) {
        return Direction::Forward;
    }
    if (text == QLatin1String("-1") || text == QLatin1String("reverse")) {
        return Direction::Backward;
    }
    return std::nullopt;
}

} // namespace

QHash<QString, double> RoutingPreparation::defaultClassSpeeds() {
    return {{QStringLiteral("motorway"), 110.0},     {QStringLiteral("motorway_link"), 60.0},
            {QStringLiteral("trunk"), 80.0},         {QStringLiteral("trunk_link"), 50.0},
            {QStringLiteral("primary"), 60.0},       {QStringLiteral("primary_link"), 45.0},
            {QStringLiteral("secondary"), 50.0},     {QStringLiteral("secondary_link"), 40.0},
            {QStringLiteral("tertiary"), 50.0},      {QStringLiteral("tertiary_link"), 40.0},
            {QStringLiteral("unclassified"), 50.0},  {QStringLiteral("residential"), 40.0},
            {QStringLiteral("living_street"), 10.0}, {QStringLiteral("service"), 20.0}};
}

std::optional<double> RoutingPreparation::parseSpeed(const QVariant& value) {
    QString text = value.toString().trimmed().toLower();
    if (text == QLatin1String("none")) {
        return std::numeric_limits<double>::infinity();
    }
    constexpr std::pair<const char*, double> units[] = {
        {"km/h", 1.0}, {"kmh", 1.0}, {"kph", 1.0}, {"mph", 1.609344}, {"knots", 1.852}};
    double factor = 1.0;
    for (const auto& [unit, kilometres] : units) {
        if (text.endsWith(QLatin1String(unit))) {
            text = text.chopped(QLatin1String(unit).size()).trimmed();
            factor = kilometres;
            break;
        }
    }
    bool isNumber = false;
    const double speed = text.toDouble(&isNumber) * factor;
    return isNumber && std::isfinite(speed) && speed > 0.0 ? std::optional<double>(speed) : std::nullopt;
}

RoutingPreparation::Result RoutingPreparation::prepare(const QList<QList<RoutingPoint>>& lines,
                                                       const QList<QMap<QString, QVariant>>& attributes,
                                                       const Options& options) {
    Common::Internal::LogStep step(Common::LogChannels::routing, "prepare");
    step.set("lines", lines.size());
    const double tolerance = Internal::usableTolerance(options.tolerance);
    QList<Line> clean;
    clean.reserve(lines.size());
    for (const Line& line : lines) {
        clean.append(cleaned(line, tolerance));
    }
    const QHash<SnapCell, int> visits = countVisits(clean, tolerance);

    Result result;
    for (qsizetype i = 0; i < clean.size(); ++i) {
        const Line& line = clean.at(i);
        if (line.isEmpty()) {
            ++result.skippedLines;
            continue;
        }
        QMap<QString, QVariant> values = attributes.value(i);
        const QVariant speedValue = values.value(options.speedAttribute);
        const std::optional<double> own = parseSpeed(speedValue);
        result.unreadSpeeds += !own && !speedValue.toString().trimmed().isEmpty() ? 1 : 0;
        const double ofClass =
            options.classSpeeds.value(values.value(options.classAttribute).toString(), options.otherSpeed);
        const double speed = own.value_or(ofClass);
        values.insert(QStringLiteral("SPEED"), std::isinf(speed) ? options.unlimitedSpeed : speed);
        const std::optional<Direction> direction = parseDirection(values.value(options.onewayAttribute));
        result.unreadDirections += direction ? 0 : 1;

        Line piece;
        for (const RoutingPoint& point : line) {
            piece.append(point);
            if (piece.size() < 2 || visits.value(SnapCell(point, tolerance)) < 2) {
                continue;
            }
            const Line back(piece.crbegin(), piece.crend());
            const auto add = [&](const Line& way) {
                result.lines.append(way);
                result.attributes.append(values);
                result.sources.append(static_cast<int>(i));
            };
            if (direction != Direction::Backward) {
                add(piece);
            }
            if (direction != Direction::Forward) {
                add(back);
            }
            piece = {point};
        }
    }
    return result;
}

} // namespace Cartolith::Core::Routing
