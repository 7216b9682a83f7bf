#pragma once

#include <Cartolith/Core/Topology/EdgeMapInternal.h>

namespace Cartolith::Core::Topology::Internal {

/// The faces of a map as polygons: of each the ring around it, then those around its holes. A face is given
/// by the number left of its half edges, as EdgeMap::faces() has them, or EdgeMap::noArea where it is left
/// out.
///
/// Exact, however thin a face is: which ring is a shell shows in the way it turns, whose hole another one is
/// in the face that it bounds, or, of a piece of the map that lies in a face by itself, in the windings
/// around it. n log n. \throws Stopped
QList<QList<Shapes::Internal::Ring>> facePolygons(const EdgeMap& map, const std::vector<int>& faces,
                                                  Work& work);

} // namespace Cartolith::Core::Topology::Internal
