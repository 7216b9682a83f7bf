#include <Cartolith/Core/Layers/Overviews/OverviewGeometryInternal.h>
#include <Cartolith/Core/Shapes/SimplificationInternal.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::GeometryPtr;
using Points = QList<Shapes::GisShapePoint>;

namespace {

double lengthOf(const OGREnvelope& box) {
    return std::max(box.MaxX - box.MinX, box.MaxY - box.MinY);
}
double lengthOf(const OGRGeometry& geometry) {
    OGREnvelope box;
    geometry.getEnvelope(&box);
    return lengthOf(box);
}

Points pointsOf(const OGRSimpleCurve& line) {
    Points points;
    points.reserve(line.getNumPoints());
    for (int i = 0; i < line.getNumPoints(); ++i) {
        points.append({line.getX(i), line.getY(i)});
    }
    return points;
}

void setPoints(OGRSimpleCurve& line, const Points& points) {
    line.setNumPoints(static_cast<int>(points.size()), FALSE);
    for (int i = 0; i < points.size(); ++i) {
        line.setPoint(i, points[i].x(), points[i].y());
    }
}

/// What has a vertex that is not a place can neither be measured nor simplified: it stays as it is.
bool isOfPlaces(const OGRSimpleCurve& line) {
    for (int i = 0; i < line.getNumPoints(); ++i) {
        if (!std::isfinite(line.getX(i)) || !std::isfinite(line.getY(i))) {
            return false;
        }
    }
    return true;
}

Points cornersOf(const OGREnvelope& box) {
    return {{box.MinX, box.MinY},
            {box.MaxX, box.MinY},
            {box.MaxX, box.MaxY},
            {box.MinX, box.MaxY},
            {box.MinX, box.MinY}};
}

/// A ring of which nothing is left but a line becomes its box.
void addRing(OGRPolygon& polygon, const OGRLinearRing& ring, double tolerance) {
    constexpr qsizetype fewest = 4; // of a closed ring around anything
    if (!isOfPlaces(ring)) {
        OGRLinearRing asItIs(ring);
        polygon.addRing(&asItIs);
        return;
    }
    auto rings = Shapes::Internal::simplifiedRings({pointsOf(ring)}, tolerance);
    OGREnvelope box;
    ring.getEnvelope(&box);
    OGRLinearRing coarse;
    setPoints(coarse,
              rings.isEmpty() || rings.constFirst().size() < fewest ? cornersOf(box) : rings.constFirst());
    polygon.addRing(&coarse);
}

OGRPolygon coarsenedPolygon(const OGRPolygon& polygon, double pixel) {
    OGRPolygon coarse;
    const OGRLinearRing& shell = *polygon.getExteriorRing();
    if (lengthOf(shell) <= pixel && isOfPlaces(shell)) {
        OGREnvelope box;
        shell.getEnvelope(&box);
        OGRLinearRing ring;
        setPoints(ring, cornersOf(box));
        coarse.addRing(&ring);
        return coarse;
    }
    addRing(coarse, shell, pixel / 2.0);
    for (int i = 0; i < polygon.getNumInteriorRings(); ++i) {
        if (!(lengthOf(*polygon.getInteriorRing(i)) <= pixel / 2.0)) {
            addRing(coarse, *polygon.getInteriorRing(i), pixel / 2.0);
        }
    }
    return coarse;
}

OGRLineString coarsenedLine(const OGRLineString& line, double pixel) {
    if (!isOfPlaces(line)) {
        return line;
    }
    Points points = pointsOf(line);
    OGREnvelope box;
    line.getEnvelope(&box);
    OGRLineString coarse;
    setPoints(coarse, lengthOf(box) <= pixel ? Points{{box.MinX, box.MinY}, {box.MaxX, box.MaxY}}
                                             : Shapes::Internal::simplifiedPart(points, pixel / 2.0));
    return coarse;
}

/// The members worth drawing, at least the longest.
template <typename Member, typename Coarsen>
void addMembers(OGRGeometryCollection& to, const OGRGeometryCollection& from, double pixel,
                const Coarsen& coarsen) {
    const OGRGeometry* longest = nullptr;
    for (const OGRGeometry* const member : from) {
        const bool isLonger = longest == nullptr || lengthOf(*member) > lengthOf(*longest);
        longest = std::isfinite(lengthOf(*member)) && !member->IsEmpty() && isLonger ? member : longest;
    }
    for (const OGRGeometry* const member : from) {
        if (member == longest || (!member->IsEmpty() && !(lengthOf(*member) <= pixel / 2.0))) {
            const Member coarse = coarsen(static_cast<const Member&>(*member), pixel);
            to.addGeometry(&coarse);
        }
    }
}

} // namespace

GeometryPtr coarsened(const OGRGeometry& given, double pixel) {
    GeometryPtr linear(given.hasCurveGeometry() != 0 ? given.getLinearGeometry() : given.clone());
    if (linear == nullptr || linear->IsEmpty()) {
        return linear;
    }
    linear->flattenTo2D();
    switch (wkbFlatten(linear->getGeometryType())) {
    case wkbLineString:
        return GeometryPtr(coarsenedLine(*linear->toLineString(), pixel).clone());
    case wkbPolygon:
        return GeometryPtr(coarsenedPolygon(*linear->toPolygon(), pixel).clone());
    case wkbMultiLineString: {
        GeometryPtr lines(new OGRMultiLineString);
        addMembers<OGRLineString>(*lines->toGeometryCollection(), *linear->toGeometryCollection(), pixel,
                                  coarsenedLine);
        return lines;
    }
    case wkbMultiPolygon: {
        GeometryPtr polygons(new OGRMultiPolygon);
        addMembers<OGRPolygon>(*polygons->toGeometryCollection(), *linear->toGeometryCollection(), pixel,
                               coarsenedPolygon);
        return polygons;
    }
    default:
        return linear;
    }
}

} // namespace Cartolith::Core::Layers::Internal
