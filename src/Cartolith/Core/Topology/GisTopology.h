#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Topology/GisTopologyCombineType.h>

#include <QList>
#include <QString>

#include <functional>
#include <memory>

namespace Cartolith::Core::Topology {

/// The geometry engine: predicates, overlay and the operations of editing tools on pairs of shapes, with one
/// tolerance for all of them.
///
/// Inputs are never changed and never kept; results belong to the caller. Coordinates are planar, in whatever
/// unit the shapes use, and the tolerance is in the same unit.
///
/// Threads: an object holds only settings. Its const members may run at the same time on several threads as
/// long as nobody changes the settings; the busy callback is called on the calling thread.
class CARTOLITH_CORE_EXPORT GisTopology {
public:
    /// @name Settings
    /// @{

    /// In coordinate units; 1e-9 at first, which suits degrees and metres near the origin.
    double Tolerance() const noexcept { return m_tolerance; }
    /// A negative tolerance and NaN become 0.
    void SetTolerance(double tolerance) noexcept { m_tolerance = tolerance > 0.0 ? tolerance : 0.0; }

    /// Whether operations that need valid input repair it first; false at first.
    bool ForceShapeFixing() const noexcept { return m_forceShapeFixing; }
    void SetForceShapeFixing(bool force) noexcept { m_forceShapeFixing = force; }

    /// Called with (done, total) by operations that may take long; an answer of false asks them to stop. Each
    /// operation says what it returns then.
    void SetBusyCallback(std::function<bool(int, int)> callback) { m_busyCallback = std::move(callback); }

    /// True when there is no callback, else the callback's answer.
    bool reportBusy(int current, int total) const {
        return !m_busyCallback || m_busyCallback(current, total);
    }

    /// @}
    /// @name Points and segments
    ///
    /// Pure functions of their arguments. Tolerances count inclusively. NaN is close to nothing, and a
    /// segment with a NaN end meets what its other end is on.
    /// @{

    /// tolerance >= |a - b|
    static bool CloseTo(double a, double b, double tolerance) noexcept;
    /// By the squares: tolerance^2 >= distance^2, so a negative tolerance counts as its size.
    static bool SamePoint(const Shapes::GisShapePoint& a, const Shapes::GisShapePoint& b,
                          double tolerance) noexcept;
    /// (a - o) x (b - o): twice the area of the triangle, positive if it turns left.
    static double Cross(const Shapes::GisShapePoint& o, const Shapes::GisShapePoint& a,
                        const Shapes::GisShapePoint& b) noexcept;
    /// To the closed segment a-b; to a if the square of its length is not above the double epsilon, that is,
    /// for segments shorter than 1.5e-8. (GisShapePolyline::distancePointToSegment() has no such floor.)
    static double DistancePointToSegment(const Shapes::GisShapePoint& p, const Shapes::GisShapePoint& a,
                                         const Shapes::GisShapePoint& b) noexcept;
    /// Within the tolerance of the segment, and of its box.
    static bool PointOnSegment(const Shapes::GisShapePoint& p, const Shapes::GisShapePoint& a,
                               const Shapes::GisShapePoint& b, double tolerance) noexcept;
    /// Whether the segments p and q meet. With r = p2 - p1 and s = q2 - q1:
    ///
    /// - |r x s| > tolerance: whether both parameters of the crossing are in [-tolerance, 1 + tolerance].
    /// `out`
    ///   becomes that crossing, which may lie off both segments.
    /// - otherwise, as for parallels: whether an end is on the other segment (PointOnSegment); `out` becomes
    ///   the first of p1, p2, q1, q2 that is.
    ///
    /// The one tolerance is compared with an area, with parameters and with distances, on purpose: two
    /// segments both shorter than the tolerance's root are parallel to each other, and long ones are extended
    /// by that share of their length. Two long collinear segments far apart may "meet" when
    /// rounding makes r x s larger than the tolerance. `out` may be null; only its coordinates are set, and
    /// only on true.
    static bool SegmentIntersectionPoint(const Shapes::GisShapePoint& p1, const Shapes::GisShapePoint& p2,
                                         const Shapes::GisShapePoint& q1, const Shapes::GisShapePoint& q2,
                                         double tolerance, Shapes::GisShapePoint* out);
    /// They meet, and not (by SamePoint) in an end of either.
    static bool ProperSegmentIntersection(const Shapes::GisShapePoint& p1, const Shapes::GisShapePoint& p2,
                                          const Shapes::GisShapePoint& q1, const Shapes::GisShapePoint& q2,
                                          double tolerance);

    /// @}
    /// @name Shapes against points and each other
    ///
    /// The pieces that the predicates are made of. They take any tolerance as it is, also negative or NaN,
    /// and never call the busy callback. Each ring of a polygon is an area of its own: a point in a hole is
    /// contained. Answers about two shapes take time in proportion to their vertices, and to those near the
    /// other's boundary times the logarithm of that one's vertices; with a NaN, an infinity, or nonzero sizes
    /// outside 1e-100 to 1e100, every pair of segments is looked at. Shapes of derived classes are asked by
    /// their own contains(), whose exceptions pass through.
    /// @{

