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
        const Touch touch(place.x, place.y, ring);
        const Touch its(place.x, place.y, other);
        if (touch != m_last || its != m_lastOther) { // up to four segments meet there
            m_touches.insert(touch);
            m_touches.insert(its);
            m_last = touch;
            m_lastOther = its;
        }
    }

    /// By what is around each ring.
    void findCuts(const QList<Shapes::Internal::RingNest>& nests, ProblemList& problems) const;

private:
    using Touch = std::tuple<double, double, int>; ///< place and ring

    std::set<Touch> m_touches;
    Touch m_last{0.0, 0.0, -1};
    Touch m_lastOther{0.0, 0.0, -1};
};

} // namespace Cartolith::Core::Topology::Internal
