#pragma once

#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>

#include <optional>

namespace Cartolith::Core::Topology::Internal {

/// What GetCrossings() returns; of a list with itself the crossings of the one shape. Nothing when the busy
/// callback stops it.
std::optional<QList<GisCrossing>> crossingsOf(const SegmentList& a, const SegmentList& b,
                                              const GisTopology& topology);

} // namespace Cartolith::Core::Topology::Internal
