#pragma once

#include <Cartolith/Core/Topology/BoundaryJoinInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>

namespace Cartolith::Core::Topology::Internal {

/// Calls `visit(i, j)` for segments i of a and j of b that may meet within the tolerance, in no particular
/// order; of a list with itself, for i < j. \throws Stopped
template <typename Visit>
void visitSegmentPairs(const SegmentList& a, const SegmentList& b, double tolerance, Work& work,
                       Visit visit) {
    const bool isSelf = &a == &b;
    const Boundary first(a.lines(), a.lines().extent(), tolerance, nullptr);
    std::optional<Boundary> other;
    if (!isSelf) {
        other.emplace(b.lines(), b.lines().extent(), tolerance, nullptr);
    }
    const Boundary& second = isSelf ? first : *other;
    struct Run {
        std::size_t firstSegment;
        std::array<Box, 8> boxes;
        std::size_t count;

        Run(const SegmentList& list, const Boundary& boundary, qsizetype index) {
            const Boundary::Run& run = boundary.run(index);
            const qsizetype part = run.part - 1; // counted from 1
            firstSegment =
                list.firstSegmentOf(part) + static_cast<std::size_t>(run.start - boundary.part(part).begin);
            count = static_cast<std::size_t>(std::max<int>(run.segments, 1));
            for (std::size_t i = 0; i < count; ++i) {
                boxes[i] = run.segments == 0 ? boundary.box(0, index)
                                             : boundary.segmentBox(run.start + static_cast<qsizetype>(i));
            }
        }
    };
    visitMeetingRuns(first, second, work, [&](qsizetype runA, qsizetype runB) {
        if (isSelf && runA > runB) {
            return false;
        }
        const Run segmentsA(a, first, runA);
        const Run segmentsB(b, second, runB);
        for (std::size_t i = 0; i < segmentsA.count; ++i) {
            for (std::size_t j = isSelf && runA == runB ? i + 1 : 0; j < segmentsB.count; ++j) {
                if (segmentsA.boxes[i].meets(segmentsB.boxes[j])) {
                    visit(segmentsA.firstSegment + i, segmentsB.firstSegment + j);
                }
            }
        }
        return false;
    });
}

} // namespace Cartolith::Core::Topology::Internal
