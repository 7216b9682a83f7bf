#include <Cartolith/Core/Layers/Ogr/OgrShapeWritingInternal.h>
#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <typeinfo>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::GeometryPtr;
using Shapes::GisShapePoint;

namespace {

using Parts = QList<QList<GisShapePoint>>;

bool isFinite(const GisShapePoint& point) {
    return std::isfinite(point.x()) && std::isfinite(point.y());
}

const Parts* partsOf(const Shapes::GisShape& shape) {
    if (const auto* line = dynamic_cast<const Shapes::GisShapePolyline*>(&shape)) {
        return &line->parts();
    }
    const auto* const polygon = dynamic_cast<const Shapes::GisShapePolygon*>(&shape);
    return polygon != nullptr ? &polygon->parts() : nullptr;
}

qsizetype partCount(const OGRGeometry& geometry) {
    switch (wkbFlatten(geometry.getGeometryType())) {
    case wkbPolygon:
        return 1 + geometry.toPolygon()->getNumInteriorRings();
    case wkbMultiLineString:
    case wkbMultiPolygon: {
        qsizetype count = 0;
        for (const OGRGeometry* member : *geometry.toGeometryCollection()) {
            count += partCount(*member);
        }
        return count;
    }
    default:
        return 1;
    }
}

} // namespace

GeometryPtr savedGeometryOf(const Shapes::GisShape& shape) {
    const auto* const point = dynamic_cast<const GisShapePoint*>(&shape);
    const Parts* const parts = partsOf(shape);
    if (point != nullptr && point->isEmpty()) {
        return nullptr;
    }
    const bool finite =
        point != nullptr
            ? isFinite(*point)
            : parts != nullptr && std::all_of(parts->begin(), parts->end(), [](const auto& part) {
                  return std::all_of(part.begin(), part.end(), isFinite);
              });
    if (!finite) {
        throw std::runtime_error("it has a coordinate that is not finite");
    }
    if (point == nullptr) {
        const auto filled =
            std::count_if(parts->begin(), parts->end(), [](const auto& part) { return !part.isEmpty(); });
        if (filled == 0) {
            return nullptr;
        }
        GeometryPtr geometry = Serialization::Ogr::Internal::geometryOf(shape);
        if (partCount(*geometry) != filled) {
            throw std::runtime_error("it has a part of too few vertices");
        }
        return geometry;
    }
    return Serialization::Ogr::Internal::geometryOf(shape);
}

GeometryPtr promoted(GeometryPtr geometry, OGRwkbGeometryType type) {
    const OGRwkbGeometryType flat = wkbFlatten(type);
    if (geometry == nullptr || OGR_GT_GetCollection(geometry->getGeometryType()) != flat) {
        return geometry;
    }
    return GeometryPtr(OGRGeometryFactory::forceTo(geometry.release(), flat));
}

void place(GeometryPtr geometry, OGRFeature& feature) {
    const bool isSomething = geometry != nullptr;
    if (feature.SetGeometryDirectly(geometry.release()) != OGRERR_NONE && isSomething) {
        throw std::runtime_error("the layer has no place for a geometry");
    }
}

bool haveSameGeometry(const Shapes::GisShape& a, const Shapes::GisShape& b) {
    const auto equal = [](const GisShapePoint& p, const GisShapePoint& q) {
        return (p.isEmpty() && q.isEmpty()) || (p.x() == q.x() && p.y() == q.y());
    };
    const auto* const point = dynamic_cast<const GisShapePoint*>(&a);
    const auto* const other = dynamic_cast<const GisShapePoint*>(&b);
    if (point != nullptr || other != nullptr) {
        return point != nullptr && other != nullptr && equal(*point, *other);
    }
    const Parts* const parts = partsOf(a);
    const Parts* const others = partsOf(b);
    return parts != nullptr && others != nullptr && typeid(a) == typeid(b) &&
           std::equal(parts->begin(), parts->end(), others->begin(), others->end(),
                      [&equal](const auto& part, const auto& match) {
                          return part.constData() == match.constData() || // shared
                                 std::equal(part.begin(), part.end(), match.begin(), match.end(), equal);
                      });
}

} // namespace Cartolith::Core::Layers::Internal
