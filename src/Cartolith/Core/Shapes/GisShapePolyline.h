#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

namespace Cartolith::Core::Shapes {

/// A linear feature: one or more parts, each an open sequence of vertices. One part corresponds to a line
/// string, several to a multi line string.
///
/// A part with fewer than two vertices may stand in the list but has no segment; the polyline is empty when
/// no part has one. Geometry operations never throw.
class CARTOLITH_CORE_EXPORT GisShapePolyline : public GisShape {
public:
    /// No parts.
    GisShapePolyline() noexcept : GisShape(GisShapeType::Polyline) {}

    /// The parts in order. Edit the geometry through the mutable form; the ids and attributes of the vertices
    /// are not used.
    QList<QList<GisShapePoint>>& parts() noexcept { return m_parts; }
    const QList<QList<GisShapePoint>>& parts() const noexcept { return m_parts; }

    /// The Euclidean distance from p to the closed segment a-b; to a when the two ends are equal.
    static double distancePointToSegment(const GisShapePoint& p, const GisShapePoint& a,
                                         const GisShapePoint& b) noexcept;

    /// Douglas-Peucker simplification of one part (Douglas and Peucker, 1973). A part of fewer than three
    /// vertices and a tolerance of 0 or less come back unchanged; the first and last vertices always stay,
    /// and are all that stays with a tolerance of NaN, or mostly when one of them is not finite.
    static QList<GisShapePoint> simplifyPart(const QList<GisShapePoint>& points, double tolerance);

    /// Sets `keep` for the vertices strictly between `first` and `last` that simplification retains: those
    /// farther from the chord than the tolerance, strictly, the lowest index on a tie. `keep` must be as long
    /// as `points`, and 0 <= first, last < points.size().
    ///
    /// About n log n time; linear for a stretch in which the triangle of any three neighbours is higher than
    /// twice the tolerance, because all its vertices stay. Quadratic at worst: for coordinates other than 0
    /// and 1e-100 to 1e100 in size, and where rounding alone decides again and again which of many vertices
    /// is farthest, as along a slanted zigzag or stairs, a few times as high as the tolerance (62,000
    /// vertices take two seconds, 248,000 half a minute). GisTopology::Simplify() and readers can be stopped.
    /// 34 bytes for each vertex; stack use is constant.
    static void simplifyDouglasPeucker(const QList<GisShapePoint>& points, int first, int last,
                                       double tolerance, QList<bool>& keep);

    /// The box around all vertices, also those of parts too short to draw.
    GisExtent extent() const override;

    /// True when no part has at least two vertices.
    bool isEmpty() const override;

    /// True when the point is at most the tolerance away from some segment (inclusive).
    bool contains(const GisShapePoint& point, double tolerance) const override;

    std::unique_ptr<GisShape> clone() const override;

    /// Every part simplified on its own; parts left with fewer than two vertices are dropped, so the result
    /// may be empty.
    std::unique_ptr<GisShape> simplify(double tolerance) const override;

    QString toWkt() const override;
    /// Reads LINESTRING or MULTILINESTRING text.
    void fromWkt(const QString& wkt) override;
    QByteArray toWkb() const override;
    void fromWkb(const QByteArray& wkb) override;
    QString toGeoJson() const override;
    void fromGeoJson(const QString& json) override;

private:
    QList<QList<GisShapePoint>> m_parts;
};

} // namespace Cartolith::Core::Shapes
