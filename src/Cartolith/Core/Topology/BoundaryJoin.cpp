#include <Cartolith/Core/Topology/BoundaryJoinInternal.h>

#include <QVarLengthArray>

namespace Cartolith::Core::Topology::Internal {

namespace {

using Run = Boundary::Run;

/// Those segments of a run that may meet something in `window`, with their boxes.
struct Segments {
    Box box[8];
    qsizetype start[8];
    int count = 0;

    Segments(const Boundary& boundary, const Run& run, const Box& window) {
        for (qsizetype i = run.start; i < run.start + run.segments; ++i) {
            const Box around = boundary.segmentBox(i);
            if (around.meets(window)) {
                box[count] = around;
                start[count] = i;
                ++count;
            }
        }
    }
};

bool vertexMeetsRun(Position vertex, const Boundary& b, const Run& run) {
    if (run.segments == 0) {
        return samePoint(vertex, b.vertex(run.start), b.tolerance());
    }
    for (qsizetype i = run.start; i < run.start + run.segments; ++i) {
        if (onSegment(vertex, b.vertex(i), b.vertex(i + 1), b.tolerance())) {
            return true;
        }
    }
    return false;
}

bool runsMeet(const Boundary& a, qsizetype i, const Boundary& b, qsizetype j, bool properOnly) {
    const Run& runA = a.run(i);
    const Run& runB = b.run(j);
    if (runA.segments == 0) {
        return vertexMeetsRun(a.vertex(runA.start), b, runB);
    }
    if (runB.segments == 0) {
        return vertexMeetsRun(b.vertex(runB.start), a, runA);
    }
    const Segments segmentsA(a, runA, b.box(0, j));
    if (segmentsA.count == 0) {
        return false;
    }
    const Segments segmentsB(b, runB, a.box(0, i));
    for (int k = 0; k < segmentsA.count; ++k) {
        for (int l = 0; l < segmentsB.count; ++l) {
            if (segmentsA.box[k].meets(segmentsB.box[l]) &&
                pairMeets(a, segmentsA.start[k], b, segmentsB.start[l], properOnly)) {
                return true;
            }
        }
    }
    return false;
}

} // namespace

bool boundariesMeet(const Boundary& a, const Boundary& b, bool properOnly, Work& work) {
    const bool found = visitMeetingRuns(
        a, b, work, [&](qsizetype i, qsizetype j) { return runsMeet(a, i, b, j, properOnly); });
    return found || (a.isRegular() && b.isRegular() && a.hasRuns() && b.hasRuns() &&
                     noiseMeets(a, b, properOnly, work));
}

} // namespace Cartolith::Core::Topology::Internal
