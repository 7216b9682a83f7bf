#include <Cartolith/Core/Topology/OrientationInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/SegmentMeetingInternal.h>

#include <algorithm>
#include <utility>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShapePoint;

namespace {

bool liesBetween(const GisShapePoint& p, const GisShapePoint& a, const GisShapePoint& b) {
    return std::min(a.x(), b.x()) <= p.x() && p.x() <= std::max(a.x(), b.x()) &&
           std::min(a.y(), b.y()) <= p.y() && p.y() <= std::max(a.y(), b.y());
}

} // namespace

SegmentMeeting meetingOf(const Segment& a, const Segment& b) {
    using Kind = SegmentMeeting::Kind;
    if ((isSamePlace(*a.start, *b.start) && isSamePlace(*a.end, *b.end)) ||
        (isSamePlace(*a.start, *b.end) && isSamePlace(*a.end, *b.start))) {
        return {Kind::Along, 2, {positionOf(*a.start), positionOf(*a.end)}};
    }
    // One end in common: very often, and of points on one line exact orientation is slow.
    for (const auto& [end, other] : {std::pair(a.start, a.end), std::pair(a.end, a.start)}) {
        const bool isStart = isSamePlace(*end, *b.start);
        if ((isStart || isSamePlace(*end, *b.end)) &&
            orientation(*end, *other, isStart ? *b.end : *b.start) != 0) {
            return {Kind::Touch, 1, {positionOf(*end)}};
        }
    }
    const int a1 = orientation(*b.start, *b.end, *a.start);
    const int a2 = orientation(*b.start, *b.end, *a.end);
    const int b1 = orientation(*a.start, *a.end, *b.start);
    const int b2 = orientation(*a.start, *a.end, *b.end);
    if (a1 * a2 > 0 || b1 * b2 > 0) {
        return {};
    }
    if (a1 * a2 < 0 && b1 * b2 < 0) {
        return {
            Kind::Cross,
            1,
            {crossingOf(positionOf(*a.start), positionOf(*a.end), positionOf(*b.start), positionOf(*b.end))}};
    }
    SegmentMeeting meeting;
    const auto take = [&meeting](const GisShapePoint& p, int side, const GisShapePoint& from,
                                 const GisShapePoint& to) {
        const bool isFound = meeting.count > 0 && isSamePlace(pointOf(meeting.places[0]), p);
        if (side == 0 && liesBetween(p, from, to) && !isFound && meeting.count < 2) {
            meeting.places[static_cast<std::size_t>(meeting.count++)] = positionOf(p);
            meeting.kind = meeting.count == 1 ? Kind::Touch : Kind::Along;
        }
    };
    take(*a.start, a1, *b.start, *b.end);
    take(*a.end, a2, *b.start, *b.end);
    take(*b.start, b1, *a.start, *a.end);
    take(*b.end, b2, *a.start, *a.end);
    return meeting;
}

} // namespace Cartolith::Core::Topology::Internal
