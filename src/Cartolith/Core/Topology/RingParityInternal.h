#pragma once

#include <Cartolith/Core/Topology/BoundaryInternal.h>

namespace Cartolith::Core::Topology::Internal {

/// Whether a place lies in an odd number of rings, which makes it inside a polygon with holes and islands.
/// The answer is the parity of GisShapePolygon::pointInPolygon() over all rings, to the last bit; mostly in
/// logarithmic time, however many rings there are.
///
/// The rings are closed and finite, and the boxes bare. \throws Stopped
bool isInOddNumberOfRings(const Boundary& rings, Position p, Work& work);

} // namespace Cartolith::Core::Topology::Internal
