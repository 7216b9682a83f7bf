#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/PolygonPathInternal.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Topology {

using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;

namespace {

void appendRectangle(GisShapePolygon& polygon, double xMin, double yMin, double xMax, double yMax) {
    polygon.parts().append(
        QList<GisShapePoint>{{xMin, yMin}, {xMax, yMin}, {xMax, yMax}, {xMin, yMax}, {xMin, yMin}});
}

} // namespace

bool GisTopology::IsExtentRectanglePolygon(const GisShapePolygon& polygon, double tolerance) {
    if (polygon.parts().size() != 1) {
        return false;
    }
    const QList<GisShapePoint> ring = Internal::cleanPathRing(polygon.parts().constFirst());
    const GisExtent box = polygon.extent();
    if (ring.size() != 5 || !(box.width() > tolerance) || !(box.height() > tolerance)) {
        return false;
    }
    int corners[5] = {};
    for (int i = 0; i < 5; ++i) {
        const bool right = ring[i].x() - box.xMin() > box.xMax() - ring[i].x();
        const bool top = ring[i].y() - box.yMin() > box.yMax() - ring[i].y();
        if (!CloseTo(ring[i].x(), right ? box.xMax() : box.xMin(), tolerance) ||
            !CloseTo(ring[i].y(), top ? box.yMax() : box.yMin(), tolerance)) {
            return false;
        }
        corners[i] = top ? (right ? 2 : 3) : (right ? 1 : 0); // counted around the extent
    }
    const int step = (corners[1] - corners[0]) & 3; // the same at every corner, one on or one back
    return (step == 1 || step == 3) && ((corners[2] - corners[1]) & 3) == step &&
           ((corners[3] - corners[2]) & 3) == step;
}

std::unique_ptr<GisShape> GisTopology::PolygonFromExtent(const GisExtent& extent) {
    auto polygon = std::make_unique<GisShapePolygon>();
    if (!extent.isEmpty()) {
        appendRectangle(*polygon, extent.xMin(), extent.yMin(), extent.xMax(), extent.yMax());
    }
    return polygon;
}

std::unique_ptr<GisShape> GisTopology::DifferenceOfExtentRectangles(const GisExtent& a, const GisExtent& b,
                                                                    double tolerance) {
    const double left = std::max(a.xMin(), b.xMin());
    const double right = std::min(a.xMax(), b.xMax());
    const double bottom = std::max(a.yMin(), b.yMin());
    const double top = std::min(a.yMax(), b.yMax());
    if (b.isEmpty() || !(right - left > tolerance) || !(top - bottom > tolerance)) {
        return PolygonFromExtent(a);
    }
    auto polygon = std::make_unique<GisShapePolygon>();
    const auto append = [&polygon, tolerance](double xMin, double yMin, double xMax, double yMax) {
        if (xMax - xMin > tolerance && yMax - yMin > tolerance) {
            appendRectangle(*polygon, xMin, yMin, xMax, yMax);
        }
    };
    append(a.xMin(), a.yMin(), a.xMax(), bottom);
    append(a.xMin(), top, a.xMax(), a.yMax());
    append(a.xMin(), bottom, left, top);
    append(right, bottom, a.xMax(), top);
    return polygon;
}

} // namespace Cartolith::Core::Topology
