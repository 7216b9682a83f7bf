#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/SimplificationInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/WorkInternal.h>

#include <typeinfo>
#include <utility>

namespace Cartolith::Core::Topology {

using Shapes::GisShape;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

template <typename Shape, typename Simplified>
std::unique_ptr<GisShape> simplifiedShape(const GisShape& shape, double tolerance,
                                          const GisTopology& topology, Simplified simplifiedParts) {
    return Internal::unlessStopped([&]() -> std::unique_ptr<GisShape> {
        Internal::Work work(&topology);
        auto result = std::make_unique<Shape>();
        result->parts() = simplifiedParts(static_cast<const Shape&>(shape).parts(), tolerance,
                                          [&work](qint64 looks) { work.add(looks); });
        shape.copyAttributesTo(*result);
        return result;
    });
}

} // namespace

std::unique_ptr<GisShape> GisTopology::Simplify(const GisShape& shape, double tolerance) const {
    if (typeid(shape) == typeid(GisShapePolyline)) {
        return simplifiedShape<GisShapePolyline>(shape, tolerance, *this, Shapes::Internal::simplifiedLines);
    }
    if (typeid(shape) == typeid(GisShapePolygon)) {
        return simplifiedShape<GisShapePolygon>(shape, tolerance, *this, Shapes::Internal::simplifiedRings);
    }
    std::unique_ptr<GisShape> simplified = shape.simplify(tolerance);
    return simplified != nullptr ? std::move(simplified) : shape.clone();
}

} // namespace Cartolith::Core::Topology
