#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/NodingInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

namespace Cartolith::Core::Topology::Internal {

/// What rings cover that cross each other: each ring covers what it goes round, shells are joined, holes
/// taken out of their shell. As rings that meet in points at most, shells counterclockwise.
///
/// Nothing is rounded but by nodedLines(), which also says what rings it takes. n log n for the n pieces
/// into which the rings cut each other. \throws Stopped, NotNoded
QList<Shapes::Internal::Ring> validArea(const QList<Shapes::Internal::Ring>& rings, const NodingGrid& grid,
                                        Work& work);

} // namespace Cartolith::Core::Topology::Internal
