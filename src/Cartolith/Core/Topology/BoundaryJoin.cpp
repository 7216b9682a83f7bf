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
    if (!a.hasRuns() || !b.hasRuns()) {
        return false;
    }
    struct Pair {
        qsizetype a;
        qsizetype b;
        int levelA;
        int levelB;
    };
    // At most seven siblings wait on each level of either tree.
    QVarLengthArray<Pair, 128> pending;
    if (a.box().meets(b.box())) {
        pending.append({0, 0, a.topLevel(), b.topLevel()});
    }
    while (!pending.isEmpty()) {
        const Pair pair = pending.last();
        pending.removeLast();
        if (pair.levelA == 0 && pair.levelB == 0) {
            work.add(64);
            if (runsMeet(a, pair.a, b, pair.b, properOnly)) {
                return true;
            }
            continue;
        }
        work.add(8);
        if (pair.levelA >= pair.levelB) {
            const int level = pair.levelA - 1;
            const Box& other = b.box(pair.levelB, pair.b);
            const qsizetype end = std::min(8 * pair.a + 8, a.count(level));
            for (qsizetype i = 8 * pair.a; i < end; ++i) {
                if (a.box(level, i).meets(other)) {
                    pending.append({i, pair.b, level, pair.levelB});
                }
            }
        } else {
            const int level = pair.levelB - 1;
            const Box& other = a.box(pair.levelA, pair.a);
            const qsizetype end = std::min(8 * pair.b + 8, b.count(level));
            for (qsizetype i = 8 * pair.b; i < end; ++i) {
                if (b.box(level, i).meets(other)) {
                    pending.append({pair.a, i, pair.levelA, level});
                }
            }
        }
    }
    return a.isRegular() && b.isRegular() && noiseMeets(a, b, properOnly, work);
}

} // namespace Cartolith::Core::Topology::Internal
