#pragma once

#include <Cartolith/Core/Topology/CoverInternal.h>
#include <Cartolith/Core/Topology/EdgeMapInternal.h>

#include <vector>

namespace Cartolith::Core::Topology::Internal {

/// Whether what lies left of each half edge is covered. `noded` are the rings with vertices where they meet,
/// as many as there are roles for, and what else the map was made of. Exact: nothing is rounded.
/// n log n. \throws Stopped
std::vector<bool> coveredSides(const Cover& cover, const QList<Shapes::Internal::Ring>& noded,
                               const EdgeMap& map, Work& work);

} // namespace Cartolith::Core::Topology::Internal
