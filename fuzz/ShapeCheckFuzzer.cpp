// Any rings on a lattice: what CheckShape() finds nothing in GEOS calls valid, and what FixShape() makes is
// such a shape, of the area that GEOS makes of the fixed one.
#include "TopologyFuzz.h"

#include <ogr_api.h>

#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Fuzz::Lattice lattice(data, size);
    const auto shape = lattice.polygon();
    const test::GisTopology topology;
    const bool isSound = topology.CheckShape(*shape).isEmpty();
    Fuzz::require(!isSound || test::geometryOf(*shape)->IsValid() != 0, "sound, and GEOS calls it invalid",
                  {shape.get()});
    try {
        const auto fix = topology.FixShape(*shape);
        Fuzz::require(fix.shape != nullptr && fix.changes.isEmpty() == isSound, "changes", {shape.get()});
        Fuzz::require(topology.CheckShape(*fix.shape).isEmpty(), "fixed, and not sound",
                      {shape.get(), fix.shape.get()});
        const auto geometry = test::geometryOf(*fix.shape);
        Fuzz::require(geometry->IsValid() != 0, "fixed, and GEOS calls it invalid",
                      {shape.get(), fix.shape.get()});
        const double area = OGR_G_Area(OGRGeometry::ToHandle(geometry.get())); // of any type
        Fuzz::require(std::fabs(area - test::GisTopology::Area(*fix.shape)) <= 1e-9 * 256, "area",
                      {shape.get(), fix.shape.get()});
    } catch (const std::runtime_error& error) {
        Fuzz::require(false, error.what(), {shape.get()});
    }
    return 0;
}
