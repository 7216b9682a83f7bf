#pragma once

#include <Cartolith/Core/Shapes/OrientationInternal.h>
#include <Cartolith/Core/Shapes/PlaceWindingsInternal.h>

namespace Cartolith::Core::Topology::Internal {

using Shapes::Internal::orientation;

/// Whether an edge that crosses the height of a place does so left of it, exactly, of places moved to the
/// left by as little as need be.
inline bool passesLeftOf(const Shapes::GisShapePoint& a, const Shapes::GisShapePoint& b,
                         const Shapes::Internal::PlaceWindings::Place& place) {
    const int side = orientation(a.x(), a.y(), b.x(), b.y(), place.x, place.y);
    return b.y() > a.y() ? side < 0 : side > 0;
}

} // namespace Cartolith::Core::Topology::Internal
