// Two lines on a lattice: crossings are those of comparing each pair of segments; pieces, loops and
// distances agree with them.
#include "TopologyFuzz.h"

#include <Cartolith/Core/Topology/GisCrossing.h>

namespace {

using Cartolith::Core::Topology::GisCrossing;
using test::GisShapePoint;
using test::GisTopology;
using test::Part;

/// On a lattice of 16 by 16 different crossings of segments lie farther apart.
constexpr double near = 1e-6;

bool holds(const QList<GisCrossing>& crossings, const GisShapePoint& p) {
    return std::any_of(crossings.begin(), crossings.end(),
                       [&p](const GisCrossing& c) { return GisTopology::SamePoint(c.point, p, near); });
}

void checkAgainstEachPair(const test::GisShapePolyline& a, const test::GisShapePolyline& b,
                          const QList<GisCrossing>& crossings) {
    double nearest = std::numeric_limits<double>::infinity();
    for (const Part& first : a.parts()) {
        for (const Part& second : b.parts()) {
            for (qsizetype i = 1; i < first.size(); ++i) {
                for (qsizetype j = 1; j < second.size(); ++j) {
                    GisShapePoint p;
                    if (GisTopology::ProperSegmentIntersection(first[i - 1], first[i], second[j - 1],
                                                               second[j], 1e-9)) {
                        GisTopology::SegmentIntersectionPoint(first[i - 1], first[i], second[j - 1],
                                                              second[j], 1e-9, &p);
                        Fuzz::require(holds(crossings, p), "a crossing is missing", {&a, &b});
                        nearest = 0.0;
                    }
                    for (const auto& [v, from, to] : {std::tuple(first[i - 1], second[j - 1], second[j]),
                                                      {first[i], second[j - 1], second[j]},
                                                      {second[j - 1], first[i - 1], first[i]},
                                                      {second[j], first[i - 1], first[i]}}) {
                        nearest =
                            std::min(nearest, test::GisShapePolyline::distancePointToSegment(v, from, to));
                    }
                }
            }
        }
    }
    const bool haveSegments =
        !a.isEmpty() && !b.isEmpty() &&
        std::none_of(a.parts().begin(), a.parts().end(), [](const Part& part) { return part.size() == 1; }) &&
        std::none_of(b.parts().begin(), b.parts().end(), [](const Part& part) { return part.size() == 1; });
    if (haveSegments) {
        Fuzz::require(std::fabs(GisTopology().Distance(a, b) - nearest) <= 1e-12 ||
                          GisTopology().Distance(a, b) == nearest,
                      "distance", {&a, &b});
        Fuzz::require(crossings.isEmpty() == (nearest > near), "meets at a distance, or not without one",
                      {&a, &b});
    }
    for (const GisCrossing& c : crossings) {
        Fuzz::require(GisTopology::PointOnBoundary(a, c.point, near) &&
                          GisTopology::PointOnBoundary(b, c.point, near),
                      "a crossing beside the lines", {&a, &b});
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Fuzz::Lattice lattice(data, size);
    const auto a = lattice.line();
    const auto b = lattice.line();
    const GisTopology topology;
    const QList<GisCrossing> crossings = topology.GetCrossings(*a, *b);
    checkAgainstEachPair(*a, *b, crossings);
    checkAgainstEachPair(*b, *a, topology.GetCrossings(*b, *a));
    for (const auto* pieces : {"by the other", "by itself"}) {
        double length = 0;
        for (const auto& piece : *pieces == 'b' && pieces[3] == 't' ? topology.SplitByLine(*a, *b)
                                                                    : topology.SplitAtSelfCrossings(*a)) {
            length += GisTopology::Length(*piece);
        }
        double whole = 0;
        for (const Part& part : a->parts()) {
            whole += part.size() > 1
                         ? GisTopology::Length(*test::shapeOfParts<test::GisShapePolyline>({part}))
                         : 0;
        }
        Fuzz::require(std::fabs(length - whole) <= 1e-6, pieces, {a.get(), b.get()});
    }
    // A spike on a loop may leave a loop, so only the length is sure.
    const auto rest = topology.RemoveLoops(*a, 1e9);
    Fuzz::require(rest != nullptr && GisTopology::Length(*rest) <= GisTopology::Length(*a) + 1e-6,
                  "longer without loops", {a.get(), rest.get()});
    return 0;
}
