// A spatial index by hand: which of many shapes meet a rectangle?
// Read 01-shapes first. Layers (03-layer) keep such an index for you.

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>

#include <cstdio>
#include <memory>
#include <vector>

using namespace Cartolith::Core;

int main() {
    // An index does not own its shapes: keep them alive as long as it is asked.
    std::vector<std::unique_ptr<Shapes::GisShapePoint>> trees;
    QList<Shapes::GisShape*> shapes;
    for (int i = 0; i < 10000; ++i) {
        trees.push_back(std::make_unique<Shapes::GisShapePoint>(i % 100, i / 100));
        shapes.append(trees.back().get());
    }

    Spatial::RTree::RTreeSpatialIndex index(64, Spatial::RTree::RTreeBuildStrategy::Hilbert);
    index.build(shapes);

    const QList<Shapes::GisShape*> found = index.search(Shapes::GisExtent(10, 10, 12, 11));
    std::printf("%lld of %lld points in the window\n", static_cast<long long>(found.size()),
                static_cast<long long>(shapes.size()));
    return found.size() == 6 ? 0 : 1;
}
