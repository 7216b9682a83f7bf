#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/PointInsideInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>
#include <Cartolith/Core/Topology/WorkingScaleInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology {

using Internal::SegmentList;
using Internal::SegmentPart;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;
using Shapes::Internal::Ring;

namespace {

GisShapePoint pointOnLine(const SegmentList& boundary) {
    std::vector<double> lengths(boundary.parts().size(), 0.0);
    const auto lengthOf = [](const Internal::Segment& s) {
        return std::hypot(s.end->x() - s.start->x(), s.end->y() - s.start->y());
    };
    for (const Internal::Segment& segment : boundary.segments()) {
        lengths[static_cast<std::size_t>(segment.part)] += lengthOf(segment);
    }
    const auto longest = std::max_element(lengths.begin(), lengths.end());
    double way = longest == lengths.end() ? 0.0 : *longest / 2;
    const Internal::Segment* last = nullptr;
    for (const Internal::Segment& segment : boundary.segments()) {
        if (segment.part == longest - lengths.begin()) {
            last = &segment;
            const double length = lengthOf(segment);
            if (length > 0.0 && way <= length) {
                const double t = way / length;
                return {segment.start->x() + t * (segment.end->x() - segment.start->x()),
                        segment.start->y() + t * (segment.end->y() - segment.start->y())};
            }
            way -= length;
        }
    }
    if (last != nullptr) {
        return {last->end->x(), last->end->y()};
    }
    for (const SegmentPart& part : boundary.parts()) { // what is left of a line may be a single vertex
        const auto left = std::find_if(part.vertices.begin(), part.vertices.end(), Internal::isFinite);
        if (left != part.vertices.end()) {
            return {left->x(), left->y()};
        }
    }
    return {};
}

/// Of finite vertices.
double areaOf(const QList<Ring>& rings) {
    if (rings.size() == 1) {
        return std::fabs(Internal::signedArea(rings.constFirst()));
    }
    Internal::CompensatedSum sum;
    const QList<int> depths = Shapes::Internal::nestingDepths(rings);
    for (qsizetype i = 0; i < rings.size(); ++i) {
        const double area = std::fabs(Internal::signedArea(rings[i]));
        sum.add(depths[i] % 2 == 0 ? area : -area);
    }
    return sum.value() < 0.0 ? 0.0 : sum.value(); // NaN stays
}

} // namespace

double GisTopology::Length(const GisShape& shape) {
    Internal::CompensatedSum sum;
    const SegmentList boundary(shape);
    for (const SegmentPart& part : boundary.parts()) {
        if (!std::all_of(part.vertices.begin(), part.vertices.end(), Internal::isFinite)) {
            return std::numeric_limits<double>::quiet_NaN();
        }
        sum.add(Internal::lengthOf(part.vertices));
    }
    if (std::isfinite(sum.value())) {
        return sum.value();
    }
    const double scale = Internal::workingScale(shape);
    return Length(*Internal::scaledCopy(shape, scale)) / scale;
}

double GisTopology::Area(const GisShape& shape) {
    const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape);
    if (polygon == nullptr) {
        return 0.0;
    }
    const QList<Ring>& rings = polygon->parts();
    for (const Ring& ring : rings) {
        if (!std::all_of(ring.begin(), ring.end(), Internal::isFinite)) {
            return std::numeric_limits<double>::quiet_NaN();
        }
    }
    const double area = areaOf(rings);
    if (std::isfinite(area)) {
        return area;
    }
    // More than a double can say, or the products alone.
    const double scale = Internal::workingScale(shape);
    return areaOf(static_cast<const GisShapePolygon&>(*Internal::scaledCopy(shape, scale)).parts()) / scale /
           scale;
}

GisShapePoint GisTopology::PointOnSurface(const GisShape& shape) {
    if (const double scale = Internal::workingScale(shape); scale != 1.0) {
        const GisShapePoint point = PointOnSurface(*Internal::scaledCopy(shape, scale));
        return {point.x() / scale, point.y() / scale};
    }
    const SegmentList boundary(shape);
    if (dynamic_cast<const GisShapePolygon*>(&shape) == nullptr) {
        return pointOnLine(boundary);
    }
    QList<Ring> rings;
    for (const SegmentPart& part : boundary.parts()) {
        rings.append(part.vertices);
        rings.last().removeIf([](const GisShapePoint& vertex) { return !Internal::isFinite(vertex); });
    }
    return Internal::pointInside(rings);
}

} // namespace Cartolith::Core::Topology
