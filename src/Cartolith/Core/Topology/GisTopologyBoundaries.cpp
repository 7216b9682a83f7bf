#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <algorithm>
#include <iterator>

namespace Cartolith::Core::Topology {

using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

QList<QList<GisShapePoint>> GisTopology::BoundaryPartsOf(const GisShape& shape) {
    if (const auto* polyline = dynamic_cast<const GisShapePolyline*>(&shape)) {
        return polyline->parts();
    }
    if (const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape)) {
        return polygon->parts();
    }
    if (const auto* point = dynamic_cast<const GisShapePoint*>(&shape);
        point != nullptr && !point->isEmpty()) {
        return {{*point}};
    }
    return {};
}

QList<GisShapePoint> GisTopology::VerticesOf(const GisShape& shape) {
    QList<GisShapePoint> vertices;
    const QList<QList<GisShapePoint>> parts = BoundaryPartsOf(shape);
    for (const QList<GisShapePoint>& part : parts) {
        std::copy_if(part.begin(), part.end(), std::back_inserter(vertices),
                     [](const GisShapePoint& vertex) { return !vertex.isEmpty(); });
    }
    return vertices;
}

bool GisTopology::ContainsPoint(const GisShape& shape, const GisShapePoint& p, double tolerance) {
    return shape.contains(p, tolerance) || PointOnBoundary(shape, p, tolerance);
}

bool GisTopology::PointOnBoundary(const GisShape& shape, const GisShapePoint& p, double tolerance) {
    const QList<QList<GisShapePoint>> parts = BoundaryPartsOf(shape);
    for (const QList<GisShapePoint>& part : parts) {
        if (part.size() == 1 && SamePoint(part.first(), p, tolerance)) {
            return true;
        }
        for (qsizetype i = 1; i < part.size(); ++i) {
            if (PointOnSegment(p, part[i - 1], part[i], tolerance)) {
                return true;
            }
        }
    }
    return false;
}

namespace {

bool partsIntersect(const QList<GisShapePoint>& a, const QList<GisShapePoint>& b, double tolerance,
                    bool properOnly) {
    if (a.size() == 1 && b.size() == 1) {
        return GisTopology::SamePoint(a.first(), b.first(), tolerance);
    }
    if (a.size() == 1 || b.size() == 1) {
        const GisShapePoint& point = a.size() == 1 ? a.first() : b.first();
        const QList<GisShapePoint>& line = a.size() == 1 ? b : a;
        for (qsizetype i = 1; i < line.size(); ++i) {
            if (GisTopology::PointOnSegment(point, line[i - 1], line[i], tolerance)) {
                return true;
            }
        }
        return false;
    }
    for (qsizetype i = 1; i < a.size(); ++i) {
        for (qsizetype j = 1; j < b.size(); ++j) {
            if (properOnly ? GisTopology::ProperSegmentIntersection(a[i - 1], a[i], b[j - 1], b[j], tolerance)
                           : GisTopology::SegmentIntersectionPoint(a[i - 1], a[i], b[j - 1], b[j], tolerance,
                                                                   nullptr)) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

bool GisTopology::BoundariesIntersect(const GisShape& a, const GisShape& b, double tolerance,
                                      bool properOnly) {
    const QList<QList<GisShapePoint>> partsA = BoundaryPartsOf(a);
    const QList<QList<GisShapePoint>> partsB = BoundaryPartsOf(b);
    for (const QList<GisShapePoint>& partA : partsA) {
        for (const QList<GisShapePoint>& partB : partsB) {
            if (partsIntersect(partA, partB, tolerance, properOnly)) {
                return true;
            }
        }
    }
    return false;
}

bool GisTopology::ShapeWithin(const GisShape& a, const GisShape& b, double tolerance) {
    const QList<GisShapePoint> vertices = VerticesOf(a);
    return !vertices.isEmpty() &&
           std::all_of(vertices.begin(), vertices.end(), [&b, tolerance](const GisShapePoint& vertex) {
               return ContainsPoint(b, vertex, tolerance);
           });
}

bool GisTopology::HasInteriorPointInOther(const GisShape& a, const GisShape& b, double tolerance) {
    const QList<GisShapePoint> vertices = VerticesOf(a);
    return std::any_of(vertices.begin(), vertices.end(), [&b, tolerance](const GisShapePoint& vertex) {
        return ContainsPoint(b, vertex, tolerance) && !PointOnBoundary(b, vertex, tolerance);
    });
}

bool GisTopology::SameGeometry(const GisShape& a, const GisShape& b, double tolerance) {
    if (a.shapeType() != b.shapeType()) {
        return false;
    }
    const QList<GisShapePoint> verticesA = VerticesOf(a);
    const QList<GisShapePoint> verticesB = VerticesOf(b);
    return std::equal(verticesA.begin(), verticesA.end(), verticesB.begin(), verticesB.end(),
                      [tolerance](const GisShapePoint& vertexA, const GisShapePoint& vertexB) {
                          return SamePoint(vertexA, vertexB, tolerance);
                      });
}

} // namespace Cartolith::Core::Topology
