#include <Cartolith/Core/Topology/OrientationInternal.h>
#include <Cartolith/Core/Topology/RingCrossingsInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/RingOrderInternal.h>
#include <Cartolith/Core/Topology/RunStripInternal.h>
#include <Cartolith/Core/Topology/SegmentMeetingInternal.h>
#include <Cartolith/Core/Topology/SegmentPairsInternal.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShapePoint;
using Shapes::Internal::Ring;

namespace {

/// The pairs of segments of rings that may meet, with boxes around rings that follow each other along a
/// curve, asked ring by ring in the order of the rings.
class RingCrossings {
public:
    RingCrossings(const QList<Ring>& rings, const QList<int>& partOf, const GisTopology& topology,
                  ProblemList& problems)
        : m_partOf(partOf), m_problems(problems), m_work(&topology), m_order(alongCurve(rings)),
          m_list(polygonOf(rings, m_order)), m_pairs(m_list, m_list, 0.0, Boundary::Boxes::Bare),
          m_strips(m_pairs.boundaryA()), m_runs(m_order.size(), {0, 0}) {
        for (qsizetype run = 0; run < m_pairs.boundaryA().count(0); ++run) {
            SegmentPairs::Range& its = m_runs[static_cast<std::size_t>(ringOf(run))];
            its = {its.end == 0 ? run : its.begin, run + 1};
        }
    }

    /// \throws Stopped
    RingTouches find() {
        for (const SegmentPairs::Range& runs : m_runs) {
            m_selfCrossings.clear();
            m_crossings.clear();
            for (qsizetype run = runs.begin; run < runs.end; ++run) {
                lookFrom(run, runs);
                report();
            }
        }
        return std::move(m_touches);
    }

private:
    static Shapes::GisShapePolygon polygonOf(const QList<Ring>& rings, const std::vector<int>& order) {
        Shapes::GisShapePolygon polygon;
        polygon.parts() = inOrder(rings, order);
        return polygon;
    }

    const Segment& segment(std::size_t number) const { return m_list.segments()[number]; }
    int ringOf(const Segment& segment) const { return m_order[static_cast<std::size_t>(segment.part)]; }
    int ringOf(qsizetype run) const { return m_order[m_pairs.boundaryA().run(run).part - 1]; }

    bool areNeighbours(const Segment& a, const Segment& b) const {
        const int apart = std::abs(a.index - b.index);
        return a.part == b.part &&
               (apart == 1 || apart + 1 == m_list.parts()[static_cast<std::size_t>(a.part)].segmentCount());
    }

    /// What is full needs no more search.
    void lookFrom(qsizetype run, const SegmentPairs::Range& own) {
        if (!m_problems.isFull(GisShapeProblemKind::SelfCrossing)) {
            look(run, {run, own.end}, [](int /*ring*/) { return true; });
        }
        if (!m_problems.isFull(GisShapeProblemKind::RingsCross) && m_crossingPairs < mostCrossingPairs) {
            const auto isLater = [its = ringOf(run)](int ring) { return ring > its; };
            look(run, {0, own.begin}, isLater);
            look(run, {own.end, m_pairs.boundaryA().count(0)}, isLater);
        }
    }

    template <typename IsAsked>
    void look(qsizetype run, const SegmentPairs::Range& others, IsAsked isAsked) {
        if (others.begin >= others.end) {
            return;
        }
        m_pairs.visitOfRun(
            run, others, m_work,
            [&](int level, qsizetype node) {
                return (level > 0 || isAsked(ringOf(node))) && m_strips.mayMeet(run, level, node);
            },
            [&](std::size_t i, std::size_t j) {
                using Kind = SegmentMeeting::Kind;
                const Segment& a = segment(i);
                const Segment& b = segment(j);
                if (a.part == b.part && (j < i || areNeighbours(a, b))) {
                    return;
                }
                const SegmentMeeting meeting = meetingOf(a, b);
                if (meeting.kind == Kind::None) {
                    return;
                }
                if (meeting.kind != Kind::Touch || a.part == b.part ||
                    crossInVertex(a, b, meeting.places[0])) {
                    m_found.emplace_back(i, j);
                    m_crossingPairs += a.part == b.part ? 0 : 1;
                } else if (!m_problems.has(GisShapeProblemKind::SelfCrossing) &&
                           !m_problems.has(GisShapeProblemKind::RingsCross)) { // rings may touch each other
                    m_touches.add(meeting.places[0], ringOf(a), ringOf(b));
                }
            });
    }

