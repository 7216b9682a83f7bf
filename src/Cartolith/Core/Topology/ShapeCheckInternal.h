#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <array>
#include <cstddef>

namespace Cartolith::Core::Topology::Internal {

/// Collects problems, a thousand of each kind at most.
class ProblemList {
public:
    void add(GisShapeProblemKind kind, const Shapes::GisShapePoint& place, int part, int vertex,
             const QString& detail = {});
    /// True when there is no room for another of the kind.
    bool isFull(GisShapeProblemKind kind) const noexcept {
        return m_counts[static_cast<std::size_t>(kind)] >= 1000;
    }
    const QList<GisShapeProblem>& problems() const noexcept { return m_problems; }
    bool has(GisShapeProblemKind kind) const noexcept { return m_counts[static_cast<std::size_t>(kind)] > 0; }

private:
    QList<GisShapeProblem> m_problems;
    std::array<int, 11> m_counts{};
};

/// What FixShape() did about a problem of the kind, as a sentence.
QString remedyOf(GisShapeProblemKind kind);

/// The part without what is wrong with its vertices alone: not finite, repeated, spikes, an open ring. Empty
/// when there are too few left.
Shapes::Internal::Ring cleanLine(const QList<Shapes::GisShapePoint>& line, int part, ProblemList& problems);
Shapes::Internal::Ring cleanRing(const QList<Shapes::GisShapePoint>& ring, int part, ProblemList& problems);

/// Rings wound the other way than nesting asks for, which are reversed in place. The largest one is right.
void windByNesting(QList<Shapes::Internal::Ring>& rings, const QList<Shapes::Internal::RingNest>& nests,
                   const QList<int>& partOf, ProblemList& problems);

/// What FixShape() returns. Vertices made where rings cross are multiples of `cell`, of which all coordinates
/// are, unless that is 0. \throws Stopped; std::runtime_error of which the text begins with `failing`
GisShapeFix fixedShape(const Shapes::GisShape& shape, const GisTopology& topology, const char* failing,
                       double cell = 0.0);

} // namespace Cartolith::Core::Topology::Internal
