// Shapes and text: make a polygon, ask it questions, write it as WKT and read it back.
// Read this one first.

#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

using namespace Cartolith::Core;

int main() {
    Shapes::GisShapePolygon field;
    field.parts().append({{0, 0}, {40, 0}, {40, 25}, {0, 25}, {0, 0}}); // one closed ring, x before y
    field.attributes().insert("crop", "barley");

    const Shapes::GisShapePoint label = field.labelPoint();
    std::printf("label at (%g, %g), box %s\n", label.x(), label.y(), qPrintable(field.extent().toString()));

    const QString text = field.toWkt();
    std::printf("%s\n", qPrintable(text));

    // The reader tells the kind from the text; the shape is owned by the pointer it returns.
    const std::unique_ptr<Shapes::GisShape> copy = Serialization::Wkt::GisWktReader::read(text);
    std::printf("(10, 10) is %s\n", copy->contains({10, 10}, 0.0) ? "inside" : "outside");

    try {
        Serialization::Wkt::GisWktReader::read("POINT (1)");
    } catch (const std::runtime_error& error) {
        std::printf("refused: %s\n", error.what());
        return 0;
    }
    return 1;
}
