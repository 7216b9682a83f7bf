#pragma once

#include <Cartolith/Core/Topology/BoundaryJoinInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>

#include <array>
#include <optional>
#include <utility>

namespace Cartolith::Core::Topology::Internal {

/// The pairs of segments of two lists, or of one list with itself, that may meet.
class SegmentPairs {
public:
    /// Boxes for tests find all that meet within the tolerance, bare ones what meets exactly.
    SegmentPairs(const SegmentList& a, const SegmentList& b, double tolerance,
                 Boundary::Boxes boxes = Boundary::Boxes::ForTests)
        : m_a(a), m_b(b), m_boundaryA(a.lines(), a.lines().extent(), tolerance, nullptr, boxes) {
        if (&a != &b) {
            m_boundaryB.emplace(b.lines(), b.lines().extent(), tolerance, nullptr, boxes);
        }
    }

    bool isSelf() const noexcept { return !m_boundaryB.has_value(); }
    const Boundary& boundaryA() const noexcept { return m_boundaryA; }
    const Boundary& boundaryB() const noexcept { return isSelf() ? m_boundaryA : *m_boundaryB; }

    /// Consecutive numbers, of segments or of runs of them.
    struct Range {
        qsizetype begin;
        qsizetype end;
    };
    Range segmentsOfRun(qsizetype run) const {
        const auto first = static_cast<qsizetype>(firstSegmentOf(m_a, m_boundaryA, run));
        return {first, first + std::max<int>(m_boundaryA.run(run).segments, 1)};
    }

    /// Calls `visit(i, j)` for segments i of a and j of b, in no particular order; of a list with itself, for
    /// i < j. \throws Stopped
    template <typename Visit>
    void visitAll(Work& work, Visit visit) const {
        visitMeetingRuns(m_boundaryA, boundaryB(), work, [&](qsizetype runA, qsizetype runB) {
            if (!isSelf() || runA <= runB) {
                const Run segmentsA(m_a, m_boundaryA, runA);
                const Run segmentsB(m_b, boundaryB(), runB);
                for (std::size_t i = 0; i < segmentsA.count; ++i) {
                    for (std::size_t j = isSelf() && runA == runB ? i + 1 : 0; j < segmentsB.count; ++j) {
                        if (segmentsA.boxes[i].meets(segmentsB.boxes[j])) {
                            visit(segmentsA.firstSegment + i, segmentsB.firstSegment + j);
                        }
                    }
                }
            }
            return false;
        });
    }

    /// The same for the segments of one run of a, and of some runs of b; of a list with itself for all j but
    /// i. Nodes for which `canMeet(level, node)` is false are left out. \throws Stopped
    template <typename CanMeet, typename Visit>
    void visitOfRun(qsizetype runA, Range runsOfB, Work& work, CanMeet canMeet, Visit visit) const {
        const Run segmentsA(m_a, m_boundaryA, runA);
        const Boundary& other = boundaryB();
        qint64 visited = 0;
        other.walk([&](int level, qsizetype node) {
            ++visited;
            const qsizetype first = node << (3 * level);
            const qsizetype end = (node + 1) << (3 * level);
            if (first >= runsOfB.end) {
                return Boundary::Step::Stop;
            }
            if (end <= runsOfB.begin || !other.box(level, node).meets(m_boundaryA.box(0, runA))) {
                return Boundary::Step::Skip;
            }
            visited += 8;
            const bool mayMeet = canMeet(level, node);
            if (mayMeet && level > 0) {
                return Boundary::Step::Down;
            }
            if (mayMeet) {
                visited += 56;
                const Run segmentsB(m_b, other, node);
                for (std::size_t i = 0; i < segmentsA.count; ++i) {
                    for (std::size_t j = 0; j < segmentsB.count; ++j) {
                        const bool isOther =
                            !isSelf() || segmentsA.firstSegment + i != segmentsB.firstSegment + j;
                        if (isOther && segmentsA.boxes[i].meets(segmentsB.boxes[j])) {
                            visit(segmentsA.firstSegment + i, segmentsB.firstSegment + j);
                        }
                    }
                }
            }
            work.add(std::exchange(visited, 0));
            return Boundary::Step::Skip;
        });
        work.add(visited);
    }
    template <typename Visit>
    void visitOfRun(qsizetype runA, Range runsOfB, Work& work, Visit visit) const {
        visitOfRun(
            runA, runsOfB, work, [](int /*level*/, qsizetype /*node*/) { return true; }, visit);
    }

private:
    static std::size_t firstSegmentOf(const SegmentList& list, const Boundary& boundary, qsizetype index) {
        const Boundary::Run& run = boundary.run(index);
        const qsizetype part = run.part - 1; // counted from 1
        return list.firstSegmentOf(part) + static_cast<std::size_t>(run.start - boundary.part(part).begin);
    }

    struct Run {
        std::size_t firstSegment;
        std::array<Box, 8> boxes;
        std::size_t count;

        Run(const SegmentList& list, const Boundary& boundary, qsizetype index)
            : firstSegment(firstSegmentOf(list, boundary, index)) {
            const Boundary::Run& run = boundary.run(index);
            count = static_cast<std::size_t>(std::max<int>(run.segments, 1));
            for (std::size_t i = 0; i < count; ++i) {
                boxes[i] = run.segments == 0 ? boundary.box(0, index)
                                             : boundary.segmentBox(run.start + static_cast<qsizetype>(i));
            }
        }
    };

    const SegmentList& m_a;
    const SegmentList& m_b;
    Boundary m_boundaryA;
    std::optional<Boundary> m_boundaryB;
};

} // namespace Cartolith::Core::Topology::Internal
