// Two polygons on a lattice, fixed first: with fallback the areas of the four operations balance, and are
// those that GEOS gives.
#include "TopologyFuzz.h"

#include <Cartolith/Core/Topology/GisOverlayCheck.h>

#include <ogr_api.h>

#include <stdexcept>

namespace {

using test::GisShape;
using test::GisTopology;

double geosArea(const test::Geometry& geometry) {
    return geometry == nullptr ? 0.0 : OGR_G_Area(OGRGeometry::ToHandle(geometry.get())); // of any type
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using Type = Cartolith::Core::Topology::GisTopologyCombineType;
    Fuzz::Lattice lattice(data, size);
    GisTopology topology;
    const auto a = lattice.polygon();
    const auto b = lattice.polygon();
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
    const auto rightA = test::geometryOf(*fixedA);
    const auto rightB = test::geometryOf(*fixedB);
    const double common = geosArea(test::Geometry(rightA->Intersection(rightB.get())));
    const double areaA = GisTopology::Area(*fixedA);
    const double areaB = GisTopology::Area(*fixedB);
    topology.SetOverlayFallback(true);
    const std::pair<Type, double> expected[] = {{Type::Union, areaA + areaB - common},
                                                {Type::Intersection, common},
                                                {Type::Difference, areaA - common},
                                                {Type::SymmetricalDifference, areaA + areaB - 2 * common}};
    for (const auto& [type, area] : expected) {
        const auto result = topology.Combine(*fixedA, *fixedB, type);
        const double off = std::fabs(GisTopology::Area(*result) - area);
        // The painter path rounds places to some 1e-6; a plausible result may be off by small pieces.
        Fuzz::require(off <= 1e-2 * std::max(1.0, std::min(areaA, areaB)), "area off",
                      {fixedA.get(), fixedB.get(), result.get()});
    }
    return 0;
}
