// Coordinate systems: longitude and latitude to metres, for a point and for a whole shape.
// Read 01-shapes first.

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <cstdio>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystemFactory;

int main() {
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    const auto metres = CoordinateSystemFactory::fromEpsg(3006);
    if (degrees == nullptr || metres == nullptr) {
        return 1; // the factory does not throw: an unknown system is a null pointer
    }
    std::printf("%s -> %s\n", qPrintable(degrees->name()), qPrintable(metres->name()));

    // x is always the longitude or easting, whatever the authority's axis order.
    const CoordinateSystems::CoordinateTransformer transformer(*degrees, *metres);
    const Shapes::GisShapePoint stockholm = transformer.transform(Shapes::GisShapePoint(18.07, 59.33));
    std::printf("Stockholm at %.0f m east, %.0f m north\n", stockholm.x(), stockholm.y());

    const auto road = Serialization::Wkt::GisWktReader::read("LINESTRING (18.07 59.33, 17.64 59.86)");
    const auto roadInMetres = transformer.transformShape(*road); // a new shape; the old one is untouched
    std::printf("the road goes %s\n", qPrintable(roadInMetres->extent().toString()));
    return 0;
}
