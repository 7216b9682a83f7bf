#include <Cartolith/Core/Topology/CrossingsInternal.h>
#include <Cartolith/Core/Topology/SegmentPairsInternal.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <map>

namespace Cartolith::Core::Topology {

using Internal::isBefore;
using Internal::Segment;
using Internal::SegmentList;
using Internal::SegmentPart;
using Shapes::GisShape;
using Shapes::GisShapePoint;

namespace {

/// A part of one boundary that runs along the other.
struct Stretch {
    GisCrossing start;
    GisCrossing end;
};

class CrossingFinder {
public:
    CrossingFinder(const SegmentList& first, const SegmentList& second, double tolerance)
        : m_first(first), m_second(second), m_isSelf(&first == &second), m_tolerance(tolerance) {}

    void run(Internal::Work& work) {
        visitSegmentPairs(m_first, m_second, m_tolerance, work, [this](std::size_t i, std::size_t j) {
            meet(m_first.segments()[i], m_second.segments()[j]);
        });
    }

    QList<GisCrossing> result(Internal::Work& work) {
        mergeStretches();
        QList<GisCrossing> crossings;
        std::stable_sort(m_points.begin(), m_points.end(), comesBefore);
        for (const GisCrossing& crossing : m_points) {
            work.add(32);
            // A line that crosses the stretch is told from one that makes it, but not where that ends.
            const bool isCrossing = crossing.kind == GisCrossingKind::Crossing;
            if ((m_isSelf && isCrossing) || !isOnStretch(crossing, isCrossing)) {
                append(crossing, crossings);
            }
        }
        joinOverFirstVertex();
        for (const Stretch& stretch : m_stretches) {
            crossings.append(stretch.start);
            crossings.append(stretch.end);
        }
        std::stable_sort(crossings.begin(), crossings.end(), comesBefore);
        return crossings;
    }

private:
    static bool comesBefore(const GisCrossing& a, const GisCrossing& b) {
        return isBefore(a.position, b.position) ||
               (!isBefore(b.position, a.position) && isBefore(a.other, b.other));
    }

    bool same(const GisShapePoint& a, const GisShapePoint& b) const {
        return GisTopology::SamePoint(a, b, m_tolerance);
    }

