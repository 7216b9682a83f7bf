#pragma once

#include <Cartolith/Core/Topology/OutlineInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

namespace Cartolith::Core::Topology::Internal {

struct CommonArea {
    /// The integral over the plane of the product of both winding numbers, each ring counted by its factor:
    /// the area of the intersection when no ring crosses itself or another of its polygon. NaN when products
    /// underflow, so that sides cannot be told.
    long double area = 0.0L;
    double length = 0.0; ///< of the edges near which the polygons can meet, in both of them
};

/// What two polygons have in common, without making it.
///
/// By Green's theorem the integral is one along the edges, each piece weighted with the winding number of the
/// other polygon there, which changes where edges cross. Whether they do is decided exactly, with b moved by
/// an infinitesimal amount (Edelsbrunner and Muecke, 1990), so that nothing touches or coincides; the area
/// does not notice. Crossings themselves are rounded, and both edges use the same, which leaves an error of
/// the size of rounding.
///
/// One pass over the vertices, then only edges that meet the common extent count; these are searched in boxes
/// over consecutive ones. A ring within the common extent needs its first vertex' winding number, for which
/// the other's rings are searched (PlaceWindings). \throws Stopped
CommonArea commonArea(const Outline& a, const Outline& b, Work& work);

} // namespace Cartolith::Core::Topology::Internal
