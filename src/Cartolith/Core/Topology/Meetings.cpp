#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/MeetingsInternal.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShapePoint;

namespace {

/// The end of a ring is its start. True when that was so.
bool wrap(const SegmentList& boundary, GisBoundaryPosition& at) {
    const SegmentPart& part = boundary.partOf(at);
    const bool wraps = at.fraction == 1.0 && part.isClosed && at.segment + 1 == part.segmentCount();
    if (wraps) {
        at.segment = 0;
        at.fraction = 0.0;
    }
    return wraps;
}

} // namespace

bool MeetingRules::same(const GisShapePoint& a, const GisShapePoint& b) const {
    return GisTopology::SamePoint(a, b, m_tolerance);
}

GisBoundaryPosition MeetingRules::positionOn(const SegmentList& boundary, const Segment& segment,
                                             const GisShapePoint& p) const {
    GisBoundaryPosition at{segment.part, segment.index,
                           Internal::fractionAlong(p, *segment.start, *segment.end)};
    if (same(p, *segment.start)) {
        at.fraction = 0.0;
    } else if (same(p, *segment.end)) {
        at.fraction = 1.0;
        if (segment.index + 1 < boundary.partOf(at).segmentCount()) {
            ++at.segment;
            at.fraction = 0.0;
        }
    }
    return at;
}

GisCrossing MeetingRules::crossingAt(const Segment& a, const Segment& b, const GisShapePoint& p,
                                     GisCrossingKind kind) const {
    GisCrossing crossing{{p.x(), p.y()}, kind, positionOn(m_first, a, p), positionOn(m_second, b, p)};
    for (const GisShapePoint* vertex : {a.start, a.end, b.start, b.end}) {
        if (same(p, *vertex)) {
            crossing.point = GisShapePoint(vertex->x(), vertex->y());
            break;
        }
    }
    return crossing;
}

bool MeetingRules::isAtEnd(const SegmentList& boundary, const Segment& segment,
                           const GisShapePoint& p) const {
    const SegmentPart& part = boundary.parts()[static_cast<std::size_t>(segment.part)];
    return !part.isClosed && ((segment.index == 0 && same(p, *segment.start)) ||
                              (segment.index + 1 == part.segmentCount() && same(p, *segment.end)));
}

std::optional<MeetingRules::Meeting> MeetingRules::meetingOf(std::size_t i, std::size_t j) const {
    const Segment& a = m_first.segments()[i];
    const Segment& b = m_second.segments()[j];
    GisShapePoint p;
    if (!GisTopology::SegmentIntersectionPoint(*a.start, *a.end, *b.start, *b.end, m_tolerance, &p)) {
        return std::nullopt;
    }
    if (auto stretch = stretchOf(a, b)) {
        return stretch;
    }
    const auto atVertex = [&](const Segment& segment) {
        return same(p, *segment.start) || same(p, *segment.end);
    };
    Meeting meeting{crossingAt(a, b, p, GisCrossingKind::Crossing), std::nullopt};
    if (isAtEnd(m_first, a, p) || isAtEnd(m_second, b, p)) {
        meeting.at.kind = GisCrossingKind::EndTouch;
    } else if (atVertex(a) || atVertex(b)) {
        meeting.at.kind = GisCrossingKind::Vertex;
    }
    meeting.wrapsFirst = wrap(m_first, meeting.at.position);
    meeting.wrapsSecond = wrap(m_second, meeting.at.other);
    if (m_isSelf && isSamePassage(m_first, meeting.at.position, meeting.at.other, p)) {
        return std::nullopt; // neighbours share a vertex
    }
    return meeting;
}

/// Nothing when the segments run along each other for no more than a point.
std::optional<MeetingRules::Meeting> MeetingRules::stretchOf(const Segment& a, const Segment& b) const {
    const double cross = (a.end->x() - a.start->x()) * (b.end->y() - b.start->y()) -
                         (a.end->y() - a.start->y()) * (b.end->x() - b.start->x());
    if (std::fabs(cross) > m_tolerance) {
        return std::nullopt;
    }
    const GisShapePoint* from = nullptr;
    const GisShapePoint* to = nullptr;
    double low = 2.0;
    double high = -1.0;
    const auto take = [&](const GisShapePoint& p, double fraction) {
        if (fraction < low) {
            low = fraction;
            from = &p;
        }
        if (fraction > high) {
            high = fraction;
            to = &p;
        }
    };
    for (const auto& [p, fraction] : {std::pair(a.start, 0.0), std::pair(a.end, 1.0)}) {
        if (GisTopology::PointOnSegment(*p, *b.start, *b.end, m_tolerance)) {
            take(*p, fraction);
        }
    }
    for (const GisShapePoint* p : {b.start, b.end}) {
        if (GisTopology::PointOnSegment(*p, *a.start, *a.end, m_tolerance)) {
            take(*p, Internal::fractionAlong(*p, *a.start, *a.end));
        }
    }
    if (from == nullptr || to == nullptr || same(*from, *to)) {
        return std::nullopt;
    }
    return Meeting{crossingAt(a, b, *from, GisCrossingKind::OverlapStart),
                   crossingAt(a, b, *to, GisCrossingKind::OverlapEnd)};
}

