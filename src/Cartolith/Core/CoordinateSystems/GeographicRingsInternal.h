#pragma once

#include <Cartolith/Core/CoordinateSystems/DomainCutInternal.h>

#include <span>
#include <vector>

namespace Cartolith::Core::CoordinateSystems::Internal {

/// What has to be known of longitudes in degrees before lines and rings are cut: that they come round again.

/// Degrees (two metres) within which vertices count as on the end of a map: data are not exact there.
inline constexpr double seamCloseness = 2e-5;

/// An edge over more than 350 degrees of longitude goes the short way, and what follows is moved by a turn;
/// but one over 360 degrees is what it is, the edge of a whole map.
void goShortWay(std::vector<DomainCut::Vertex>& path);

/// Adds the way over a pole to a ring that has gone round once: over the one on whose side most of it lies.
void closeOverPole(std::vector<DomainCut::Vertex>& ring);

/// Takes edges along the two ends of the map and along its poles out of rings that reach around the whole
/// earth (along a pole: also within 0.2 degrees of it), and joins what meets there: two halves of a country
/// become one ring, and one around a pole goes once round without its way to the pole. Ends that nothing
/// meets keep their edges. Only where the ends of the map have the longitudes `seam` and 360 degrees more.
std::vector<std::vector<DomainCut::Vertex>>
joinedAcross(double seam, const std::vector<std::vector<DomainCut::Vertex>>& rings);

/// Whether the place is in an odd number of the closed rings.
bool isInOdd(const std::vector<std::vector<DomainCut::Vertex>>& rings, const DomainCut::Vertex& place);

} // namespace Cartolith::Core::CoordinateSystems::Internal
