#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Topology/GisBoundaryPosition.h>

namespace Cartolith::Core::Topology {

/// How two boundaries meet at a place. "At" means within the tolerance.
enum class GisCrossingKind : qint32 {
    Crossing = 0,     ///< inside a segment of each
    Vertex = 1,       ///< at a vertex of one or both; whether they cross or only touch there is not told
    EndTouch = 2,     ///< at an end of an open line of one or both, or at a point
    OverlapStart = 3, ///< where a stretch common to both begins, along the first shape
    OverlapEnd = 4,   ///< where it ends
};

/// A place where the boundaries of two shapes meet, or one boundary meets itself.
struct GisCrossing {
    Shapes::GisShapePoint point; ///< where there is a vertex, that vertex
    GisCrossingKind kind = GisCrossingKind::Crossing;
    GisBoundaryPosition position; ///< along the first shape
    GisBoundaryPosition other;    ///< along the second; for one shape with itself, of the later passage
};

} // namespace Cartolith::Core::Topology

Q_DECLARE_TYPEINFO(Cartolith::Core::Topology::GisCrossing, Q_RELOCATABLE_TYPE);