bool MeetingRules::isSamePassage(const SegmentList& boundary, const GisBoundaryPosition& a,
                                 const GisBoundaryPosition& b, const GisShapePoint& place) const {
    if (a.part != b.part) {
        return false;
    }
    const SegmentPart& part = boundary.partOf(a);
    const auto stays = [&](int from, int to) {
        for (int i = from; i <= to; ++i) {
            m_work.add(1);
            if (!same(part.vertices[i], place)) {
                return false;
            }
            i = part.lastEqual.empty() ? i : part.lastEqual[static_cast<std::size_t>(i)];
        }
        return true;
    };
    const auto& [low, high] = std::minmax(a, b, isBefore);
    return stays(low.segment + 1, high.segment) ||
           (part.isClosed && stays(high.segment + 1, part.segmentCount()) && stays(1, low.segment));
}

bool MeetingRules::isOneMeeting(const GisCrossing& a, const GisCrossing& b) const {
    return same(a.point, b.point) && isSamePassage(m_first, a.position, b.position, a.point) &&
           (!m_isSelf || isSamePassage(m_first, a.other, b.other, a.point));
}

bool comesBefore(const GisCrossing& a, const GisCrossing& b) {
    const auto key = [](const GisCrossing& c) {
        return std::tuple(c.position.part, c.position.segment, c.position.fraction, c.other.part,
                          c.other.segment, c.other.fraction, c.kind, c.point.x(), c.point.y());
    };
    return key(a) < key(b);
}

void Stretches::add(const GisCrossing& start, const GisCrossing& end) {
    m_stretches.push_back({start, end});
    if (m_stretches.size() >= m_mostUnmerged) {
        merge();
        m_mostUnmerged = std::max<std::size_t>(4096, 2 * m_stretches.size());
    }
}

void Stretches::merge() {
    std::sort(m_stretches.begin(), m_stretches.end(), [](const Stretch& a, const Stretch& b) {
        return comesBefore(a.start, b.start) || (!comesBefore(b.start, a.start) && comesBefore(a.end, b.end));
    });
    std::size_t kept = 0;
    for (const Stretch& next : m_stretches) {
        if (kept > 0) {
            GisCrossing& end = m_stretches[kept - 1].end;
            if (next.start.position.part == end.position.part &&
                (!isBefore(end.position, next.start.position) ||
                 (m_rules.same(end.point, next.start.point) &&
                  m_rules.isSamePassage(m_rules.first(), end.position, next.start.position, end.point)))) {
                // Of those that end at one place the first, so that it does not matter when they are merged.
                if (isBefore(end.position, next.end.position) ||
                    (!isBefore(next.end.position, end.position) && comesBefore(next.end, end))) {
                    end = next.end;
                }
                continue;
            }
        }
        m_stretches[kept++] = Stretch(next);
    }
    m_stretches.resize(kept);
}

bool Stretches::holds(const GisCrossing& crossing, bool atEndsOnly) const {
    const auto touches = [&](const Stretch& stretch) {
        const auto isAt = [&](const GisCrossing& end) {
            return m_rules.same(end.point, crossing.point) &&
                   m_rules.isSamePassage(m_rules.first(), end.position, crossing.position, end.point);
        };
        return stretch.start.position.part == crossing.position.part &&
               ((!atEndsOnly && !isBefore(crossing.position, stretch.start.position) &&
                 !isBefore(stretch.end.position, crossing.position)) ||
                isAt(stretch.start) || isAt(stretch.end));
    };
    const auto after = std::upper_bound(
        m_stretches.begin(), m_stretches.end(), crossing.position,
        [](const GisBoundaryPosition& at, const Stretch& s) { return isBefore(at, s.start.position); });
    const auto ofNextPart =
        std::lower_bound(after, m_stretches.end(), crossing.position.part,
                         [](const Stretch& s, int part) { return s.start.position.part <= part; });
    return (after != m_stretches.end() && touches(*after)) ||
           (after != m_stretches.begin() && touches(*std::prev(after))) ||
           (ofNextPart != m_stretches.begin() && touches(*std::prev(ofNextPart)));
}

void Stretches::joinOverFirstVertex() {
    std::size_t kept = 0;
    for (std::size_t first = 0; first < m_stretches.size();) {
        std::size_t end = first + 1;
        const GisBoundaryPosition& start = m_stretches[first].start.position;
        while (end < m_stretches.size() && m_stretches[end].start.position.part == start.part) {
            ++end;
        }
        const std::size_t next = end;
        if (end - first > 1 && m_rules.first().partOf(start).isClosed && start.segment == 0 &&
            start.fraction == 0.0 && m_stretches[end - 1].end.position.fraction == 1.0) {
            m_stretches[first].start = GisCrossing(m_stretches[end - 1].start);
            --end;
        }
        while (first < end) {
            m_stretches[kept++] = Stretch(m_stretches[first++]);
        }
        first = next;
    }
    m_stretches.resize(kept);
}

void Stretches::appendTo(QList<GisCrossing>& crossings) {
    joinOverFirstVertex();
    for (const Stretch& stretch : m_stretches) {
        crossings.append(stretch.start);
        crossings.append(stretch.end);
    }
}

} // namespace Cartolith::Core::Topology::Internal
