#pragma once

#include <Cartolith/Core/Shapes/PlaceWindingsInternal.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

/// The number of a place that rings, told apart by nesting, cover, if they cover one; of places on an edge
/// either may be said. Coordinates have to be below 1e200. Nesting is asked of the rings around the first
/// place that any goes round, and of all where these do not cover it and there are more such places. n log n.
/// \throws Stopped
std::optional<std::size_t> coveredPlace(const QList<Shapes::Internal::Ring>& rings,
                                        const std::vector<Shapes::Internal::PlaceWindings::Place>& places,
                                        Work& work);

} // namespace Cartolith::Core::Topology::Internal
