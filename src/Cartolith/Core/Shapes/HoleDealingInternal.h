#pragma once

#include <vector>

namespace Cartolith::Core::Shapes::Internal {

struct DirectedRing {
    int number;    ///< in the order in which rings are stored
    int direction; ///< 1 counterclockwise, -1 clockwise, 0 where the signed area does not tell
};

/// To which of some equal shells, one at least, each of some equal rings in them belongs as a hole, by the
/// shell's number; -1 for an island that fills the hole. Both lists are in the order of the numbers.
///
/// A shell takes a hole that runs against it, each shell one. Of the others those that run against the first
/// hole are islands. What is left are holes of the shells still without one, or else holes stored once more.
/// Of several shells a hole goes to the one stored last before it if that is free, as polygons are stored
/// one after the other, else to the first that is. n log n.
std::vector<int> dealHoles(const std::vector<DirectedRing>& rings, const std::vector<DirectedRing>& shells);

} // namespace Cartolith::Core::Shapes::Internal
