#pragma once

#include <Cartolith/Core/Topology/RingTouchesInternal.h>

namespace Cartolith::Core::Topology::Internal {

/// Where clean rings meet themselves or each other as they must not. `partOf` gives the part that each ring
/// was, by which it is reported. Returns where they touch as they may, which is told when there is nothing to
/// report. n log n in any order of the rings, and a step for each pair of segments near each other.
/// \throws Stopped
RingTouches findRingCrossings(const QList<Shapes::Internal::Ring>& rings, const QList<int>& partOf,
                              const GisTopology& topology, ProblemList& problems);

} // namespace Cartolith::Core::Topology::Internal
