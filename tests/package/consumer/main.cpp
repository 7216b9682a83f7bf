#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Version.h>

#include <cstdio>

#ifdef LICENCE_NETWORK
bool asksNobodyOffline();
#else
static bool asksNobodyOffline() {
    return true;
}
#endif

int main() {
    using namespace Cartolith::Core;
    const auto layer = Layers::GisLayerVector::createInMemory("squares", Shapes::GisShapeType::Polygon, {});
    layer->addShape(Serialization::Wkt::GisWktReader::read("POLYGON ((0 0, 2 0, 2 2, 0 2, 0 0))"));
    const Shapes::GisShape* found = layer->findShapeAt({1, 1}, 0.0);
    std::printf("Cartolith %s: shape %d\n", CARTOLITH_VERSION_STRING, found != nullptr ? found->id() : -1);
    return found != nullptr && asksNobodyOffline() ? 0 : 1;
}
