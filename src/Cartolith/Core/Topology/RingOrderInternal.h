#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/SegmentTestsInternal.h>

#include <vector>

namespace Cartolith::Core::Topology::Internal {

/// The numbers of the places along a Hilbert curve: boxes around what follows each other are small.
std::vector<int> alongCurve(const std::vector<Position>& places);

/// The same of lines or rings, by a vertex of each. Empty ones come anywhere.
std::vector<int> alongCurve(const QList<Shapes::Internal::Ring>& lines);

/// The lines of the numbers.
QList<Shapes::Internal::Ring> inOrder(const QList<Shapes::Internal::Ring>& lines,
                                      const std::vector<int>& order);

} // namespace Cartolith::Core::Topology::Internal
