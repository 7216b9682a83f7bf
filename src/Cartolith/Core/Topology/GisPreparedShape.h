#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <memory>

namespace Cartolith::Core::Topology {

/// One shape made ready for many questions: the predicates of GisTopology with that shape as `a`.
///
/// Each answer is exactly the one of the GisTopology object that was given, for every input; what differs is
/// the time. Preparing takes about as long as one or two single questions, and memory of some 24 bytes for
/// each vertex. Then a question about another shape takes time in proportion to that shape's vertices, and
/// ContainsPoint() of a ring time in proportion to the logarithm of its vertices, where a single question
/// looks at all of them.
///
/// The coordinates are copied: the shape may change or go away afterwards, and the answers remain those of
/// the shape as it was. The exception is a shape of a class derived from GisShapePoint, GisShapePolyline or
/// GisShapePolygon, or of none of these: it is asked by its own contains() and isEmpty(), so it must stay as
/// it is as long as this object is used. Settings and busy callback of the GisTopology object are copied too.
///
/// Threads: the const members may run at the same time on several threads. After a move, the source may only
/// be assigned to or destroyed.
class CARTOLITH_CORE_EXPORT GisPreparedShape {
public:
    explicit GisPreparedShape(const Shapes::GisShape& shape, const GisTopology& topology = GisTopology());
    GisPreparedShape(GisPreparedShape&& other) noexcept;
    GisPreparedShape& operator=(GisPreparedShape&& other) noexcept;
    ~GisPreparedShape();

    double Tolerance() const noexcept;

    /// The answer of GisTopology::ContainsPoint for the shape and the tolerance. Never stopped.
    bool ContainsPoint(const Shapes::GisShapePoint& p) const;
    /// The answer of GisTopology::PointOnBoundary for the shape and the tolerance. Never stopped.
    bool PointOnBoundary(const Shapes::GisShapePoint& p) const;

    bool Disjoint(const Shapes::GisShape& b) const;
    bool Intersect(const Shapes::GisShape& b) const;
    bool Cross(const Shapes::GisShape& b) const;
    bool Equality(const Shapes::GisShape& b) const;
    bool Touch(const Shapes::GisShape& b) const;
    bool Within(const Shapes::GisShape& b) const;
    bool Contains(const Shapes::GisShape& b) const;
    bool Overlap(const Shapes::GisShape& b) const;
    QString Relate(const Shapes::GisShape& b) const;
    bool Relate(const Shapes::GisShape& b, const QString& pattern) const;

private:
    class Data;
    std::unique_ptr<const Data> m_data;
};

} // namespace Cartolith::Core::Topology
