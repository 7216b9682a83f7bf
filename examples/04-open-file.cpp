// A layer from a file: any format that OGR opens, with its fields and its coordinate system.
// Read 03-layer first. Takes the file as its argument.

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>

#include <cstdio>
#include <exception>

using namespace Cartolith::Core;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    try {
        Layers::GisLayerOgrVector layer(QString::fromLocal8Bit(argv[1]));
        layer.open();
        std::printf("%d shapes, %s\n", layer.count(),
                    layer.coordinateSystem() ? qPrintable(layer.coordinateSystem()->name())
                                             : "no coordinate system");

        // A null in the file is an absent attribute, never 0 or "".
        for (const Layers::Defs::GisAttributeDefinition& field : layer.attributeDefinitions()) {
            int known = 0;
            for (const auto& shape : layer.items()) {
                known += shape->attributeValue(field.name()).isValid() ? 1 : 0;
            }
            std::printf("  %-12s known for %d\n", qPrintable(field.name()), known);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what()); // the file's name and GDAL's own reason
        return 1;
    }
    return 0;
}
