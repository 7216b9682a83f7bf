#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

namespace Cartolith::Core::Topology::Internal {

/// What rings cover that cross each other: each ring covers what it goes round, shells are joined, holes
/// taken out of their shell. As rings that meet in points at most, shells counterclockwise.
///
/// The rings are noded, which is the only place where something is rounded (nodedLines(), also for
/// `coarseness`). What the pieces between them are covered by follows from going over one edge after the
/// other, and the edges between covered and not covered are what is returned. n log n for all pieces of
/// edges, 
/// \throws Stopped, TooManyCrossings
QList<Shapes::Internal::Ring> validArea(const QList<Shapes::Internal::Ring>& rings, int coarseness,
                                        Work& work);

} // namespace Cartolith::Core::Topology::Internal
