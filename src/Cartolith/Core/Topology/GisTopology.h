#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Topology/GisBufferStyle.h>
#include <Cartolith/Core/Topology/GisCrossing.h>
#include <Cartolith/Core/Topology/GisLoop.h>
#include <Cartolith/Core/Topology/GisNearestPoints.h>
#include <Cartolith/Core/Topology/GisOverlayCheck.h>
#include <Cartolith/Core/Topology/GisOverlayEngine.h>
#include <Cartolith/Core/Topology/GisShapeProblem.h>
#include <Cartolith/Core/Topology/GisTopologyCombineType.h>

#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

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

    /// Into how many crossings rings may cut each other, and a line them, before FixShape(), SplitByLine()
    /// and what fixes first (ForceShapeFixing(), Buffer() at distance 0) throw std::runtime_error: 1 million
    /// at first, for which fixing takes half a gigabyte. The crossings of n edges may be n^2 / 2, so that a
    /// small file could have any memory without this.
    int MostCrossings() const noexcept { return m_mostCrossings; }
    /// A negative number becomes 0.
    void SetMostCrossings(int most) noexcept { m_mostCrossings = most > 0 ? most : 0; }

    /// Called with (done, total) by operations that may take long; an answer of false asks them to stop. Each
    /// operation says what it returns then. One of several stages, such as fixing before an overlay, counts
    /// each anew, so that `done` may go back.
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
    /// - If |r x s| > tolerance, they meet when both parameters of the crossing of their lines are in
    ///   [-tolerance, 1 + tolerance]. `out` becomes that crossing, which may lie off both segments.
    /// - Otherwise they count as parallel, and meet when an end of one is on the other (PointOnSegment). Then
    ///   `out` becomes the first of p1, p2, q1, q2 that is on the other segment.
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
    /// contained (Distance() respects holes). Answers about two shapes take time in proportion to their
    /// vertices, and to those near the other's boundary times the logarithm of that one's vertices; with a
    /// NaN, an infinity, or nonzero sizes outside 1e-100 to 1e100, every pair of segments is looked at.
    /// Shapes of derived classes are asked by their own contains(), whose exceptions pass through.
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
    /// Where holes matter use Distance(), or Difference() and Intersection() by GEOS.
    /// An empty shape is disjoint from everything, within nothing, and contains nothing; the extents decide
    /// first whether two shapes are disjoint, without the tolerance.
    ///
    /// An answer that several tests of a pair need is computed once. The busy callback is called for about
    /// every million elementary tests, some milliseconds, with (done, done + 1), as what remains is not
    /// known; after an answer of false the predicate's answer is false, Disjoint's too, and Relate's the null
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
    ///
    /// Results are new shapes that belong to the caller. Inputs other than several points are fixed
    /// by FixShape() first when ForceShapeFixing() is set. Vertices with a NaN, an infinite coordinate or one
    /// beyond 1e100 are left out of the overlay of two polygons, and by GEOS always. A null result means that
    /// the busy callback stopped the work, and nothing else does; it is asked where many vertices make work
    /// long, between the steps of the painter path, which itself cannot be interrupted, and by GEOS while it
    /// works.
    ///
    /// **Trap.** The painter path reads rings by the winding rule: a hole is a hole only when it runs
    /// opposite to its shell. It may return a hole that runs like its shell, and a further operation would
    /// fill that in. Put a result through OrientRings() before it is an input again. GEOS reads rings by
    /// nesting and returns holes wound opposite to their shell.
    ///
    /// **GEOS errs, too.** Version 3.11 may lose the whole of a thin intersection, and no error tells: of
    /// 20,000 needles 1e-9 high that stand on a slanted edge inside a square of 10 by 10, it found no
    /// intersection for every eighth; of those 1e-6 high it lost none. CheckOverlay() finds such a result
    /// implausible.
    /// @{

    GisOverlayEngine OverlayEngine() const noexcept { return m_overlayEngine; }
    void SetOverlayEngine(GisOverlayEngine engine) noexcept { m_overlayEngine = engine; }

    /// With the painter path engine: a polygon result that CheckOverlay() does not find plausible is computed
    /// again by GEOS, which reads rings by nesting; and by GEOS of the inputs made valid when that result is
    /// not plausible either. If none is, GEOS's first one is returned. Off at first.
    bool OverlayFallback() const noexcept { return m_overlayFallback; }
    void SetOverlayFallback(bool fallback) noexcept { m_overlayFallback = fallback; }

    /// A new shape of the same kind without geometry, id and attributes. For a class that is not one of the
    /// library's, the kind is that of its shapeType(), a polygon if that is none.
    static std::unique_ptr<Shapes::GisShape> EmptyLike(const Shapes::GisShape& shape);
    /// Geometry, id and attributes.
    static std::unique_ptr<Shapes::GisShape> CloneShape(const Shapes::GisShape& shape);

    /// The operation of that number; EmptyLike(a) for any other.
    ///
    /// Both engines: the union with an empty shape is a copy of the other one. Two polygons give a polygon
    /// with the id and attributes of a, without parts when the result has no area.
    ///
    /// What the painter path engine answers for other pairs is said at each operation. GEOS computes them,
    /// the result has the id and attributes of a, and is like EmptyLike(a) with these when it is empty.
    /// A shape is of one kind, so a result of several kinds loses all but those of the highest dimension: the
    /// union of a polygon and a point outside it is the polygon alone, and two lines that share a stretch and
    /// cross elsewhere intersect in the stretch alone. A result of one point is a point. Several points are a
    /// polyline that has, for each of them, a part of two equal vertices; extent(), distances, predicates and
    /// the overlay by GEOS treat such a part as a point, but GEOS drops it when the line also has parts with
    /// a length. Lines in the result are cut where they cross. For shapes of classes other than the library's
    /// own, the painter path engine computes the result.
    ///
    /// \throws std::runtime_error "Overlay failed: ..." with GEOS's reason, when it refuses a shape also
    /// after it was made valid, and with FixShape()'s when that fails. That an invalid shape is accepted does
    /// not make the result right: fix it.
    std::unique_ptr<Shapes::GisShape> Combine(const Shapes::GisShape& a, const Shapes::GisShape& b,
                                              GisTopologyCombineType type) const;

    /// By painter path, in this order: of two polygons, the area of either; a copy of the one that contains
    /// the other; of two polylines, the parts of both with the attributes of a, but no id; else the convex
    /// hull of both.
    std::unique_ptr<Shapes::GisShape> Union(const Shapes::GisShape& a, const Shapes::GisShape& b) const;

    /// By painter path, in this order: of two polygons, the area common to both; EmptyLike(a) for disjoint
    /// shapes; a copy of the one that lies within the other; of two polylines, their crossings as one
    /// point, or several as the one part of a polyline, with the id and attributes of a; else EmptyLike(a).
    ///
    /// Two axis-parallel rectangles (IsExtentRectanglePolygon()) whose common area is lost by the painter
    /// path, as all of it is below some 1e-6 units, give the rectangle common to their extents, if it is
    /// wider and higher than the tolerance.
    std::unique_ptr<Shapes::GisShape> Intersection(const Shapes::GisShape& a,
                                                   const Shapes::GisShape& b) const;

    /// The part of a that is not in b. By painter path, in this order: of two polygons, that area, two
    /// axis-parallel rectangles being told apart by DifferenceOfExtentRectangles() where the painter path
    /// finds nothing; a copy of a for disjoint shapes; EmptyLike(a) when b contains or equals a; else a copy
    /// of a: a line is not cut.
    std::unique_ptr<Shapes::GisShape> Difference(const Shapes::GisShape& a, const Shapes::GisShape& b) const;

    /// The parts that are in only one of the two. By painter path: of two polygons, that area; else the union
    /// of the two differences.
    std::unique_ptr<Shapes::GisShape> SymmetricalDifference(const Shapes::GisShape& a,
                                                            const Shapes::GisShape& b) const;

    /// Each shape united in turn with the union of those before it. Null entries are skipped; without any
    /// shape a polygon without parts. The busy callback is called with (i + 1, n) before entry i, and nowhere
    /// else; stopped, the union so far is returned. Quadratic for many shapes: see CascadedUnion().
    ///
    /// The rings of the union so far are read again as they are, so the trap above applies.
    std::unique_ptr<Shapes::GisShape> UnionOnList(const QList<const Shapes::GisShape*>& shapes) const;

    /// The union of many polygons by GEOS, whichever engine is set, neighbours first, so that the time is
    /// about n log n. Id and attributes are those of the first shape; null entries are skipped, and without
    /// any shape the result is a polygon without parts. Null when the busy callback stops it, which is asked
    /// every few thousand vertices and by GEOS while it works. \throws std::invalid_argument "CascadedUnion
    /// takes polygons only." \throws std::runtime_error as Combine()
    std::unique_ptr<Shapes::GisShape> CascadedUnion(const QList<const Shapes::GisShape*>& shapes) const;

    /// Whether `result` can be what the operation gives for two polygons, at a fraction of its cost. Other
    /// shapes are plausible without a measurement.
    ///
    /// **What it promises:** of inputs that neither cross nor overlap themselves, a result whose area is off
    /// by more than a millionth of the smaller input's is not plausible, however large the other one is. (To
    /// that comes the area that changes when vertices of the result are rounded to the next double.) The area
    /// that a and b have in common is computed without an overlay, from exact decisions, and what the result
    /// must measure follows.
    ///
    /// **What it does not promise:** that the result is in the right place. For that it is compared with a
    /// and b along horizontal lines, 32 where both are and 12 above and below; what they find wrong counts
    /// from a hundred-thousandth of the smaller input on where the extents of a and b meet, and of the larger
    /// one elsewhere. An input that crosses or overlaps itself is seen along the lines only, or, when it does
    /// so by too little for the lines to meet it, GEOS decides what it covers.
    ///
    /// Inputs are read by the rule of the engine that is set, the result by nesting. When the busy callback
    /// stops the work the answer is not plausible. Takes n log n time and a step for each pair of edges, of a
    /// and b, of which the boxes meet; where rings of an input run both ways, of that input with itself as
    /// well, if rings are read by winding. So it is quadratic where long slanted edges lie side by side, or
    /// where many rings overlap.
    GisOverlayCheck CheckOverlay(const Shapes::GisShape& a, const Shapes::GisShape& b,
                                 GisTopologyCombineType type, const Shapes::GisShape& result) const;

    /// The same rings with holes opposite to their shell: shells run counterclockwise, each followed by its
    /// holes, which run clockwise. Nesting tells them apart, the direction of the input does not matter. A
    /// ring that crosses itself is taken as it is; fix it first.
    /// Vertices that cannot be overlaid are left out; id and attributes are kept.
    static std::unique_ptr<Shapes::GisShapePolygon> OrientRings(const Shapes::GisShapePolygon& polygon);

    /// True for one ring, closed or not, of four corners that are those of its extent within the tolerance,
    /// the extent being wider and higher than the tolerance.
    static bool IsExtentRectanglePolygon(const Shapes::GisShapePolygon& polygon, double tolerance);

    /// One closed counterclockwise ring from the lower left corner; no part for the empty extent.
    static std::unique_ptr<Shapes::GisShape> PolygonFromExtent(const Shapes::GisExtent& extent);

    /// a minus b as up to four rectangles with common edges: below, above, left and right of b. Strips not
    /// wider than the tolerance are left out, and so is an overlap: then a comes back whole. No part when a
    /// is empty.
    static std::unique_ptr<Shapes::GisShape>
    DifferenceOfExtentRectangles(const Shapes::GisExtent& a, const Shapes::GisExtent& b, double tolerance);

    /// @}
    /// @name Crossings and loops
    ///
    /// Rings count as closed, whether or not the last vertex repeats the first. Segments with a NaN or
    /// infinite coordinate meet nothing.
    /// @{

    /// Where the boundaries of two shapes meet, in order along a.
    ///
    /// Two segments meet when SegmentIntersectionPoint() says so with the object's tolerance, and a meeting
    /// within the tolerance of a vertex is at that vertex. Neighbouring meetings within the tolerance of each
    /// other along a are one; where a comes to a place twice there is a crossing for each time. A stretch
    /// common to both gives its two ends, however many segments it has and however b runs there, and the
    /// vertices on it are no crossings; a part of b that crosses within it is one, but not at its ends. In a
    /// ring such a stretch may go over the first vertex: its end then comes before its start. Only boundaries
    /// count: a point or line inside a polygon meets nothing.
    ///
    /// Empty when either shape is empty, when nothing meets, and when the busy callback stops it. Takes n log
    /// n time where neighbours in the shape lie near each other, and a step for each pair of segments that
    /// do: quadratic where thousands come together in one place, for the turns of a spiral or rings in one
    /// another of few vertices, and for small parts in random order (256,000 vertices of rings of eight:
    /// seconds; a million: minutes). Memory stays below 2 KB a segment, 10 MB and three times the result,
    /// however many pairs meet; where these are many more than the segments, they are looked for twice.
    QList<GisCrossing> GetCrossings(const Shapes::GisShape& a, const Shapes::GisShape& b) const;

    /// Where the boundary of one shape meets itself: parts with each other and parts with themselves, apart
    /// from the vertex that neighbouring segments share. Each place once for each pair of passages,
    /// `position` being the earlier one. A spike, where a line goes back the way it came, is a common
    /// stretch.
    QList<GisCrossing> GetCrossings(const Shapes::GisShape& shape) const;

    /// Where lines and rings cross or touch themselves and so close a loop, in the order in which the loops
    /// are closed, inner ones before those they hang on. Meetings of different parts, and spikes, make no
    /// loop. Of the loops of a ring the one with the largest area is the ring itself and not listed.
    ///
    /// Loops are simple: what lies between `start` and `end` less the loops closed in between. Where loops
    /// are interlaced, so that there are several ways to take them apart, the one closed first along the line
    /// counts. Empty for points and when the busy callback stops it. The time is up to thrice that of
    /// GetCrossings(); memory is that of the input and the loops, not of the crossings.
    QList<GisLoop> FindLoops(const Shapes::GisShape& shape) const;

    /// A copy without the loops of less than the given area (square coordinate units) that hang on no larger
    /// one. The place of a loop becomes a vertex if there is none; every other vertex stays as it is, bit for
    /// bit. Where a spike hung on a loop, what is left may touch itself there and so have a small loop again.
    /// A copy when there is nothing to remove, also for a minArea of 0, negative or NaN; null when the
    /// busy callback stops it.
    std::unique_ptr<Shapes::GisShape> RemoveLoops(const Shapes::GisShape& shape, double minArea) const;

    /// @}
    /// @name Checking and fixing
    /// @{

    /// What is wrong with a shape, part by part; empty for a sound one. GEOS then calls it
    /// valid, but where a vertex is so near an edge that only exact arithmetic can tell them apart.
    ///
    /// Exact: the tolerance is not used, so that small shapes are judged like large ones. Nesting decides
    /// what is a shell and what a hole, and rings may run either way round; but where a polygon's rings
    /// disagree about the direction, readers that go by direction see something else, as the overlay by
    /// painter path does. That is reported as HoleOutside and NestedShells, against the direction of the
    /// largest ring. Shells may touch each other in points, and a ring in a hole is an island.
    ///
    /// A line may cross itself (see GetCrossings()) and go back the way it came. Parts with a NaN or infinite
    /// vertex are judged by their other vertices. The empty point and a shape without parts have no problem,
    /// a part without a vertex has too few. The list has at most a thousand entries of each kind, and what it
    /// has no room for is not looked for. Of each part a place is listed once where it meets itself, and once
    /// where it meets later ones; after 100,000 pairs of segments of different rings that meet, no more are
    /// looked for. Empty when the busy callback stops it.
    ///
    /// Takes n log n time, in whatever order the rings are, also of slanted strips side by side, and a step
    /// for each pair of segments that touch or lie near each other: a few seconds for 3000 rings that touch
    /// in one vertex or are equal. Rings in one another take time quadratic in them: some seconds for 4000, a
    /// minute and a half for 20,000. Memory is linear.
    QList<GisShapeProblem> CheckShape(const Shapes::GisShape& shape) const;

    /// A sound shape of the same type with the same id and attributes: CheckShape() finds nothing in it.
    ///
    /// Vertices that are not finite, repeated vertices and spikes go, open rings are closed, parts with too
    /// few vertices left are dropped (the result may be empty), holes are wound opposite to their shell.
    /// Rings that still cross are taken apart: each ring covers what it goes round, shells are joined, holes
    /// taken out. Of two rings that overlap, one counts as a hole of the other when about half of the area
    /// that it goes round, or more, lies in that. A ring that crosses itself, as a bow tie does, can have
    /// holes and can be one. A shape without a problem comes back unchanged, bit for bit. The shape is null
    /// when the busy callback stops it.
    ///
    /// Vertices keep their bits. Where edges cross there is a new one, rounded to the nearest doubles, and an
    /// edge that passes a vertex by a few roundings goes through it: of rings that cross, what is no wider
    /// than that is gone. Only rings that cross again each time their crossings are rounded, as some do of
    /// which all edges nearly lie on one line, go onto a grid, mostly of 2^-46 of the largest coordinate; of
    /// nearly collinear rings about one in a thousand does.
    ///
    /// n log n time and linear memory, n being the edges and the pieces that they cut each other into: a
    /// crossing takes half a kilobyte, and MostCrossings() says how many there may be. To that comes a step
    /// for each pair of pieces that meet: about a second for a nearly collinear ring of 1200 vertices. (Equal
    /// rings and equal pieces count once.) Rings in one another take time quadratic in them, as in
    /// CheckShape().
    ///
    /// Coordinates of any finite size: where the largest is beyond 1e100 or below 1e-100, all are multiplied
    /// by a power of two for the time of the work, since products of them would overflow or underflow. That
    /// changes no bit as long as nonzero sizes are within a factor of 1e300; what is smaller beside the
    /// largest may become 0. New vertices below 1e-307 are rounded once more, and the result is sound all the
    /// same. Rings of a size below 1e-100 beside ordinary ones may get lost.
    ///
    /// \throws std::runtime_error "GisTopology::FixShape failed: there are more than 1000000 crossings.", or
    /// what MostCrossings() is; "... failed: rings still cross on a grid of 2^-18 of their coordinates.",
    /// which some rings bring about whose sizes differ by a factor of 1e180: on a coarser one the result
    /// would be another shape
    GisShapeFix FixShape(const Shapes::GisShape& shape) const;

    /// @}
    /// @name Splitting
    ///
    /// The pieces have the id and attributes of the shape and together are the shape. A vector without a
    /// piece is returned for an empty shape and when the busy callback stops the work. A line goes away by
    /// more than the tolerance before and behind a cut: of several between which it does not, the first one
    /// counts, and none where it does not before it starts or ends. So no piece stays in one place, but for
    /// a part that does.
    /// @{

    /// The parts of a polyline cut at the places nearest to the given points, as polylines of one part each.
    ///
    /// A point cuts each time the line passes it within the tolerance, at an existing vertex if one is that
    /// near, else at a new one; points farther away and empty ones do nothing, nor do cuts at the ends. To
    /// pass it anew the line has to be more than twice the tolerance away at a vertex in between. A
    /// closed line stays cut at its first vertex. Parts of fewer than two vertices are left out. Points and
    /// polygons come back as one copy.
    std::vector<std::unique_ptr<Shapes::GisShape>>
    SplitAtPoints(const Shapes::GisShape& line, const QList<Shapes::GisShapePoint>& points) const;

    /// A polyline cut wherever GetCrossings() finds it to meet the boundary of the other shape, or a polygon
    /// cut along a polyline.
    ///
    /// A polygon gives one polygon for each connected piece, with its holes wound opposite to the shell; the
    /// areas sum to that of the polygon. A line that does not cut a shell in two, because it ends inside,
    /// leaves its vertices as they are, bit for bit. A polygon with problems is fixed first, as by
    /// FixShape(). Coordinates may be of any finite size, those of the line of about the size of the
    /// polygon's; what is of a size below 1e-100 beside ordinary ones may get lost. Points come back as one
    /// copy. Each shell takes n log n time for itself, those segments of the line that meet its extent, and
    /// their crossings, of which there may be MostCrossings(). Crossings are rounded as by FixShape().
    /// \throws std::runtime_error "GisTopology::SplitByLine failed: ..." with what FixShape() says, or that
    /// there are more crossings than that
    std::vector<std::unique_ptr<Shapes::GisShape>> SplitByLine(const Shapes::GisShape& shape,
                                                               const Shapes::GisShape& line) const;

    /// A polyline cut wherever GetCrossings() finds it to meet itself. Where several of these places lie so
    /// near each other that one passage of the line is cut once for all of them, the pieces of the other
    /// passages end in that one place, too. Points and polygons come back as one copy.
    std::vector<std::unique_ptr<Shapes::GisShape>> SplitAtSelfCrossings(const Shapes::GisShape& line) const;

    /// @}
    /// @name Simplification
    /// @{

    /// What shape.simplify(tolerance) returns, with the busy callback asked on the way: null when it stops
    /// the work. Points, which do not simplify, come back as a copy. Shapes of classes other than the
    /// library's own are asked by their simplify(), which cannot be stopped. For the time see
    /// GisShapePolyline::simplifyDouglasPeucker().
    std::unique_ptr<Shapes::GisShape> Simplify(const Shapes::GisShape& shape, double tolerance) const;

    /// @}
    /// @name Buffers and hulls
    /// @{

    /// Everything within the distance of the shape, as a polygon with its id and attributes; with a negative
    /// distance the part of a polygon that is farther than that from its boundary. By GEOS; holes are wound
    /// opposite to their shell. At other distances than 0, fix a polygon with problems first: GEOS may leave
    /// out a part of it.
    ///
    /// A polygon without parts comes back for an empty shape, for points and lines at a distance of zero or
    /// below, and when nothing is left; a polygon at distance 0 comes back as from FixShape(). A one-sided
    /// buffer with a negative distance lies on the other side. Vertices that are not finite are left out.
    /// Coordinates and distance should be 0 or of a size from 1e-120 to 1e120: of others GEOS may return
    /// nothing. Null when the busy callback stops it, for which GEOS may take up to half the time of the
    /// whole. GEOS 3.11 then never frees the segments it was at: 28 KB for a line of 100 vertices.
    ///
    /// \throws std::invalid_argument "GisTopology::Buffer distance must be finite.", "GisTopology::Buffer
    /// quadrantSegments must be 1 to 1000.", "GisTopology::Buffer mitreLimit must be at least 1."
    /// \throws std::runtime_error "GisTopology::Buffer failed: ..." with what GEOS says, at distance 0
    /// with what FixShape() says
    std::unique_ptr<Shapes::GisShape> Buffer(const Shapes::GisShape& shape, double distance,
                                             const GisBufferStyle& style = {}) const;

    /// The smallest convex shape around all vertices: a polygon with one closed counterclockwise ring,
    /// without the vertices that lie on its edges; a polyline of the two ends when all vertices lie on a
    /// line; a point when there is one place; a polygon without parts when there is none.
    ///
    /// Exact: the tolerance is not used, and orientation is computed without rounding as long as products of
    /// coordinates neither overflow nor underflow. Vertices that are NaN or infinite are left out. Id and
    /// attributes are those of the shape. Null when the busy callback stops it. n log n by Andrew's monotone
    /// chain (1979).
    std::unique_ptr<Shapes::GisShape> ConvexHull(const Shapes::GisShape& shape) const;
    /// Around both, with the id and attributes of a.
    std::unique_ptr<Shapes::GisShape> ConvexHull(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    /// Around all, with the id and attributes of the first. Null entries are skipped; the busy callback is
    /// asked before each. A list without a shape gives a polygon without parts.
    std::unique_ptr<Shapes::GisShape> ConvexHull(const QList<const Shapes::GisShape*>& shapes) const;

    /// @}
    /// @name Measures
    ///
    /// Polygons are areas, less their holes: nesting tells the two apart. That differs from the predicates,
    /// to which a hole belongs to its polygon.
    /// @{

    /// How far apart two shapes are; 0 when they meet or one lies in the other, infinity when either is empty
    /// or the busy callback stops it. A line has a gap where a vertex is not finite, a ring is closed over
    /// it. Coordinates should be 0 or of a size from 1e-100 to 1e100: squares of others may overflow or
    /// underflow, and the distance be wrong.
    ///
    /// Looks at few pairs of segments: about n log n time, also for thousands of parts or rings and for rings
    /// whose long spikes lie side by side, and linear memory; quadratic where most pairs are about equally
    /// near.
    double Distance(const Shapes::GisShape& a, const Shapes::GisShape& b) const;

    /// The same, and a pair of points that far apart. The shapes themselves are compared, not with a
    /// tolerance.
    GisNearestPoints NearestPoints(const Shapes::GisShape& a, const Shapes::GisShape& b) const;

    /// Of all lines, or round all rings, in coordinate units. 0 for points; NaN with a vertex that is not
    /// finite, infinity where the length is more than a double can hold.
    static double Length(const Shapes::GisShape& shape);

    /// In square coordinate units, never negative, whichever way rings run; 0 for points and lines. Computed
    /// relative to each ring, so that small shapes far from the origin keep their digits. NaN with a vertex
    /// that is not finite, infinity where the area is more than a double can hold. Rings that cross give no
    /// meaningful area: each counts by its signed area, as shell or hole by what it goes round, and a sum
    /// below 0 is 0; each is compared with all that it crosses, which takes time. Fix the shape first.
    static double Area(const Shapes::GisShape& shape);

    /// Length in metres on the ellipsoid of the system. A projected system's coordinates are first taken to
    /// its geographic system, vertex by vertex; across the antimeridian and round a pole they go on as they
    /// do on the plane.
    ///
    /// Segments are geodesics, the shortest way on the ellipsoid. Geographic longitudes may lie beyond 180
    /// degrees and mean what they mean on a plane: a segment from 170 to 190 crosses the antimeridian, one
    /// from 170 to -170 goes round the other way. Segments of more than 90 degrees of longitude are cut into
    /// equal pieces, straight on the plane of the system. NaN with a vertex that is not finite or beyond a
    /// pole. By C. Karney's algorithms for geodesics (2013), through PROJ. \throws std::runtime_error what
    /// CoordinateTransformer throws for systems and points it cannot use
    static double GeodesicLength(const Shapes::GisShape& shape,
                                 const CoordinateSystems::CoordinateSystem& system);

    /// Area in square metres on the ellipsoid, never negative; see GeodesicLength() for what edges are. In
    /// a geographic system, a polygon around a pole has to run along it, as on a map: from (-180, -90) to
    /// (180, -90), and one across the antimeridian is right with longitudes beyond 180 and when cut in two
    /// there. NaN as the length.
    static double GeodesicArea(const Shapes::GisShape& shape,
                               const CoordinateSystems::CoordinateSystem& system);

    /// A point of the shape that is not at its edge: inside a polygon and off its holes, halfway along the
    /// longest part of a line, the point itself. Of several areas it lies in the largest, in one of its wider
    /// places. It lies in what FixShape() would make of the shape, also of rings that cross themselves or go
    /// round a place twice, and is tried by exact orientation; only where no number lies between the edges,
    /// it is beside them by a rounding. Empty for an empty shape and for a polygon that encloses nothing, as
    /// when each of its edges is gone over twice. Coordinates of any finite size. Vertices that are not
    /// finite are left out. Linear but for sorting, mostly; where the widest strips hold but spikes, the time
    /// of FixShape() is added.
    static Shapes::GisShapePoint PointOnSurface(const Shapes::GisShape& shape);

    /// @}

private:
    double m_tolerance = 1e-9;
    bool m_forceShapeFixing = false;
    int m_mostCrossings = 1'000'000;
    bool m_overlayFallback = false;
    GisOverlayEngine m_overlayEngine = GisOverlayEngine::PainterPath;
    std::function<bool(int, int)> m_busyCallback;
    const Shapes::GisShape* m_relatePrepared = nullptr;
};

} // namespace Cartolith::Core::Topology