    /// Where a ring comes from and goes to at a place on it.
    struct Way {
        const GisShapePoint* from;
        const GisShapePoint* to;
    };
    /// Of the segment that leads to the place or over it; none of the one behind it.
    std::optional<Way> wayAt(const Segment& segment, const GisShapePoint& place) const {
        if (isSamePlace(*segment.start, place)) {
            return std::nullopt;
        }
        if (!isSamePlace(*segment.end, place)) {
            return Way{segment.start, segment.end};
        }
        const Ring& ring = m_list.parts()[static_cast<std::size_t>(segment.part)].vertices;
        return Way{segment.start, &ring[segment.index + 2 < ring.size() ? segment.index + 2 : 1]};
    }

    /// Of a place next to the way.
    static bool isLeft(const Way& way, const GisShapePoint& at, const GisShapePoint& place) {
        const int turn = orientation(*way.from, at, *way.to);
        const int before = orientation(*way.from, at, place);
        const int behind = orientation(at, *way.to, place);
        return turn > 0 ? before > 0 && behind > 0 : turn < 0 ? before > 0 || behind > 0 : behind > 0;
    }

    /// Whether rings of which two segments touch change sides there.
    bool crossInVertex(const Segment& a, const Segment& b, Position touch) const {
        const GisShapePoint place = pointOf(touch);
        const std::optional<Way> one = wayAt(a, place);
        const std::optional<Way> other = wayAt(b, place);
        return one && other && isLeft(*one, place, *other->from) != isLeft(*one, place, *other->to);
    }

    /// What was found of one run.
    void report() {
        const auto key = [this](const std::pair<std::size_t, std::size_t>& pair) {
            const Segment& other = segment(pair.second);
            return std::tuple(pair.first, ringOf(other), other.index);
        };
        std::sort(m_found.begin(), m_found.end(),
                  [&key](const auto& a, const auto& b) { return key(a) < key(b); });
        for (const auto& [i, j] : m_found) {
            const Segment& s = segment(i);
            const GisShapePoint place = pointOf(meetingOf(s, segment(j)).places[0]);
            const bool isSelfCrossing = s.part == segment(j).part;
            const auto kind =
                isSelfCrossing ? GisShapeProblemKind::SelfCrossing : GisShapeProblemKind::RingsCross;
            std::set<std::pair<double, double>>& listed = isSelfCrossing ? m_selfCrossings : m_crossings;
            if (!m_problems.isFull(kind) && listed.emplace(place.x(), place.y()).second) {
                m_problems.add(kind, place, m_partOf[ringOf(s)], s.index);
            }
        }
        m_found.clear();
    }

    /// Of thousands of equal rings each has few places, and each meets all others there.
    static constexpr qint64 mostCrossingPairs = 100'000;

    const QList<int>& m_partOf;
    ProblemList& m_problems;
    Work m_work;
    qint64 m_crossingPairs = 0; ///< of rings, found so far
    std::vector<int> m_order;   ///< of the rings as they lie
    SegmentList m_list;
    SegmentPairs m_pairs;
    RunStrips m_strips;
    std::vector<SegmentPairs::Range> m_runs; ///< of each ring
    std::vector<std::pair<std::size_t, std::size_t>> m_found;
    std::set<std::pair<double, double>> m_selfCrossings; ///< of the ring at hand, as listed
    std::set<std::pair<double, double>> m_crossings;     ///< of it and others
    RingTouches m_touches;
};

} // namespace

RingTouches findRingCrossings(const QList<Ring>& rings, const QList<int>& partOf, const GisTopology& topology,
                              ProblemList& problems) {
    return RingCrossings(rings, partOf, topology, problems).find();
}

} // namespace Cartolith::Core::Topology::Internal
