#include <Cartolith/Core/Layers/OgrGeometryInternal.h>
#include <Cartolith/Core/Serialization/GisWkbReader.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QByteArray>

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

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

QByteArray wkbOf(const OGRGeometry& geometry) {
    QByteArray bytes(static_cast<qsizetype>(geometry.WkbSize()), Qt::Uninitialized);
    geometry.exportToWkb(wkbNDR, reinterpret_cast<unsigned char*>(bytes.data()), wkbVariantIso);
    return bytes;
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
        case wkbMultiLineString:
            append<GisShapePolyline>(geometry, m_line);
            break;
        case wkbTriangle:
        case wkbPolygon:
            windHolesOppositeToShell(*geometry.toPolygon());
            append<GisShapePolygon>(geometry, m_polygon);
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

    template <typename Shape>
    void append(const OGRGeometry& geometry, std::unique_ptr<Shape>& target) {
        if (target == nullptr) {
            target = std::make_unique<Shape>();
        }
        if (wkbFlatten(geometry.getGeometryType()) ==
            wkbTriangle) { // a code that plain WKB readers do not know
            const OGRPolygon copy(*geometry.toPolygon());
            append(copy, target);
            return;
        }
        const std::unique_ptr<GisShape> read = Serialization::Wkb::GisWkbReader::read(wkbOf(geometry));
        target->parts().append(static_cast<Shape&>(*read).parts());
    }

    OgrShapes m_result;
    std::unique_ptr<GisShapePolyline> m_line;
    std::unique_ptr<GisShapePolygon> m_polygon;
};

} // namespace

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

} // namespace Cartolith::Core::Layers::Internal
