#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Map/Projection.h>
#include <Cartolith/Map/Snapshot/ShapeProjectorInternal.h>

#include <stdexcept>
#include <utility>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateSystemFactory;
using CoordinateSystems::CoordinateTransformer;
using Shapes::GisShapePoint;

namespace Cartolith::Map {

Projection::Result Projection::project(const Layers::GisLayerVector& source, const QString& crs) {
    auto to = CoordinateSystemFactory::fromUserInput(crs);
    if (to == nullptr) {
        throw std::runtime_error(
            QStringLiteral("'%1' is not a coordinate system that GDAL and PROJ know").arg(crs).toStdString());
    }
    return project(source, std::move(to));
}

Projection::Result Projection::project(const Layers::GisLayerVector& source,
                                       std::shared_ptr<CoordinateSystem> to) {
    const auto from = source.coordinateSystem();
    if (from == nullptr) {
        throw std::runtime_error(
            "the file does not say its coordinate system, so nothing can be transformed");
    }
    Internal::ShapeProjector projector(*from, *to);

    Result result;
    result.layer =
        Layers::GisLayerVector::createInMemory(source.name(), source.shapeType(), Shapes::GisExtent());
    for (const Layers::Defs::GisAttributeDefinition& field : source.attributeDefinitions()) {
        result.layer->addAttributeDefinition(field);
    }
    for (const auto& shape : source.items()) {
        if (auto projected = projector.project(*shape)) {
            result.layer->addShape(std::move(projected));
        } else {
            ++result.leftOut;
        }
    }
    result.layer->setCoordinateSystem(std::move(to));
    return result;
}

Projection::Mesh Projection::meshIn(const Shapes::GisExtent& extent, const CoordinateSystem& from,
                                    const CoordinateSystem& to) {
    const CoordinateTransformer transformer(from, to);
    constexpr int steps = 20;
    Mesh mesh;
    for (int i = 0; i < (steps + 1) * (steps + 1); ++i) {
        const double right = static_cast<double>(i % (steps + 1)) / steps;
        const int row = i / (steps + 1);
        try {
            const GisShapePoint place = transformer.transform(
                {extent.xMin() + right * extent.width(), extent.yMin() + extent.height() * row / steps});
            mesh.extent = mesh.extent.expand(place.extent());
        } catch (const std::runtime_error&) { // no place on the map
            mesh.isWhole = false;
        }
    }
    return mesh;
}

bool Projection::isIn(const Layers::GisLayer& layer, const CoordinateSystem& system) {
    return layer.coordinateSystem() != nullptr &&
           CoordinateSystemFactory::areEquivalent(*layer.coordinateSystem(), system);
}

GisShapePoint Projection::fromLonLat(const GisShapePoint& place, const CoordinateSystem* map) {
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    if (map == nullptr || degrees == nullptr) {
        return place;
    }
    return CoordinateTransformer(*degrees, *map).transform(place);
}

GisShapePoint Projection::toLonLat(const GisShapePoint& place, const CoordinateSystem& map) {
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    if (degrees == nullptr) {
        throw std::runtime_error("PROJ does not know EPSG:4326");
    }
    return CoordinateTransformer(map, *degrees).transform(place);
}

} // namespace Cartolith::Map
