#include <Cartolith/Core/Shapes/SegmentFormulasInternal.h>
#include <Cartolith/Core/Topology/RingParityInternal.h>
#include <Cartolith/Core/Topology/RunStripInternal.h>

#include <limits>

namespace Cartolith::Core::Topology::Internal {

namespace {

/// Whether the ends of the chains of edges that runs make up lie on different sides of p in height an odd
/// number of times. A ring that is in the runs from its start to its end adds nothing.
bool isCrossedOddly(const Boundary& rings, const Boundary::Run& first, const Boundary::Run& last,
                    Position p) {
    const auto isAbove = [&](qsizetype vertex) { return rings.vertex(vertex).y > p.y; };
    const bool odd = isAbove(first.start) != isAbove(last.start + last.edges);
    if (first.part == last.part) {
        return odd;
    }
    const auto startOf = [&](const Boundary::Run& run) { return rings.part(run.part - 1).begin; };
    return odd != (isAbove(startOf(first)) != isAbove(startOf(last)));
}

} // namespace

bool isInOddNumberOfRings(const Boundary& rings, Position p, Work& work) {
    // The place where an edge crosses the height of p is computed with an error of at most 13 units in the
    // last place of the largest coordinate.
    const double noise = rings.isRegular() && rings.hasRuns() ? 0x1p-48 * largestCoordinate(rings.box())
                                                              : std::numeric_limits<double>::infinity();
    bool odd = false;
    qint64 visited = 0;
    rings.walk([&](int level, qsizetype node) {
        ++visited;
        const Box& box = rings.box(level, node);
        if (p.y < box.yMin || p.y >= box.yMax || p.x > box.xMax + noise) {
            return Boundary::Step::Skip;
        }
        if (p.x < box.xMin - noise) {
            const qsizetype end = std::min((node + 1) << (3 * level), rings.count(0));
            odd ^= isCrossedOddly(rings, rings.run(node << (3 * level)), rings.run(end - 1), p);
            return Boundary::Step::Skip;
        }
        if (level > 0) {
            return Boundary::Step::Down;
        }
        const Boundary::Run& run = rings.run(node);
        visited += run.edges;
        for (qsizetype i = run.start; i < run.start + run.edges; ++i) {
            const Position from = rings.vertex(i);
            const Position to = rings.vertex(i + 1);
            odd ^= Shapes::Internal::crossesToTheRight(p.x, p.y, to.x, to.y, from.x, from.y);
        }
        return Boundary::Step::Skip;
    });
    work.add(visited);
    return odd;
}

} // namespace Cartolith::Core::Topology::Internal
