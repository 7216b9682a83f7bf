#pragma once

#include <QTypeInfo>

namespace Cartolith::Core::Topology {

/// A place along the boundary of a shape: how far along which segment of which part.
///
/// Segment i of a part runs from vertex i to vertex i + 1; in a ring stored without its closing vertex the
/// last segment runs back to vertex 0. A point and a part of one vertex have one segment without length. A
/// place at a vertex is given as the start of the segment behind it, at the end of an open line as fraction 1
/// of the last segment.
struct GisBoundaryPosition {
    int part = -1; ///< -1: no place
    int segment = 0;
    double fraction = 0.0; ///< 0 at the start of the segment, 1 at its end
};

} // namespace Cartolith::Core::Topology

Q_DECLARE_TYPEINFO(Cartolith::Core::Topology::GisBoundaryPosition, Q_RELOCATABLE_TYPE);
