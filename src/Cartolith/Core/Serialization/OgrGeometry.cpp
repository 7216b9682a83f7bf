#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Serialization/VertexListInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace Cartolith::Core::Serialization::Ogr::Internal {

using Common::Internal::GeometryPtr;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

void windHolesOppositeToShell(OGRPolygon& polygon) {
    const OGRLinearRing* const shell = polygon.getExteriorRing();
    if (shell == nullptr || shell->IsEmpty()) {
        return;
    }
    const bool clockwise = shell->isClockwise() != 0;
    for (int i = 0; i < polygon.getNumInteriorRings(); ++i) {
        OGRLinearRing* const hole = polygon.getInteriorRing(i);
        if (!hole->IsEmpty() && (hole->isClockwise() != 0) == clockwise) {
            hole->reversePoints();
        }
    }
}

/// Walks over the vertices of a curve, in two dimensions.
class CurveIterator : public Serialization::Internal::VertexIterator {
public:
    CurveIterator(const OGRSimpleCurve& curve, int vertex) : m_curve(&curve), m_vertex(vertex) {}

    GisShapePoint operator*() const { return {m_curve->getX(m_vertex), m_curve->getY(m_vertex)}; }
    CurveIterator& operator++() noexcept {
        ++m_vertex;
        return *this;
    }
    bool operator==(const CurveIterator& other) const noexcept = default;

private:
    const OGRSimpleCurve* m_curve;
    int m_vertex;
};

void appendPart(QList<QList<GisShapePoint>>& parts, const OGRSimpleCurve& curve) {
    if (parts.isEmpty()) {
        parts.reserve(1); // append() would take room for two, and most have one
    }
    const int count = curve.getNumPoints();
    parts.append(
        Serialization::Internal::vertexList(CurveIterator(curve, 0), CurveIterator(curve, count), count));
}

void appendParts(QList<QList<GisShapePoint>>& parts, const OGRPolygon& polygon) {
    for (const OGRLinearRing* const ring : polygon) {
        appendPart(parts, *ring);
    }
}

template <typename Shape>
QList<QList<GisShapePoint>>& partsOf(std::unique_ptr<Shape>& shape) {
    if (shape == nullptr) {
        shape = std::make_unique<Shape>();
    }
    return shape->parts();
}

/// Sorts the members of a geometry by kind. Lines and polygons of one geometry end up in one shape each.
class Collector {
public:
    void take(OGRGeometry& geometry) {
        if (geometry.IsEmpty()) {
            return;
        }
        switch (wkbFlatten(geometry.getGeometryType())) {
        case wkbPoint: {
            const OGRPoint& point = *geometry.toPoint();
            keep(std::make_unique<GisShapePoint>(point.getX(), point.getY()),
                 std::isfinite(point.getX()) && std::isfinite(point.getY()));
            break;
        }
        case wkbLineString:
            appendPart(partsOf(m_line), *geometry.toLineString());
            break;
        case wkbMultiLineString:
            for (const OGRLineString* const line : *geometry.toMultiLineString()) {
                appendPart(partsOf(m_line), *line);
            }
            break;
        case wkbTriangle:
        case wkbPolygon:
            windHolesOppositeToShell(*geometry.toPolygon());
            appendParts(partsOf(m_polygon), *geometry.toPolygon());
            break;
        default:
            takeMembers(geometry);
        }
    }

    OgrShapes finish() {
        keepParts(m_line);
        keepParts(m_polygon);
        return std::move(m_result);
    }

    /// The first complaint is the one told.
    void complain(const QString& problem) {
        if (m_result.problem.isEmpty()) {
            m_result.problem = problem;
        }
    }

private:
    /// One infinite coordinate would make the extent of the whole layer useless.
    void keep(std::unique_ptr<GisShape> shape, bool isFinite) {
        if (!isFinite) {
            complain(QStringLiteral("a coordinate that is not finite"));
        } else if (shape->isEmpty()) {
            complain(QStringLiteral("too few vertices"));
        } else {
            m_result.shapes.push_back(std::move(shape));
        }
    }

    template <typename Shape>
    void keepParts(std::unique_ptr<Shape>& shape) {
        if (shape != nullptr) {
            const auto& parts = std::as_const(*shape).parts();
            const bool isFinite = std::all_of(parts.begin(), parts.end(), [](const auto& part) {
                return std::all_of(part.begin(), part.end(), [](const GisShapePoint& vertex) {
                    return std::isfinite(vertex.x()) && std::isfinite(vertex.y());
                });
            });
            keep(std::move(shape), isFinite);
        }
    }

