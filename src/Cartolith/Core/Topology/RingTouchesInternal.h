#pragma once

#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Topology/SegmentTestsInternal.h>
#include <Cartolith/Core/Topology/ShapeCheckInternal.h>

#include <set>
#include <tuple>

namespace Cartolith::Core::Topology::Internal {

/// Where rings touch each other that meet in points only, and whether an area is cut in two by that.
///
/// It is when one can go round over rings of one polygon from place to place and come back another way than
/// by the place just left. What is kept is linear in the vertices: of the rings that go through a place only
/// one can do so between two vertices of its own.
class RingTouches {
public:
    void add(Position place, int ring, int other) {
        m_touches.emplace(place.x, place.y, ring);
        m_touches.emplace(place.x, place.y, other);
    }

    /// By what is around each ring.
    void findCuts(const QList<Shapes::Internal::RingNest>& nests, ProblemList& problems) const;

private:
    std::set<std::tuple<double, double, int>> m_touches; ///< place and ring
};

} // namespace Cartolith::Core::Topology::Internal
