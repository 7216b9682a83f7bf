#include <Cartolith/Core/Serialization/OgrGeometryInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GeosInternal.h>
#include <Cartolith/Core/Topology/GeosOverlayInternal.h>
#include <Cartolith/Core/Topology/PolygonPathInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Topology::Internal {

using Common::Internal::GdalErrorCapture;
using Common::Internal::GeometryPtr;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

/// Or one: such a ring encloses nothing, but GEOS hands it on where extents do not meet.
bool hasTwoPlaces(const QList<GisShapePoint>& ring) {
    const auto other = std::find_if(ring.begin(), ring.end(), [&ring](const GisShapePoint& vertex) {
        return !isSamePlace(vertex, ring.constFirst());
    });
    return std::all_of(other, ring.end(), [&](const GisShapePoint& vertex) {
        return isSamePlace(vertex, ring.constFirst()) || isSamePlace(vertex, *other);
    });
}

/// A copy without the vertices that cannot be overlaid and rings of two places; null when there are none.
template <typename Shape>
std::unique_ptr<Shape> withoutBadVertices(const Shape& shape) {
    const auto isBad = [](const GisShapePoint& vertex) { return !canOverlay(vertex); };
    const auto hasBad = [&isBad](const auto& part) { return std::any_of(part.begin(), part.end(), isBad); };
    const auto isFlat = [](const auto& part) {
        return std::is_same_v<Shape, GisShapePolygon> && hasTwoPlaces(part);
    };
    const auto& parts = shape.parts();
    if (std::none_of(parts.begin(), parts.end(), hasBad) &&
        std::none_of(parts.begin(), parts.end(), isFlat)) {
        return nullptr;
    }
    auto copy = std::make_unique<Shape>();
    copy->parts() = parts;
    for (QList<GisShapePoint>& part : copy->parts()) {
        part.removeIf(isBad);
    }
    copy->parts().removeIf(isFlat);
    return copy;
}

bool hasNoLength(const QList<GisShapePoint>& part) {
    return std::all_of(part.begin(), part.end(), [&part](const GisShapePoint& vertex) {
        return isSamePlace(vertex, part.constFirst());
    });
}

GeometryPtr pointsOf(const GisShapePolyline& line) {
    auto points = std::make_unique<OGRMultiPoint>();
    for (const QList<GisShapePoint>& part : line.parts()) {
        if (!part.isEmpty()) {
            const OGRPoint point(part.constFirst().x(), part.constFirst().y());
            points->addGeometry(&point);
        }
    }
    return GeometryPtr(points.release());
}

GeometryPtr lineOperandOf(const GisShapePolyline& line) {
    return isSeveralPoints(line) ? pointsOf(line) : Serialization::Ogr::Internal::geometryOf(line);
}

/// The members of one dimension; a repaired geometry may bring others.
GeometryPtr membersOf(GeometryPtr geometry, int dimension) {
    if (wkbFlatten(geometry->getGeometryType()) != wkbGeometryCollection) {
        return geometry;
    }
    std::vector<const OGRGeometry*> found;
    for (const OGRGeometry* member : *geometry->toGeometryCollection()) {
        if (member->getDimension() == dimension) {
            found.push_back(member);
        }
    }
    auto type = dimension == 2 ? wkbMultiPolygon : dimension == 1 ? wkbMultiLineString : wkbMultiPoint;
    GeometryPtr result(OGRGeometryFactory::createGeometry(type));
    OGRGeometryCollection& multi = *result->toGeometryCollection();
    for (const OGRGeometry* member : found) {
        if (OGR_GT_IsSubClassOf(wkbFlatten(member->getGeometryType()), wkbGeometryCollection)) {
            for (const OGRGeometry* single : *member->toGeometryCollection()) {
                multi.addGeometry(single);
            }
        } else {
            multi.addGeometry(member);
        }
    }
    return result;
}

[[noreturn]] void fail(const GdalErrorCapture& errors) {
    const QString reason = errors.message().isEmpty() ? QStringLiteral("no reason given") : errors.message();
    throw std::runtime_error(overlayFailing + reason.toStdString());
}

/// Behind each operation: one that was stopped looks like one that failed.
void check(const GeosInterrupt* interrupt) {
    if (interrupt != nullptr) {
        interrupt->check();
    }
}

GeometryPtr attempt(const OGRGeometry& a, const OGRGeometry& b, GisTopologyCombineType type) {
    switch (type) {
    case GisTopologyCombineType::Intersection:
        return GeometryPtr(a.Intersection(&b));
    case GisTopologyCombineType::Difference:
        return GeometryPtr(a.Difference(&b));
    case GisTopologyCombineType::SymmetricalDifference:
        return GeometryPtr(a.SymDifference(&b));
    case GisTopologyCombineType::Union:
        break;
    }
    return GeometryPtr(a.Union(&b));
}

void addPolygons(OGRMultiPolygon& all, GeometryPtr geometry) {
    if (wkbFlatten(geometry->getGeometryType()) == wkbPolygon) {
        all.addGeometryDirectly(geometry.release());
    } else if (wkbFlatten(geometry->getGeometryType()) == wkbMultiPolygon) {
        OGRMultiPolygon& members = *geometry->toMultiPolygon();
        for (int i = members.getNumGeometries() - 1; i >= 0; --i) { // from the end, where nothing moves up
            all.addGeometryDirectly(members.getGeometryRef(i));
            members.removeGeometry(i, FALSE);
        }
    }
}

