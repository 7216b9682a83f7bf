#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>

namespace Cartolith::Core::Topology::Internal {

/// A place that a shell goes round and none of its holes, and that lies on no edge of theirs, told exactly:
/// in the largest such area, in one of its wider places. Where no number lies between the edges, the place is
/// beside them by a rounding. Empty when the rings cover nothing.
///
/// Vertices are finite, of a size of 1e-100 to 1e100. Linear but for sorting where the widest places are in
/// the highest strips without a vertex, as mostly; else the time of validArea() is added.
Shapes::GisShapePoint pointInside(const QList<Shapes::Internal::Ring>& rings);

} // namespace Cartolith::Core::Topology::Internal
