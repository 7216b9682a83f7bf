#pragma once

#include <Cartolith/Core/Shapes/PlaceWindingsInternal.h>
#include <Cartolith/Core/Topology/EdgeMapInternal.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

/// What a ring is to a polygon.
struct RingRole {
    std::size_t polygon;
    bool isHole;
};

/// Polygons of which each covers what its shell goes round and no hole of its does.
struct Cover {
    QList<Shapes::Internal::Ring> rings;
    std::vector<std::vector<RingRole>> roles; ///< of the rings
    std::size_t polygons = 0;
};

/// Of rings told apart by nesting. Each ring once, in whatever polygons it is a shell or a hole: the edges
/// that run along each other would be as many as the square of its copies.
Cover coverOf(const QList<Shapes::Internal::Ring>& rings);

/// The number of a place that is covered, if one is; of places on an edge either may be said. Coordinates
/// have to be below 1e200. n log n. \throws Stopped
std::optional<std::size_t> coveredPlace(const Cover& cover,
                                        const std::vector<Shapes::Internal::PlaceWindings::Place>& places,
                                        Work& work);

/// Whether what lies left of each half edge is covered. `noded` are the rings with vertices where they meet,
/// as many as there are roles for, and what else the map was made of. Exact: nothing is rounded.
/// n log n. \throws Stopped
std::vector<bool> coveredSides(const Cover& cover, const QList<Shapes::Internal::Ring>& noded,
                               const EdgeMap& map, Work& work);

} // namespace Cartolith::Core::Topology::Internal
