#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

namespace Cartolith::Core::Shapes {

/// An area: a list of rings.
///
/// Rings are not classified. There is no outer ring and no hole in any operation of this class: each ring is
/// an area of its own, and a point inside a hole is *contained*, because the hole's ring contains it. The
/// predicates of the topology engine build on contains() and inherit that. To respect holes, ask
/// GisTopology::Distance(), which is 0 only for a point of the area itself, or use the overlay by GEOS; both
/// tell holes by nesting. Rings are not validated either (orientation, closure, self-intersection).
///
/// In a closed ring the last vertex repeats the first. The readers take rings as they stand in the input,
/// closed or not; the WKT and GeoJSON writers close open rings. Area and containment tests close an open ring
/// by themselves; distanceToBoundary() does not and misses its closing edge. No geometric operation
/// throws: degenerate input gives empty points, DBL_MAX distances or false.
class CARTOLITH_CORE_EXPORT GisShapePolygon : public GisShape {
public:
    /// No rings.
    GisShapePolygon() noexcept : GisShape(GisShapeType::Polygon) {}

    /// The rings in order. Edit the geometry through the mutable form; the ids and attributes of the vertices
    /// are not used.
    QList<QList<GisShapePoint>>& parts() noexcept { return m_parts; }
    const QList<QList<GisShapePoint>>& parts() const noexcept { return m_parts; }

    /// The centroid of the first ring that has one (more than two vertices and an area of at least 1e-12
    /// square units); holes are not subtracted. Without such a ring the mean of all vertices; without a
    /// vertex the empty point. May lie outside the area. The sum is over products of coordinates and loses
    /// the digits of small rings far from the origin: of a ring 1e-4 degrees wide at (13.4, 52.5) the
    /// centroid is off by a seventh of the width, of one ten times smaller it lies far away. labelPoint() and
    /// GisTopology::PointOnSurface() give a place inside.
    GisShapePoint centroid() const;

    /// Where to put a label: the centroid if the area contains it, else findInteriorPoint(), else the
    /// centroid as it is.
    GisShapePoint labelPoint() const;

    /// Of an 11 by 11 grid over the extent, the point inside the area that is farthest from the boundary; the
    /// empty point when none is inside. Some 300 passes over the vertices.
    GisShapePoint findInteriorPoint() const;

    /// The distance to the nearest segment of any ring; DBL_MAX when there is none.
    double distanceToBoundary(const GisShapePoint& p) const;

    /// The crossing-number test (Shimrat, 1962). False for a ring of fewer than three vertices; a point
    /// exactly on an edge may fall on either side.
    static bool pointInPolygon(const GisShapePoint& p, const QList<GisShapePoint>& ring);

    /// The centroid of the ring's area; the empty point when the area is below 1e-12 square units.
    static GisShapePoint calculatePolygonCentroid(const QList<GisShapePoint>& ring);

    /// The same as the functions of that name in GisShapePolyline.
    static double distancePointToSegment(const GisShapePoint& p, const GisShapePoint& a,
                                         const GisShapePoint& b) noexcept;
    static QList<GisShapePoint> simplifyPart(const QList<GisShapePoint>& points, double tolerance);
    static void simplifyDouglasPeucker(const QList<GisShapePoint>& points, int first, int last,
                                       double tolerance, QList<bool>& keep);

    /// The box around all vertices of all rings.
    GisExtent extent() const override;

    /// True when no ring has at least two vertices.
    bool isEmpty() const override;

    /// True when some ring contains the point, a hole included (GisTopology::Distance() respects holes). The
    /// tolerance is not used.
    bool contains(const GisShapePoint& point, double tolerance) const override;

    std::unique_ptr<GisShape> clone() const override;

    /// Every ring simplified on its own, closed rings staying closed; rings left with two vertices or fewer
    /// are dropped, so the result may have no ring, as always with a tolerance of NaN. Shared edges of
    /// neighbours may come apart.
    std::unique_ptr<GisShape> simplify(double tolerance) const override;

    QString toWkt() const override;
    /// Reads POLYGON text only; for MULTIPOLYGON use the generic WKT reader.
    void fromWkt(const QString& wkt) override;
    QByteArray toWkb() const override;
    void fromWkb(const QByteArray& wkb) override;
    QString toGeoJson() const override;
    void fromGeoJson(const QString& json) override;

private:
    QList<QList<GisShapePoint>> m_parts;
};

} // namespace Cartolith::Core::Shapes
