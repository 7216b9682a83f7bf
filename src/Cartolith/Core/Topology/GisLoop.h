#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Topology/GisBoundaryPosition.h>

namespace Cartolith::Core::Topology {

/// A stretch of a line or ring that leaves a place and comes back to it.
///
/// The vertices of the loop are those behind `start` up to `end`, without those of other loops on the way,
/// which are loops of their own. In a ring `end` may stand before `start`: the loop then runs over the ring's
/// first vertex.
struct GisLoop {
    Shapes::GisShapePoint place; ///< where the loop begins and ends
    GisBoundaryPosition start;   ///< where the line comes to the place
    GisBoundaryPosition end;     ///< where it comes to it again
    double area = 0.0;           ///< enclosed by the loop, never negative
    double length = 0.0;         ///< of its way round
};

} // namespace Cartolith::Core::Topology

Q_DECLARE_TYPEINFO(Cartolith::Core::Topology::GisLoop, Q_RELOCATABLE_TYPE);