    /// Nesting is bounded: OGR's readers refuse geometries more than 32 levels deep.
    void takeMembers(OGRGeometry& geometry) {
        const OGRwkbGeometryType type = wkbFlatten(geometry.getGeometryType());
        if (OGR_GT_IsSubClassOf(type, wkbGeometryCollection)) {
            for (OGRGeometry* member : *geometry.toGeometryCollection()) {
                take(*member);
            }
        } else if (OGR_GT_IsSubClassOf(type, wkbPolyhedralSurface)) {
            for (OGRPolygon* member : *geometry.toPolyhedralSurface()) {
                take(*member);
            }
        } else {
            complain(QStringLiteral("no shape for a geometry of type %1")
                         .arg(QString::fromLatin1(geometry.getGeometryName())));
        }
    }

    OgrShapes m_result;
    std::unique_ptr<GisShapePolyline> m_line;
    std::unique_ptr<GisShapePolygon> m_polygon;
};

template <typename Curve>
std::unique_ptr<Curve> curveOf(const QList<GisShapePoint>& part) {
    auto curve = std::make_unique<Curve>();
    curve->setNumPoints(static_cast<int>(part.size()), 0);
    int count = 0;
    for (const GisShapePoint& vertex : part) {
        if (!vertex.isEmpty()) {
            curve->setPoint(count++, vertex.x(), vertex.y());
        }
    }
    curve->setNumPoints(count, 0);
    return curve;
}

std::unique_ptr<OGRPolygon> polygonOf(const QList<QList<GisShapePoint>>& rings) {
    auto polygon = std::make_unique<OGRPolygon>();
    for (const QList<GisShapePoint>& part : rings) {
        auto ring = curveOf<OGRLinearRing>(part);
        ring->closeRings();
        polygon->addRingDirectly(ring.release());
    }
    return polygon;
}

/// Three vertices, beside the one that closes the ring, are what OGR and GEOS ask for.
bool makesRing(const QList<GisShapePoint>& ring) {
    const auto count =
        std::count_if(ring.begin(), ring.end(), [](const auto& vertex) { return !vertex.isEmpty(); });
    const bool closed = count > 0 && ring.constFirst().x() == ring.constLast().x() &&
                        ring.constFirst().y() == ring.constLast().y();
    return count >= (closed ? 4 : 3);
}

/// One member alone is the single geometry, several are the multi geometry.
template <typename Multi, typename Single>
GeometryPtr singleOrMulti(std::vector<std::unique_ptr<Single>> members) {
    if (members.size() == 1) {
        return GeometryPtr(members.front().release());
    }
    auto multi = std::make_unique<Multi>();
    for (std::unique_ptr<Single>& member : members) {
        multi->addGeometryDirectly(member.release());
    }
    return GeometryPtr(multi.release());
}

GeometryPtr linesOf(const GisShapePolyline& shape) {
    std::vector<std::unique_ptr<OGRLineString>> lines;
    for (const QList<GisShapePoint>& part : shape.parts()) {
        auto line = curveOf<OGRLineString>(part);
        if (line->getNumPoints() > 1) {
            lines.push_back(std::move(line));
        }
    }
    return singleOrMulti<OGRMultiLineString>(std::move(lines));
}

GeometryPtr polygonsOf(const GisShapePolygon& shape) {
    QList<QList<GisShapePoint>> rings;
    for (const QList<GisShapePoint>& ring : shape.parts()) {
        if (makesRing(ring)) {
            rings.append(ring);
        }
    }
    std::vector<std::unique_ptr<OGRPolygon>> polygons;
    if (rings.size() == 1) { // by far the most frequent case, and nothing to tell apart
        polygons.push_back(polygonOf(rings));
    } else {
        for (const auto& shellAndHoles : Shapes::Internal::shellsWithHoles(rings)) {
            polygons.push_back(polygonOf(shellAndHoles));
        }
    }
    return singleOrMulti<OGRMultiPolygon>(std::move(polygons));
}

} // namespace

GeometryPtr geometryOf(const GisShape& shape) {
    if (const auto* point = dynamic_cast<const GisShapePoint*>(&shape)) {
        return GeometryPtr(point->isEmpty() ? new OGRPoint() : new OGRPoint(point->x(), point->y()));
    }
    if (const auto* line = dynamic_cast<const GisShapePolyline*>(&shape)) {
        return linesOf(*line);
    }
    if (const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape)) {
        return polygonsOf(*polygon);
    }
    return nullptr;
}

OgrShapes shapesOf(GeometryPtr geometry) {
    Collector collector;
    if (geometry == nullptr) {
        collector.complain(QStringLiteral("no geometry"));
        return collector.finish();
    }
    if (geometry->IsEmpty()) {
        collector.complain(QStringLiteral("empty geometry"));
        return collector.finish();
    }
    if (geometry->hasCurveGeometry() != 0) {
        geometry.reset(geometry->getLinearGeometry());
        if (geometry == nullptr) {
            collector.complain(QStringLiteral("a curve that cannot be made linear"));
            return collector.finish();
        }
    }
    geometry->flattenTo2D();
    try {
        collector.take(*geometry);
    } catch (const std::exception& error) {
        collector.complain(QString::fromUtf8(error.what()));
    }
    return collector.finish();
}

} // namespace Cartolith::Core::Serialization::Ogr::Internal
