// A layer in memory: it owns its shapes, numbers them from 1, keeps an index and answers clicks.
// Read 01-shapes first.

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>

#include <cstdio>
#include <memory>

using namespace Cartolith::Core;

namespace {

std::unique_ptr<Shapes::GisShapePolygon> square(double x, double y, double side, const char* name) {
    auto shape = std::make_unique<Shapes::GisShapePolygon>();
    shape->parts().append({{x, y}, {x + side, y}, {x + side, y + side}, {x, y + side}, {x, y}});
    shape->attributes().insert("name", name);
    return shape;
}

} // namespace

int main() {
    const auto layer =
        Layers::GisLayerVector::createInMemory("plots", Shapes::GisShapeType::Polygon, Shapes::GisExtent());
    layer->addShape(square(0, 0, 10, "meadow"));
    layer->addShape(square(6, 6, 10, "forest")); // overlaps the meadow
    layer->addShape(square(40, 0, 5, "pond"));

    std::printf("%d shapes in %s\n", layer->count(), qPrintable(layer->extent().toString()));

    // Which shapes does a window of the map show? The first query builds the index.
    std::printf("%lld in view\n",
                static_cast<long long>(layer->query(Shapes::GisExtent(0, 0, 20, 20)).size()));

    // What lies under the cursor? The tolerance is in map units.
    const Shapes::GisShape* clicked = layer->findShapeAt({42, 2}, 0.5);
    if (clicked == nullptr) {
        return 1;
    }
    std::printf("clicked: %s, id %d\n", qPrintable(clicked->attributeValue("name").toString()),
                clicked->id());
    return 0;
}
