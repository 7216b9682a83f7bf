#pragma once

#include <Cartolith/Core/Topology/BoundaryInternal.h>

namespace Cartolith::Core::Topology::Internal {

/// The answer of BoundariesIntersect for two boundaries of the same tolerance. \throws Stopped
bool boundariesMeet(const Boundary& a, const Boundary& b, bool properOnly, Work& work);

/// What boxes cannot find: two segments that "meet" because their denominator is noise, and yet larger than
/// the tolerance. They lie on one line, anywhere on it. Finds every such pair of regular boundaries, and
/// tests it. Only segments long against the tolerance can do that, |r| |s| > tol / 4.3e-14; if there are none
/// this takes no time, else time in proportion to the segments, plus sorting of those whose direction occurs
/// in both. \throws Stopped
bool noiseMeets(const Boundary& a, const Boundary& b, bool properOnly, Work& work);

/// One pair, tested as it is.
inline bool pairMeets(const Boundary& a, qsizetype i, const Boundary& b, qsizetype j,
                      bool properOnly) noexcept {
    return properOnly ? segmentsMeetProperly(a.vertex(i), a.vertex(i + 1), b.vertex(j), b.vertex(j + 1),
                                             a.tolerance())
                      : segmentsMeet(a.vertex(i), a.vertex(i + 1), b.vertex(j), b.vertex(j + 1),
                                     a.tolerance(), nullptr);
}

} // namespace Cartolith::Core::Topology::Internal
