#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Map/Graticule.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateSystemFactory;
using CoordinateSystems::CoordinateTransformer;
using Shapes::GisExtent;
using Shapes::GisShapePoint;

namespace Cartolith::Map {

namespace {

/// A point for which the projection has no value is not an error here: the line has a gap there.
std::optional<GisShapePoint> tryTransform(const CoordinateTransformer& transformer, double x, double y) {
    try {
        return transformer.transform(GisShapePoint(x, y));
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

/// The longitudes and latitudes that the view shows, found by sampling it.
GisExtent degreesInView(const CoordinateTransformer& toDegrees, const MapView& view) {
    constexpr int samples = 24;
    const GisExtent visible = view.visibleExtent();
    GisExtent degrees;
    for (int i = 0; i <= samples; ++i) {
        for (int j = 0; j <= samples; ++j) {
            const auto point = tryTransform(toDegrees, visible.xMin() + visible.width() * i / samples,
                                            visible.yMin() + visible.height() * j / samples);
            if (point && std::abs(point->x()) <= 180.0 && std::abs(point->y()) <= 90.0) {
                degrees = degrees.expand(GisExtent(point->x(), point->y(), point->x(), point->y()));
            }
        }
    }
    if (degrees.isEmpty() || degrees.width() > 300.0) {
        return {-180.0, -90.0, 180.0, 90.0};
    }
    const GisExtent wider = degrees.inflate(degrees.width() * 0.1, degrees.height() * 0.1);
    return {std::max(wider.xMin(), -180.0), std::max(wider.yMin(), -90.0), std::min(wider.xMax(), 180.0),
            std::min(wider.yMax(), 90.0)};
}

double stepFor(double range) {
    constexpr double steps[] = {0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2,
                                0.5,   1.0,   2.0,   5.0,  10.0, 15.0, 30.0};
    const auto* const step = std::find_if(std::begin(steps), std::end(steps),
                                          [range](double candidate) { return range / candidate <= 12.0; });
    return step != std::end(steps) ? *step : 30.0;
}

/// Follows the straight line in degrees from a to b and appends what the projection makes of it.
void trace(const CoordinateTransformer& fromDegrees, const MapView& view, QPointF a, QPointF b, int pieces,
           QList<QPolygonF>& lines) {
    QPolygonF line;
    const auto finish = [&] {
        if (line.size() > 1) {
            lines.append(line);
        }
        line.clear();
    };
    for (int i = 0; i <= pieces; ++i) {
        const QPointF degrees = a + (b - a) * (static_cast<double>(i) / pieces);
        const auto point = tryTransform(fromDegrees, degrees.x(), degrees.y());
        if (!point) {
            finish();
            continue;
        }
        const QPointF pixel = view.toPixel(point->x(), point->y());
        // A jump across the map is the projection's seam, not a line to draw.
        if (!line.isEmpty() && std::abs(pixel.x() - line.last().x()) > view.frame().width() / 2) {
            finish();
        }
        line.append(pixel);
    }
    finish();
}

} // namespace

Graticule::Graticule(const CoordinateSystem& map, const MapView& view, double stepDegrees) {
    constexpr int pieces = 120;
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    if (degrees == nullptr) {
        return;
    }
    const CoordinateTransformer fromDegrees(*degrees, map);
    const GisExtent range = degreesInView(CoordinateTransformer(map, *degrees), view);
    const double step = stepDegrees > 0.0 ? stepDegrees : stepFor(std::max(range.width(), range.height()));

    // Web Mercator has no poles: a system for a band around the world ends where the band ends.
    const auto area = CoordinateSystemFactory::areaOfUse(map);
    const bool isWorld = area && area->width() >= 359.0;
    const double north = isWorld ? std::min(range.yMax(), area->yMax()) : range.yMax();
    const double south = isWorld ? std::max(range.yMin(), area->yMin()) : range.yMin();
    for (double x = std::ceil(range.xMin() / step); x * step <= range.xMax(); ++x) {
        trace(fromDegrees, view, {x * step, south}, {x * step, north}, pieces, m_lines);
    }
    for (double y = std::ceil(range.yMin() / step); y * step <= range.yMax(); ++y) {
        trace(fromDegrees, view, {range.xMin(), y * step}, {range.xMax(), y * step}, pieces, m_lines);
    }

    if (isWorld) {
        const QPointF corners[] = {{area->xMin(), area->yMin()},
                                   {area->xMax(), area->yMin()},
                                   {area->xMax(), area->yMax()},
                                   {area->xMin(), area->yMax()},
                                   {area->xMin(), area->yMin()}};
        for (int side = 0; side < 4; ++side) {
            for (int i = 0; i < pieces; ++i) {
                const QPointF at =
                    corners[side] + (corners[side + 1] - corners[side]) * (static_cast<double>(i) / pieces);
                if (const auto point = tryTransform(fromDegrees, at.x(), at.y())) {
                    m_outline.append(view.toPixel(point->x(), point->y()));
                }
            }
        }
    }
}

} // namespace Cartolith::Map
