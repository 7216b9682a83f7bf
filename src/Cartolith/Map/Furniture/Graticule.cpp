#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/CoordinateSystems/CuttingTransformer.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Map/Graticule.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <vector>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateSystemFactory;
using CoordinateSystems::CoordinateTransformer;
using CoordinateSystems::CutParts;
using CoordinateSystems::CuttingTransformer;
using Shapes::GisExtent;
using Shapes::GisShapePoint;

namespace Cartolith::Map {

namespace {

/// A place without image is not an error here.
std::optional<GisShapePoint> tryTransform(const CoordinateTransformer& transformer, double x, double y) {
    try {
        return transformer.transform(GisShapePoint(x, y));
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

/// The longitudes and latitudes that the view shows, found by sampling it. Longitudes go on beyond 180 where
/// the view does.
GisExtent degreesInView(const CoordinateTransformer& toDegrees, const CoordinateTransformer& fromDegrees,
                        const MapView& view) {
    constexpr int samples = 24;
    const GisExtent whole(-180.0, -90.0, 180.0, 90.0);
    const QPointF middle = view.center();
    const auto center = tryTransform(toDegrees, middle.x(), middle.y());
    const double around = center ? center->x() : 0.0;
    GisExtent degrees;
    const QRectF frame = view.frame();
    for (int i = 0; i <= samples; ++i) {
        for (int j = 0; j <= samples; ++j) {
            const QPointF place = view.toMap(
                frame.topLeft() + QPointF(frame.width() * i / samples, frame.height() * j / samples));
            const auto point = tryTransform(toDegrees, place.x(), place.y());
            if (point && std::abs(point->x()) <= 360.0 && std::abs(point->y()) <= 90.0) {
                const double x = around + std::remainder(point->x() - around, 360.0);
                degrees = degrees.expand(GisExtent(x, point->y(), x, point->y()));
            }
        }
    }
    bool isAroundPole = false;
    GisExtent wider = degrees.inflate(degrees.width() * 0.1, degrees.height() * 0.1);
    for (const double pole : {-90.0, 90.0}) {
        const auto there = tryTransform(fromDegrees, around, pole);
        if (there && frame.contains(view.toPixel(there->x(), there->y()))) {
            isAroundPole = true;
            wider = wider.expand(GisExtent(around, pole, around, pole));
        }
    }
    if (degrees.isEmpty()) {
        return whole;
    }
    const bool isAllAround = isAroundPole || wider.width() > 300.0;
    return {isAllAround ? -180.0 : wider.xMin(), std::max(wider.yMin(), -90.0),
            isAllAround ? 180.0 : wider.xMax(), std::min(wider.yMax(), 90.0)};
}

/// Round in degrees, minutes or seconds, so that there are not more lines than wanted.
double stepFor(double range, double lines) {
    constexpr double minute = 60.0;
    constexpr double degree = 3600.0;
    constexpr double seconds[] = {1.0,    2.0,        5.0,        10.0,        15.0,        30.0,
                                  minute, 2 * minute, 5 * minute, 10 * minute, 15 * minute, 30 * minute,
                                  degree, 2 * degree, 5 * degree, 10 * degree, 15 * degree, 30 * degree};
    const double wanted = range / lines * degree;
    const auto* const step = std::find_if(std::begin(seconds), std::end(seconds),
                                          [wanted](double candidate) { return wanted <= candidate; });
    if (step != std::begin(seconds)) {
        return (step != std::end(seconds) ? *step : 30.0 * degree) / degree;
    }
    const double power = std::pow(10.0, std::floor(std::log10(wanted)));
    const double leading = wanted / power;
    return (leading <= 1.0 ? 1.0 : leading <= 2.0 ? 2.0 : leading <= 5.0 ? 5.0 : 10.0) * power / degree;
}

QPolygonF toPixels(const CutParts& parts, std::size_t part, const MapView& view) {
    QPolygonF line;
    const qsizetype first = part == 0 ? 0 : parts.ends[part - 1];
    for (qsizetype i = first; i < parts.ends[part]; ++i) {
        const auto at = static_cast<std::size_t>(2 * i);
        line.append(view.toPixel(parts.coordinates[at], parts.coordinates[at + 1]));
    }
    return line;
}

double areaOf(const QPolygonF& ring) {
    double area = 0.0;
    for (qsizetype i = 0; i < ring.size(); ++i) {
        const QPointF a = ring.at(i) - ring.first();
        const QPointF b = ring.at((i + 1) % ring.size()) - ring.first();
        area += a.x() * b.y() - b.x() * a.y();
    }
    return std::abs(area);
}

} // namespace

Graticule::Graticule(const CoordinateSystem& map, const MapView& view, double stepDegrees) {
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    if (degrees == nullptr || !view.isUsable()) {
        return;
    }
    const CoordinateTransformer fromDegrees(*degrees, map);
    const GisExtent range = degreesInView(CoordinateTransformer(map, *degrees), fromDegrees, view);
    const QSizeF size = view.frame().size();
    constexpr double mostLines = 12.0; // from end to end of the longer side
    const double longer = std::max(size.width(), size.height());
    const auto stepOf = [&](double length, double side) {
        constexpr double bound = 500.0;
        return stepDegrees > 0.0 && length / stepDegrees <= bound
                   ? stepDegrees
                   : stepFor(length, std::max(2.0, mostLines * side / longer));
    };
    m_meridianStep = stepOf(range.width(), size.width());
    m_parallelStep = stepOf(range.height(), size.height());

    constexpr double tolerance = 0.25; // pixels
    CuttingTransformer cutting(*degrees, map, tolerance * view.unitsPerPixel());
    CutParts parts;
    const auto trace = [&](bool isMeridian, double value, const std::vector<double>& coordinates) {
        const qsizetype ends[] = {static_cast<qsizetype>(coordinates.size() / 2)};
        cutting.lines(coordinates, ends, parts);
        for (std::size_t part = 0; part < parts.ends.size(); ++part) {
            m_degreeLines.append({isMeridian, value, toPixels(parts, part, view)});
        }
    };
    // Vertices where lines cross: an edge half way round the world would be taken the other way.
    const double bend = std::min(m_meridianStep, 30.0);
    for (double i = std::ceil(range.xMin() / m_meridianStep); i * m_meridianStep <= range.xMax(); ++i) {
        const double x = i * m_meridianStep;
        if (x > -180.0 || range.xMax() < 180.0) { // else once as 180
            const double named = x == -180.0 ? 180.0 : std::remainder(x, 360.0);
            trace(true, named == -180.0 ? 180.0 : named,
                  {x, range.yMin(), x, (range.yMin() + range.yMax()) / 2.0, x, range.yMax()});
        }
    }
    for (double i = std::ceil(range.yMin() / m_parallelStep); i * m_parallelStep <= range.yMax(); ++i) {
        const double y = i * m_parallelStep;
        if (std::abs(y) >= 90.0) { // a pole is no line
            continue;
        }
        std::vector<double> line;
        for (int piece = 0; piece * bend < range.width(); ++piece) {
            line.insert(line.end(), {range.xMin() + piece * bend, y});
        }
        line.insert(line.end(), {range.xMax(), y});
        trace(false, y, line);
    }

    const auto area = CoordinateSystemFactory::areaOfUse(map);
    if (!area || area->width() >= 359.0) {
        const std::vector<double> world{-180.0, -90.0, 180.0, -90.0, 180.0, 90.0, -180.0, 90.0};
        const qsizetype ends[] = {4};
        cutting.rings(world, ends, parts);
        for (std::size_t part = 0; part < parts.ends.size(); ++part) {
            QPolygonF ring = toPixels(parts, part, view);
            if (areaOf(ring) > areaOf(m_outline)) {
                m_outline = std::move(ring);
            }
        }
    }
}

QList<QPolygonF> Graticule::lines() const {
    QList<QPolygonF> lines;
    for (const Line& line : m_degreeLines) {
        lines.append(line.pixels);
    }
    return lines;
}

} // namespace Cartolith::Map