    /// The parts of a line, the rings of a polygon, a point that is not empty as a part of its own; else
    /// none.
    static QList<QList<Shapes::GisShapePoint>> BoundaryPartsOf(const Shapes::GisShape& shape);
    /// The vertices of these that are not empty.
    static QList<Shapes::GisShapePoint> VerticesOf(const Shapes::GisShape& shape);
    /// shape.contains(p, tolerance), or on the boundary. Looks at every vertex; for many points on one shape
    /// use GisPreparedShape.
    static bool ContainsPoint(const Shapes::GisShape& shape, const Shapes::GisShapePoint& p,
                              double tolerance);
    /// On a segment (PointOnSegment) or the same as a part of one vertex. Looks at every vertex.
    static bool PointOnBoundary(const Shapes::GisShape& shape, const Shapes::GisShapePoint& p,
                                double tolerance);
    /// Whether any segment of a meets any of b (properly, if asked). A part of one vertex meets
    /// what it is on, and then also "properly".
    static bool BoundariesIntersect(const Shapes::GisShape& a, const Shapes::GisShape& b, double tolerance,
                                    bool properOnly);
    /// Whether b contains every vertex of a (ContainsPoint). Segments of a may still leave b. False if a has
    /// none.
    static bool ShapeWithin(const Shapes::GisShape& a, const Shapes::GisShape& b, double tolerance);
    /// Whether b contains a vertex of a that is not on b's boundary.
    static bool HasInteriorPointInOther(const Shapes::GisShape& a, const Shapes::GisShape& b,
                                        double tolerance);
    /// Whether type, number and order of the vertices are the same, and each is SamePoint. A ring that starts
    /// elsewhere is another.
    static bool SameGeometry(const Shapes::GisShape& a, const Shapes::GisShape& b, double tolerance);
    /// Character by character as far as both reach: "*" matches all, "T" all but "F", others themselves.
    static bool RelationMatches(const QString& matrix, const QString& pattern);

    /// @}
    /// @name Predicates
    ///
    /// Short combinations of vertex and segment tests, not an intersection matrix: they have no notion of
    /// interior, exterior or holes beyond those tests, and some answers differ from those of the standard
    /// predicates of these names (two lines that cross in their middle also Touch; see docs/topology.md).
    /// An empty shape is disjoint from everything, within nothing, and contains nothing; the extents decide
    /// first whether two shapes are disjoint, without the tolerance.
    ///
    /// What a pair needs more than once is found out once. The busy callback is called for about every
    /// million elementary tests, some milliseconds, with (done, done + 1), as what remains is not known;
    /// after an answer of false the predicate's answer is false, Disjoint's too, and Relate's the null
    /// string. Equality takes a pass over the vertices and never asks. For one shape against many see
    /// GisPreparedShape.
    /// @{

    bool Disjoint(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    /// The opposite of Disjoint, unless stopped.
    bool Intersect(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    /// Not disjoint, and the boundaries intersect properly.
    bool Cross(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    /// SameGeometry, also of empty shapes.
    bool Equality(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    /// Neither disjoint nor equal; the boundaries intersect; neither shape has a vertex inside the other, or
    /// all its vertices in the other.
    bool Touch(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    /// Neither empty nor equal, and ShapeWithin(a, b).
    bool Within(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    /// Within(b, a).
    bool Contains(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    /// Of one type, and neither disjoint nor equal nor within the other.
    bool Overlap(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    /// The pattern of the first that holds: Equality "T*F**FF*" (eight characters), Disjoint "FF*FF****",
    /// Touch "F***T****", Cross "T*T******", Within "T*F**F***", Contains "T*****FF*",
    /// Overlap "T*T***T**"; "T********" if none does.
    QString Relate(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    /// RelationMatches(Relate(a, b), pattern); false if stopped.
    bool Relate(const Shapes::GisShape& a, const Shapes::GisShape& b, const QString& pattern) const;
    /// Notes the shape's address, and nothing reads it. GisPreparedShape is what makes repeated questions
    /// fast.
    void RelatePrepare(const Shapes::GisShape& shape) noexcept { m_relatePrepared = &shape; }

    /// @}
    /// @name Overlay
    /// @{

    static std::unique_ptr<Shapes::GisShape> EmptyLike(const Shapes::GisShape& shape);
    static std::unique_ptr<Shapes::GisShape> CloneShape(const Shapes::GisShape& shape);

    std::unique_ptr<Shapes::GisShape> Combine(const Shapes::GisShape& a, const Shapes::GisShape& b,
                                              GisTopologyCombineType type) const;
    std::unique_ptr<Shapes::GisShape> Union(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    std::unique_ptr<Shapes::GisShape> Intersection(const Shapes::GisShape& a,
                                                   const Shapes::GisShape& b) const;
    std::unique_ptr<Shapes::GisShape> Difference(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    std::unique_ptr<Shapes::GisShape> SymmetricalDifference(const Shapes::GisShape& a,
                                                            const Shapes::GisShape& b) const;
    std::unique_ptr<Shapes::GisShape> UnionOnList(const QList<const Shapes::GisShape*>& shapes) const;

    static bool IsExtentRectanglePolygon(const Shapes::GisShapePolygon& polygon, double tolerance);
    static std::unique_ptr<Shapes::GisShape> PolygonFromExtent(const Shapes::GisExtent& extent);
    static std::unique_ptr<Shapes::GisShape>
    DifferenceOfExtentRectangles(const Shapes::GisExtent& a, const Shapes::GisExtent& b, double tolerance);

    /// @}

private:
    double m_tolerance = 1e-9;
    bool m_forceShapeFixing = false;
    std::function<bool(int, int)> m_busyCallback;
    const Shapes::GisShape* m_relatePrepared = nullptr;
};

} // namespace Cartolith::Core::Topology
