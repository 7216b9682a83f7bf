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

    double Tolerance() const noexcept { return m_tolerance; }
    /// A negative tolerance and NaN become 0.
    void SetTolerance(double tolerance) noexcept { m_tolerance = tolerance > 0.0 ? tolerance : 0.0; }

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
    /// @{

    static bool CloseTo(double a, double b, double tolerance) noexcept;
    static bool SamePoint(const Shapes::GisShapePoint& a, const Shapes::GisShapePoint& b,
                          double tolerance) noexcept;
    static double Cross(const Shapes::GisShapePoint& o, const Shapes::GisShapePoint& a,
                        const Shapes::GisShapePoint& b) noexcept;
    static double DistancePointToSegment(const Shapes::GisShapePoint& p, const Shapes::GisShapePoint& a,
                                         const Shapes::GisShapePoint& b) noexcept;
    static bool PointOnSegment(const Shapes::GisShapePoint& p, const Shapes::GisShapePoint& a,
                               const Shapes::GisShapePoint& b, double tolerance) noexcept;
    static bool SegmentIntersectionPoint(const Shapes::GisShapePoint& p1, const Shapes::GisShapePoint& p2,
                                         const Shapes::GisShapePoint& q1, const Shapes::GisShapePoint& q2,
                                         double tolerance, Shapes::GisShapePoint* out);
    static bool ProperSegmentIntersection(const Shapes::GisShapePoint& p1, const Shapes::GisShapePoint& p2,
                                          const Shapes::GisShapePoint& q1, const Shapes::GisShapePoint& q2,
                                          double tolerance);

    /// @}
    /// @name Shapes against points and each other
    /// @{

    static QList<QList<Shapes::GisShapePoint>> BoundaryPartsOf(const Shapes::GisShape& shape);
    static QList<Shapes::GisShapePoint> VerticesOf(const Shapes::GisShape& shape);
    static bool ContainsPoint(const Shapes::GisShape& shape, const Shapes::GisShapePoint& p,
                              double tolerance);
    static bool PointOnBoundary(const Shapes::GisShape& shape, const Shapes::GisShapePoint& p,
                                double tolerance);
    static bool BoundariesIntersect(const Shapes::GisShape& a, const Shapes::GisShape& b, double tolerance,
                                    bool properOnly);
    static bool ShapeWithin(const Shapes::GisShape& a, const Shapes::GisShape& b, double tolerance);
    static bool HasInteriorPointInOther(const Shapes::GisShape& a, const Shapes::GisShape& b,
                                        double tolerance);
    static bool SameGeometry(const Shapes::GisShape& a, const Shapes::GisShape& b, double tolerance);
    static bool RelationMatches(const QString& matrix, const QString& pattern);

    /// @}
    /// @name Predicates
    /// @{

    bool Disjoint(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    bool Intersect(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    bool Cross(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    bool Equality(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    bool Touch(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    bool Within(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    bool Contains(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    bool Overlap(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    QString Relate(const Shapes::GisShape& a, const Shapes::GisShape& b) const;
    bool Relate(const Shapes::GisShape& a, const Shapes::GisShape& b, const QString& pattern) const;
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
