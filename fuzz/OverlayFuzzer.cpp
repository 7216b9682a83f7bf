// Two polygons on a lattice or near one, fixed first: with fallback the areas of the four operations are
// right to a millionth of the smaller polygon, and to the grid that fixing puts places on at worst.
#include "Topology/PlainAreas.h"
#include "TopologyFuzz.h"

#include <Cartolith/Core/Topology/GisOverlayCheck.h>

#include <stdexcept>

namespace {

using test::GisShape;
using test::GisTopology;

plain::Edges edgesOf(const GisShape& shape) {
    return plain::edgesByNesting(dynamic_cast<const test::GisShapePolygon&>(shape));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using Type = Cartolith::Core::Topology::GisTopologyCombineType;
    Fuzz::Lattice lattice(data, size);
    GisTopology topology;
    const auto a = lattice.polygon();
    const auto b = lattice.polygon();
    lattice.distort({a.get(), b.get()});
    // The check reads any rings.
    topology.CheckOverlay(*a, *b, Type::Union, *a);
    std::unique_ptr<GisShape> fixedA;
    std::unique_ptr<GisShape> fixedB;
    try {
        fixedA = topology.FixShape(*a).shape;
        fixedB = topology.FixShape(*b).shape;
    } catch (const std::runtime_error&) {
        return 0; // the fuzzer of FixShape() finds that
    }
    const plain::Edges edgesA = edgesOf(*fixedA);
    const plain::Edges edgesB = edgesOf(*fixedB);
    const auto areaA = static_cast<double>(edgesA.area);
    const auto areaB = static_cast<double>(edgesB.area);
    const auto common = static_cast<double>(plain::commonArea(edgesA, edgesB));
    const auto reachOf = [](const plain::Edges& edges) { return edges.length > 0.0L ? edges.reach() : 0.0; };
    const double reach = std::max({1e-300, reachOf(edgesA), reachOf(edgesB)}); // without edges it is infinite
    const double rounding = 0x1p-46 * reach * static_cast<double>(edgesA.length + edgesB.length);
    topology.SetOverlayFallback(true);
    const std::pair<Type, double> expected[] = {{Type::Union, areaA + areaB - common},
                                                {Type::Intersection, common},
                                                {Type::Difference, areaA - common},
                                                {Type::SymmetricalDifference, areaA + areaB - 2 * common}};
    for (const auto& [type, area] : expected) {
        const auto result = topology.Combine(*fixedA, *fixedB, type);
        const double off = std::fabs(static_cast<double>(edgesOf(*result).area) - area);
        const double smaller = type == Type::Difference ? areaA : std::min(areaA, areaB);
        Fuzz::require(off <= 1e-6 * smaller + rounding, "area off",
                      {fixedA.get(), fixedB.get(), result.get()});
    }
    return 0;
}