/// GEOS hands a single polygon back as it is.
GeometryPtr unionOf(const OGRMultiPolygon& polygons) {
    const bool isSingle = polygons.getNumGeometries() == 1;
    return GeometryPtr(isSingle && !polygons.IsValid() ? polygons.Union(&polygons)
                                                       : polygons.UnionCascaded());
}

} // namespace

bool isSeveralPoints(const GisShape& shape) {
    const auto* const line = dynamic_cast<const GisShapePolyline*>(&shape);
    return line != nullptr && !line->isEmpty() &&
           std::all_of(line->parts().begin(), line->parts().end(), hasNoLength);
}

GeometryPtr operandOf(const GisShape& shape) {
    if (const auto* line = dynamic_cast<const GisShapePolyline*>(&shape)) {
        const auto copy = withoutBadVertices(*line);
        return lineOperandOf(copy == nullptr ? *line : *copy);
    }
    if (const auto* polygon = dynamic_cast<const GisShapePolygon*>(&shape)) {
        const auto copy = withoutBadVertices(*polygon);
        return Serialization::Ogr::Internal::geometryOf(copy == nullptr ? *polygon : *copy);
    }
    if (const auto* point = dynamic_cast<const GisShapePoint*>(&shape);
        point != nullptr && !canOverlay(*point)) {
        return GeometryPtr(new OGRPoint());
    }
    return Serialization::Ogr::Internal::geometryOf(shape);
}

namespace {

/// The parts of the highest dimension that the geometry has; null when GEOS fails.
GeometryPtr madeValid(const OGRGeometry& geometry, ValidMethod method) {
    const char* const byStructure[] = {"METHOD=STRUCTURE", "KEEP_COLLAPSED=NO", nullptr};
    GeometryPtr valid(geometry.MakeValid(method == ValidMethod::Structure ? byStructure : nullptr));
    return valid == nullptr ? nullptr : membersOf(std::move(valid), geometry.getDimension());
}

GeometryPtr attemptMadeValid(const OGRGeometry& a, const OGRGeometry& b, GisTopologyCombineType type,
                             ValidMethod method, const GeosInterrupt* interrupt) {
    const GeometryPtr validA = madeValid(a, method);
    check(interrupt);
    const GeometryPtr validB = madeValid(b, method);
    check(interrupt);
    GeometryPtr result = validA && validB ? attempt(*validA, *validB, type) : nullptr;
    check(interrupt);
    return result;
}

} // namespace

GeometryPtr geosOverlay(const OGRGeometry& a, const OGRGeometry& b, GisTopologyCombineType type,
                        const GeosInterrupt* interrupt) {
    GdalErrorCapture errors;
    GeometryPtr result = attempt(a, b, type);
    check(interrupt);
    if (result != nullptr) {
        return result;
    }
    result = attemptMadeValid(a, b, type, ValidMethod::Lines, interrupt);
    if (result == nullptr) {
        fail(errors);
    }
    return result;
}

GeometryPtr geosOverlayMadeValid(const OGRGeometry& a, const OGRGeometry& b, GisTopologyCombineType type,
                                 ValidMethod method, const GeosInterrupt* interrupt) {
    GdalErrorCapture errors;
    GeometryPtr result = attemptMadeValid(a, b, type, method, interrupt);
    if (result == nullptr) {
        fail(errors);
    }
    return result;
}

GeometryPtr geosUnion(std::vector<GeometryPtr> polygons, const GeosInterrupt& interrupt) {
    GdalErrorCapture errors;
    auto all = std::make_unique<OGRMultiPolygon>();
    for (GeometryPtr& polygon : polygons) {
        addPolygons(*all, std::move(polygon));
    }
    GeometryPtr result = unionOf(*all);
    interrupt.check();
    if (result != nullptr) {
        return result;
    }
    auto valid = std::make_unique<OGRMultiPolygon>();
    for (const OGRPolygon* polygon : *all) {
        GeometryPtr one = madeValid(*polygon, ValidMethod::Lines);
        interrupt.check();
        if (one == nullptr) {
            fail(errors);
        }
        addPolygons(*valid, std::move(one));
    }
    result = unionOf(*valid);
    interrupt.check();
    if (result == nullptr) {
        fail(errors);
    }
    return result;
}

std::unique_ptr<GisShape> overlayShapeOf(GeometryPtr geometry, bool areasOnly) {
    if (geometry->IsEmpty()) {
        return nullptr;
    }
    auto found = Serialization::Ogr::Internal::shapesOf(std::move(geometry));
    if (!found.problem.isEmpty()) {
        throw std::runtime_error(overlayFailing + ("the result has " + found.problem.toStdString()));
    }
    std::unique_ptr<GisShape>& highest = found.shapes.back(); // points come first, the polygon last
    const bool isArea = dynamic_cast<const GisShapePolygon*>(highest.get()) != nullptr;
    if (areasOnly && !isArea) {
        return nullptr;
    }
    if (found.shapes.size() == 1 || dynamic_cast<const GisShapePoint*>(highest.get()) == nullptr) {
        return std::move(highest);
    }
    auto points = std::make_unique<GisShapePolyline>();
    for (const auto& shape : found.shapes) {
        points->parts().append(QList<GisShapePoint>(2, static_cast<const GisShapePoint&>(*shape)));
    }
    std::sort(points->parts().begin(), points->parts().end(), [](const auto& p, const auto& q) {
        return std::pair(p[0].x(), p[0].y()) < std::pair(q[0].x(), q[0].y());
    });
    return points;
}

} // namespace Cartolith::Core::Topology::Internal
