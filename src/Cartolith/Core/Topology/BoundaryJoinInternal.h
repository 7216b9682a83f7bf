#pragma once

#include <Cartolith/Core/Topology/BoundaryInternal.h>

#include <QVarLengthArray>

#include <algorithm>

namespace Cartolith::Core::Topology::Internal {

/// Calls `visit(i, j)` for runs i of a and j of b whose boxes meet until it returns true, which is then the
/// result. \throws Stopped
template <typename Visit>
bool visitMeetingRuns(const Boundary& a, const Boundary& b, Work& work, Visit visit) {
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
            if (visit(pair.a, pair.b)) {
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
    return false;
}

/// The answer of BoundariesIntersect for two boundaries of the same tolerance. \throws Stopped
bool boundariesMeet(const Boundary& a, const Boundary& b, bool properOnly, Work& work);

/// What boxes cannot find: two segments that "meet" because their denominator is noise, and yet larger than
/// the tolerance. They lie on one line, anywhere on it. Finds every such pair of regular boundaries, and
/// tests it. Only segments long against the tolerance can do that, |r| |s| > tol / 4.3e-14; if there are none
/// this takes no time, else time in proportion to the segments, plus sorting of those whose direction occurs
/// in both. \throws Stopped
bool noiseMeets(const Boundary& a, const Boundary& b, bool properOnly, Work& work);

/// One pair, tested as it is.
inline bool pairMeets(const Boundary& a, qsizetype i, const Boundary& b, qsizetype j,
                      bool properOnly) noexcept {
    return properOnly ? segmentsMeetProperly(a.vertex(i), a.vertex(i + 1), b.vertex(j), b.vertex(j + 1),
                                             a.tolerance())
                      : segmentsMeet(a.vertex(i), a.vertex(i + 1), b.vertex(j), b.vertex(j + 1),
                                     a.tolerance(), nullptr);
}

} // namespace Cartolith::Core::Topology::Internal
