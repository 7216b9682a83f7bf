#pragma once

#include <Cartolith/Core/Topology/SegmentListInternal.h>
#include <Cartolith/Core/Topology/SegmentTestsInternal.h>

#include <array>

namespace Cartolith::Core::Topology::Internal {

inline Shapes::GisShapePoint pointOf(Position position) {
    return {position.x, position.y};
}

/// How two segments meet, without rounding.
struct SegmentMeeting {
    enum class Kind {
        None,
        Touch, ///< in an end of one of them
        Cross, ///< in a place that is no end of either, but for rounding
        Along, ///< in a stretch
    };
    Kind kind = Kind::None;
    int count = 0; ///< of the places: two ends of a stretch
    /// Ends as they are; a crossing is rounded.
    std::array<Position, 2> places{};
};

/// Exact but for the place of a crossing. The segments have a length.
SegmentMeeting meetingOf(const Segment& a, const Segment& b);

} // namespace Cartolith::Core::Topology::Internal