    GisBoundaryPosition positionOn(const SegmentList& boundary, const Segment& segment,
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

    /// The end of a ring is its start.
    static void wrap(const SegmentList& boundary, GisBoundaryPosition& at) {
        if (at.fraction == 1.0 && boundary.partOf(at).isClosed) {
            at.segment = 0;
            at.fraction = 0.0;
        }
    }

    GisCrossing crossingAt(const Segment& a, const Segment& b, const GisShapePoint& p,
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

    bool isAtEnd(const SegmentList& boundary, const Segment& segment, const GisShapePoint& p) const {
        const SegmentPart& part = boundary.parts()[static_cast<std::size_t>(segment.part)];
        return !part.isClosed && ((segment.index == 0 && same(p, *segment.start)) ||
                                  (segment.index + 1 == part.segmentCount() && same(p, *segment.end)));
    }

    void meet(const Segment& a, const Segment& b) {
        GisShapePoint p;
        if (!GisTopology::SegmentIntersectionPoint(*a.start, *a.end, *b.start, *b.end, m_tolerance, &p) ||
            meetAlong(a, b)) {
            return;
        }
        const auto atVertex = [&](const Segment& segment) {
            return same(p, *segment.start) || same(p, *segment.end);
        };
        GisCrossing crossing = crossingAt(a, b, p, GisCrossingKind::Crossing);
        if (isAtEnd(m_first, a, p) || isAtEnd(m_second, b, p)) {
            crossing.kind = GisCrossingKind::EndTouch;
        } else if (atVertex(a) || atVertex(b)) {
            crossing.kind = GisCrossingKind::Vertex;
        }
        wrap(m_first, crossing.position);
        wrap(m_second, crossing.other);
        if (m_isSelf && isSamePassage(m_first, crossing.position, crossing.other, p)) {
            return; // neighbours share a vertex
        }
        if (m_isSelf && isBefore(crossing.other, crossing.position)) {
            std::swap(crossing.position, crossing.other);
        }
        m_points.push_back(crossing);
    }

    /// True when the segments run along each other for more than a point.
    bool meetAlong(const Segment& a, const Segment& b) {
        const double cross = (a.end->x() - a.start->x()) * (b.end->y() - b.start->y()) -
                             (a.end->y() - a.start->y()) * (b.end->x() - b.start->x());
        if (std::fabs(cross) > m_tolerance) {
            return false;
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
            return false;
        }
        m_stretches.push_back({crossingAt(a, b, *from, GisCrossingKind::OverlapStart),
                               crossingAt(a, b, *to, GisCrossingKind::OverlapEnd)});
        return true;
    }

    /// True when the boundary does not leave the place between the two positions.
    bool isSamePassage(const SegmentList& boundary, const GisBoundaryPosition& a,
                       const GisBoundaryPosition& b, const GisShapePoint& place) const {
        if (a.part != b.part) {
            return false;
        }
        const SegmentPart& part = boundary.partOf(a);
        const auto stays = [&](int from, int to) {
            for (int i = from; i <= to; ++i) {
                if (!same(part.vertices[i], place)) {
                    return false;
                }
            }
            return true;
        };
        const auto& [low, high] = std::minmax(a, b, isBefore);
        return stays(low.segment + 1, high.segment) ||
               (part.isClosed && stays(high.segment + 1, part.segmentCount()) && stays(1, low.segment));
    }

    bool isOneMeeting(const GisCrossing& a, const GisCrossing& b) const {
        return same(a.point, b.point) && isSamePassage(m_first, a.position, b.position, a.point) &&
               (!m_isSelf || isSamePassage(m_first, a.other, b.other, a.point));
    }

    /// Unless it is the same meeting as one before. They come in the order of their positions.
    void append(const GisCrossing& crossing, QList<GisCrossing>& crossings) {
        if (crossings.isEmpty() || !same(crossings.constLast().point, crossing.point) ||
            !isSamePassage(m_first, crossings.constLast().position, crossing.position, crossing.point)) {
            m_passage.clear();
        }
        // Of a passage only the neighbours in the order of `other` can be the same meeting, those at the ends
        // over the start of a ring.
        const auto next = m_passage.lower_bound(crossing.other);
        for (const auto& candidate :
             {next, next == m_passage.begin() ? next : std::prev(next), m_passage.begin(),
              m_passage.empty() ? m_passage.end() : std::prev(m_passage.end())}) {
            if (candidate != m_passage.end() && isOneMeeting(crossings[candidate->second], crossing)) {
                GisCrossingKind& kind = crossings[candidate->second].kind;
                kind = std::max(kind, crossing.kind);
                return;
            }
        }
        if (crossings.isEmpty() || crossings.constLast().position.part != crossing.position.part) {
            m_firstOfPart = crossings.size();
        }
        const SegmentPart& part = m_first.partOf(crossing.position);
        if (m_firstOfPart < crossings.size() && part.isClosed &&
            same(part.vertices.constFirst(), crossing.point) &&
            isOneMeeting(crossings[m_firstOfPart], crossing)) {
            return; // the first one, met again over the start
        }
        m_passage.emplace(crossing.other, crossings.size());
        crossings.append(crossing);
    }

    void mergeStretches() {
        std::sort(m_stretches.begin(), m_stretches.end(),
                  [](const Stretch& a, const Stretch& b) { return comesBefore(a.start, b.start); });
        std::size_t kept = 0;
        for (const Stretch& next : m_stretches) {
            if (kept > 0) {
                GisCrossing& end = m_stretches[kept - 1].end;
                if (next.start.position.part == end.position.part &&
                    (!isBefore(end.position, next.start.position) ||
                     (same(end.point, next.start.point) &&
                      isSamePassage(m_first, end.position, next.start.position, end.point)))) {
                    if (isBefore(end.position, next.end.position)) {
                        end = next.end;
                    }
                    continue;
                }
            }
            m_stretches[kept++] = Stretch(next);
        }
        m_stretches.resize(kept);
    }

    bool isOnStretch(const GisCrossing& crossing, bool atEndsOnly) const {
        const auto touches = [&](const Stretch& stretch) {
            const auto isAt = [&](const GisCrossing& end) {
                return same(end.point, crossing.point) &&
                       isSamePassage(m_first, end.position, crossing.position, end.point);
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

    /// A stretch that ends with a ring goes on with the one that starts it.
    void joinOverFirstVertex() {
        for (std::size_t first = 0; first < m_stretches.size(); ++first) {
            std::size_t last = first;
            const int part = m_stretches[first].start.position.part;
            while (last + 1 < m_stretches.size() && m_stretches[last + 1].start.position.part == part) {
                ++last;
            }
            const GisBoundaryPosition& start = m_stretches[first].start.position;
            if (last > first && m_first.partOf(start).isClosed && start.segment == 0 &&
                start.fraction == 0.0 && m_stretches[last].end.position.fraction == 1.0) {
                m_stretches[first].start = m_stretches[last].start;
                m_stretches.erase(m_stretches.begin() + static_cast<std::ptrdiff_t>(last));
                --last;
            }
            first = last;
        }
    }

    const SegmentList& m_first;
    const SegmentList& m_second;
    bool m_isSelf;
    double m_tolerance;
    std::vector<GisCrossing> m_points;
    std::vector<Stretch> m_stretches;
    // Of append(): the crossings of the last passage of the first boundary, by their place on the other.
    std::multimap<GisBoundaryPosition, qsizetype, decltype(&isBefore)> m_passage{&isBefore};
    qsizetype m_firstOfPart = 0;
};

} // namespace

std::optional<QList<GisCrossing>> Internal::crossingsOf(const SegmentList& a, const SegmentList& b,
                                                        const GisTopology& topology) {
    return unlessStopped([&] {
        Work work(&topology);
        CrossingFinder finder(a, b, topology.Tolerance());
        finder.run(work);
        return std::optional(finder.result(work));
    });
}

QList<GisCrossing> GisTopology::GetCrossings(const GisShape& a, const GisShape& b) const {
    return Internal::crossingsOf(SegmentList(a), SegmentList(b), *this).value_or(QList<GisCrossing>());
}

QList<GisCrossing> GisTopology::GetCrossings(const GisShape& shape) const {
    const SegmentList segments(shape);
    return Internal::crossingsOf(segments, segments, *this).value_or(QList<GisCrossing>());
}

} // namespace Cartolith::Core::Topology
