#pragma once

#include <Cartolith/Core/Topology/GisCrossing.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <QList>

#include <map>
#include <optional>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

/// How segments of two boundaries meet, or of one with itself, and which meetings are at one place.
class MeetingRules {
public:
    /// The questions throw Stopped when the work is.
    MeetingRules(const SegmentList& first, const SegmentList& second, double tolerance, Work& work)
        : m_first(first), m_second(second), m_isSelf(&first == &second), m_tolerance(tolerance),
          m_work(work) {}

    bool isSelf() const noexcept { return m_isSelf; }
    const SegmentList& first() const noexcept { return m_first; }

    struct Meeting {
        GisCrossing at;
        std::optional<GisCrossing> end; ///< of a stretch that the segments have in common
        // The last segment of a ring meets at the end of the ring, which counts as its start.
        bool wrapsFirst = false;
        bool wrapsSecond = false;
    };
    /// Of segment i of the first with j of the second; of a boundary with itself i < j.
    std::optional<Meeting> meetingOf(std::size_t i, std::size_t j) const;

    bool same(const Shapes::GisShapePoint& a, const Shapes::GisShapePoint& b) const;
    /// True when the boundary does not leave the place between the two positions.
    bool isSamePassage(const SegmentList& boundary, const GisBoundaryPosition& a,
                       const GisBoundaryPosition& b, const Shapes::GisShapePoint& place) const;
    bool isOneMeeting(const GisCrossing& a, const GisCrossing& b) const;

private:
    GisBoundaryPosition positionOn(const SegmentList& boundary, const Segment& segment,
                                   const Shapes::GisShapePoint& p) const;
    GisCrossing crossingAt(const Segment& a, const Segment& b, const Shapes::GisShapePoint& p,
                           GisCrossingKind kind) const;
    bool isAtEnd(const SegmentList& boundary, const Segment& segment, const Shapes::GisShapePoint& p) const;
    std::optional<Meeting> stretchOf(const Segment& a, const Segment& b) const;

    const SegmentList& m_first;
    const SegmentList& m_second;
    bool m_isSelf;
    double m_tolerance;
    Work& m_work;
};

/// By the position along the first boundary, then along the second; every other difference counts at last, so
/// that the order does not depend on that of the search.
bool comesBefore(const GisCrossing& a, const GisCrossing& b);

/// The parts of the first boundary that run along the other, joined where they overlap or meet.
class Stretches {
public:
    explicit Stretches(const MeetingRules& rules) : m_rules(rules) {}

    void add(const GisCrossing& start, const GisCrossing& end);
    /// To be called before those below.
    void merge();
    /// A meeting that belongs to a stretch: on it, or only at its ends.
    bool holds(const GisCrossing& crossing, bool atEndsOnly) const;
    /// The ends of each. A stretch that ends with a ring goes on with the one that starts it.
    void appendTo(QList<GisCrossing>& crossings);

private:
    struct Stretch {
        GisCrossing start;
        GisCrossing end;
    };
    void joinOverFirstVertex();

    const MeetingRules& m_rules;
    std::vector<Stretch> m_stretches;
    std::size_t m_mostUnmerged = 4096;
};

/// Hands on meetings without those that are the same as one before. They come in the order of comesBefore().
template <typename Take>
class MeetingMerger {
public:
    MeetingMerger(const MeetingRules& rules, Take take) : m_rules(rules), m_take(take) {}
    MeetingMerger(const MeetingMerger&) = delete;
    MeetingMerger& operator=(const MeetingMerger&) = delete;

    void add(const GisCrossing& crossing) {
        if (!m_passage.empty() && (!m_rules.same(m_passage.back().point, crossing.point) ||
                                   !m_rules.isSamePassage(m_rules.first(), m_passage.back().position,
                                                          crossing.position, crossing.point))) {
            finish();
        }
        // Of a passage only the neighbours in the order of `other` can be the same meeting, those at the ends
        // over the start of a ring.
        const auto next = m_byOther.lower_bound(crossing.other);
        for (const auto& candidate :
             {next, next == m_byOther.begin() ? next : std::prev(next), m_byOther.begin(),
              m_byOther.empty() ? m_byOther.end() : std::prev(m_byOther.end())}) {
            if (candidate != m_byOther.end() &&
                m_rules.isOneMeeting(m_passage[candidate->second], crossing)) {
                GisCrossingKind& kind = m_passage[candidate->second].kind;
                kind = std::max(kind, crossing.kind);
                return;
            }
        }
        if (!m_firstOfPart.has_value() || m_firstOfPart->position.part != crossing.position.part) {
            m_firstOfPart = crossing;
        } else if (const SegmentPart& part = m_rules.first().partOf(crossing.position);
                   part.isClosed && m_rules.same(part.vertices.constFirst(), crossing.point) &&
                   m_rules.isOneMeeting(*m_firstOfPart, crossing)) {
            return; // the first one, met again over the start
        }
        m_byOther.emplace(crossing.other, m_passage.size());
        m_passage.push_back(crossing);
    }

    /// To be called at the end.
    void finish() {
        for (const GisCrossing& crossing : m_passage) {
            m_take(crossing);
        }
        m_passage.clear();
        m_byOther.clear();
    }

private:
    const MeetingRules& m_rules;
    Take m_take;
    std::optional<GisCrossing> m_firstOfPart;
    // The last passage of the first boundary.
    std::vector<GisCrossing> m_passage;
    std::multimap<GisBoundaryPosition, std::size_t, decltype(&isBefore)> m_byOther{&isBefore};
};

} // namespace Cartolith::Core::Topology::Internal
