#include <Cartolith/Core/Topology/CrossingsInternal.h>

#include <algorithm>
#include <utility>

namespace Cartolith::Core::Topology::Internal {

namespace {

/// Meetings found run by run, handed on in order as soon as nothing can come before them.
class InOrder {
public:
    void add(const GisCrossing& crossing) { m_waiting.push_back(crossing); }

    /// Those before the place, or all.
    template <typename Take>
    void handOn(const GisBoundaryPosition* before, Take take) {
        std::sort(m_waiting.begin(), m_waiting.end(), comesBefore);
        auto next = m_waiting.begin();
        for (; next != m_waiting.end() && (before == nullptr || isBefore(next->position, *before)); ++next) {
            take(*next);
        }
        m_waiting.erase(m_waiting.begin(), next);
    }

private:
    std::vector<GisCrossing> m_waiting;
};

} // namespace

CrossingSearch::CrossingSearch(const SegmentList& a, const SegmentList& b, const GisTopology& topology)
    : m_work(&topology), m_rules(a, b, topology.Tolerance(), m_work), m_pairs(a, b, topology.Tolerance()),
      m_stretches(m_rules) {
    findAll();
}

GisCrossing CrossingSearch::ordered(const MeetingRules::Meeting& meeting, bool isSelf) {
    GisCrossing crossing = meeting.at;
    if (isSelf && isBefore(crossing.other, crossing.position)) {
        std::swap(crossing.position, crossing.other);
    }
    return crossing;
}

void CrossingSearch::findAll() {
    const std::size_t segments =
        m_rules.first().segments().size() + static_cast<std::size_t>(m_pairs.boundaryB().count(0)) * 8;
    const std::size_t most = 65536 + 2 * segments;
    m_pairs.visitAll(m_work, [&](std::size_t i, std::size_t j) {
        const auto meeting = m_rules.meetingOf(i, j);
        if (!meeting.has_value()) {
            return;
        }
        if (meeting->end.has_value()) {
            m_stretches.add(meeting->at, *meeting->end);
        } else if (!m_areTooMany) {
            m_points.push_back(ordered(*meeting, m_rules.isSelf()));
            m_areTooMany = m_points.size() > most;
        }
    });
    m_stretches.merge();
    if (m_areTooMany) {
        m_points = {};
        m_parts = partRuns();
    }
    std::sort(m_points.begin(), m_points.end(), comesBefore);
}

/// A line that crosses a stretch is told from one that makes it, but not where that ends.
bool CrossingSearch::isHeld(const GisCrossing& crossing) const {
    const bool isCrossing = crossing.kind == GisCrossingKind::Crossing;
    return !(m_rules.isSelf() && isCrossing) && m_stretches.holds(crossing, isCrossing);
}

QList<GisCrossing> CrossingSearch::all() {
    QList<GisCrossing> crossings;
    MeetingMerger merger(m_rules, [&crossings](const GisCrossing& crossing) { crossings.append(crossing); });
    const Take take = [&](const GisCrossing& crossing) {
        m_work.add(32);
        if (!isHeld(crossing)) {
            merger.add(crossing);
        }
    };
    if (m_areTooMany) {
        sweep(take);
    } else {
        std::for_each(m_points.begin(), m_points.end(), take);
        m_points = {};
    }
    merger.finish();
    m_stretches.appendTo(crossings);
    std::sort(crossings.begin(), crossings.end(), comesBefore);
    return crossings;
}

std::vector<CrossingSearch::PartRuns> CrossingSearch::partRuns() {
    std::vector<PartRuns> parts;
    m_work.add(m_pairs.boundaryA().count(0));
    const SegmentList& list = m_rules.first();
    for (qsizetype run = 0; run < m_pairs.boundaryA().count(0); ++run) {
        const Segment& last = list.segments()[static_cast<std::size_t>(m_pairs.segmentsOfRun(run).end - 1)];
        if (parts.empty() || parts.back().part != last.part) {
            parts.push_back({last.part, {run, run}, false});
        }
        const SegmentPart& part = list.parts()[static_cast<std::size_t>(last.part)];
        parts.back().runs.end = run + 1;
        parts.back().closes = part.isClosed && last.index + 1 == part.segmentCount();
    }
    return parts;
}

GisBoundaryPosition CrossingSearch::startOf(qsizetype run) const {
    const Segment& first =
        m_rules.first().segments()[static_cast<std::size_t>(m_pairs.segmentsOfRun(run).begin)];
    return {first.part, first.index, 0.0};
}

void CrossingSearch::sweep(const Take& take) {
    const bool isSelf = m_rules.isSelf();
    const SegmentPairs::Range all{0, m_pairs.boundaryB().count(0)};
    InOrder found;
    for (const PartRuns& part : m_parts) {
        if (part.closes) {
            // What the last segment meets at its end comes first.
            const qsizetype run = part.runs.end - 1;
            const auto closing = static_cast<std::size_t>(m_pairs.segmentsOfRun(run).end - 1);
            m_pairs.visitOfRun(run, all, m_work, [&](std::size_t i, std::size_t j) {
                if (i != closing) {
                    return;
                }
                const bool isSecond = isSelf && j < i;
                const auto meeting = isSecond ? m_rules.meetingOf(j, i) : m_rules.meetingOf(i, j);
                if (meeting.has_value() && (isSecond ? meeting->wrapsSecond : meeting->wrapsFirst)) {
                    const GisCrossing crossing = ordered(*meeting, isSelf);
                    if (crossing.position.part == part.part) {
                        found.add(crossing);
                    }
                }
            });
        }
        for (qsizetype run = part.runs.begin; run < part.runs.end; ++run) {
            const SegmentPairs::Range others{isSelf ? run : 0, all.end};
            m_pairs.visitOfRun(run, others, m_work, [&](std::size_t i, std::size_t j) {
                if (isSelf && j < i) {
                    return;
                }
                const auto meeting = m_rules.meetingOf(i, j);
                if (!meeting.has_value() || meeting->end.has_value() || meeting->wrapsFirst) {
                    return;
                }
                const GisCrossing crossing = ordered(*meeting, isSelf);
                // At the start of its own ring the later segment has been.
                if (!meeting->wrapsSecond || !isBefore(meeting->at.other, meeting->at.position)) {
                    found.add(crossing);
                }
            });
            if (run + 1 < part.runs.end) {
                const GisBoundaryPosition next = startOf(run + 1);
                found.handOn(&next, take);
            }
        }
        found.handOn(nullptr, take);
    }
}

void CrossingSearch::sweepPart(int part, const std::optional<GisBoundaryPosition>& after,
                               const std::function<void(const Passage&)>& visit) {
    const auto own = std::lower_bound(m_parts.begin(), m_parts.end(), part,
                                      [](const PartRuns& runs, int number) { return runs.part < number; });
    if (own == m_parts.end() || own->part != part) {
        return;
    }
    const auto hand = [&](const GisCrossing& crossing) {
        visit({crossing.position, crossing.other, crossing.point});
    };
    // The passages of one meeting are taken one by one, each as `position`.
    MeetingMerger merger(m_rules, hand);
    const auto addMeetings = [&](qsizetype run, bool ofEnd, InOrder& found) {
        m_pairs.visitOfRun(run, own->runs, m_work, [&](std::size_t i, std::size_t j) {
            const auto meeting = j < i ? m_rules.meetingOf(j, i) : m_rules.meetingOf(i, j);
            if (!meeting.has_value() || meeting->end.has_value() ||
                ofEnd != (j < i ? meeting->wrapsSecond : meeting->wrapsFirst) ||
                isHeld(ordered(*meeting, true))) {
                return;
            }
            GisCrossing crossing = meeting->at;
            if (j < i) {
                std::swap(crossing.position, crossing.other);
            }
            found.add(crossing);
        });
    };
    const auto sweepRuns = [&](bool isSecondHalf) {
        InOrder found;
        const auto take = [&](const GisCrossing& crossing) {
            m_work.add(32);
            const bool isBehind = !after.has_value() || isBefore(*after, crossing.position);
            if (isBehind != isSecondHalf) {
                merger.add(crossing);
            }
        };
        if (own->closes) {
            addMeetings(own->runs.end - 1, true, found);
        }
        for (qsizetype run = own->runs.begin; run < own->runs.end; ++run) {
            const GisBoundaryPosition next =
                run + 1 < own->runs.end ? startOf(run + 1) : GisBoundaryPosition{part + 1, 0, 0.0};
            if (isSecondHalf && isBefore(*after, startOf(run))) {
                break;
            }
            if (isSecondHalf || !after.has_value() || !isBefore(next, *after)) {
                addMeetings(run, false, found);
            }
            found.handOn(&next, take);
        }
        found.handOn(nullptr, take);
        merger.finish();
    };
    sweepRuns(false);
    if (after.has_value()) {
        sweepRuns(true);
    }
}

void CrossingSearch::visitPassages(int part, const std::optional<GisBoundaryPosition>& after,
                                   const std::function<void(const Passage&)>& visit) {
    if (m_areTooMany) {
        sweepPart(part, after, visit);
        return;
    }
    // As in the other search: which meetings are one depends on their order where places lie about as far
    // apart as the tolerance.
    std::vector<GisCrossing> passages;
    const auto ofPart =
        std::lower_bound(m_points.begin(), m_points.end(), part, [](const GisCrossing& crossing, int other) {
            return crossing.position.part < other;
        });
    for (auto point = ofPart; point != m_points.end() && point->position.part == part; ++point) {
        m_work.add(32);
        if (point->other.part == part && !isHeld(*point)) {
            passages.push_back(*point);
            passages.push_back(*point);
            std::swap(passages.back().position, passages.back().other);
        }
    }
    std::sort(passages.begin(), passages.end(), comesBefore);
    const auto secondHalf =
        std::stable_partition(passages.begin(), passages.end(), [&after](const GisCrossing& passage) {
            return !after.has_value() || isBefore(*after, passage.position);
        });
    MeetingMerger merger(m_rules, [&visit](const GisCrossing& crossing) {
        visit({crossing.position, crossing.other, crossing.point});
    });
    const auto add = [&merger](const GisCrossing& crossing) { merger.add(crossing); };
    std::for_each(passages.begin(), secondHalf, add);
    merger.finish();
    std::for_each(secondHalf, passages.end(), add);
    merger.finish();
}

} // namespace Cartolith::Core::Topology::Internal
