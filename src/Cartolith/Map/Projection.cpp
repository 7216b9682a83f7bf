#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisAttributeDefinition.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Map/Projection.h>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using CoordinateSystems::CoordinateSystemFactory;
using CoordinateSystems::CoordinateTransformer;
using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapePoint;

namespace Cartolith::Map {

namespace {

/// The band of latitudes to keep to, when there is one.
std::optional<GisExtent> bandAroundTheWorld(const CoordinateSystem& source, const CoordinateSystem& target) {
    const auto area = CoordinateSystemFactory::areaOfUse(target);
    const bool isBand = area && area->width() >= 359.0 && area->height() < 179.0;
    return source.isGeographic() && isBand ? area : std::nullopt;
}

void moveIntoBand(GisShape& shape, const GisExtent& band) {
    const auto move = [&band](QList<QList<GisShapePoint>>& parts) {
        for (QList<GisShapePoint>& part : parts) {
            for (GisShapePoint& vertex : part) {
                vertex.setY(std::clamp(vertex.y(), band.yMin(), band.yMax()));
            }
        }
    };
    if (auto* polygon = dynamic_cast<Shapes::GisShapePolygon*>(&shape)) {
        move(polygon->parts());
    } else if (auto* line = dynamic_cast<Shapes::GisShapePolyline*>(&shape)) {
        move(line->parts());
    }
}

bool reachesBeyond(const GisExtent& extent, const GisExtent& band) {
    return extent.yMin() < band.yMin() || extent.yMax() > band.yMax();
}

} // namespace

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
    const CoordinateTransformer transformer(*from, *to);
    const std::optional<GisExtent> band = bandAroundTheWorld(*from, *to);

    Result result;
    result.layer = Layers::GisLayerVector::createInMemory(source.name(), source.shapeType(), GisExtent());
    for (const Layers::Defs::GisAttributeDefinition& field : source.attributeDefinitions()) {
        result.layer->addAttributeDefinition(field);
    }
    for (const auto& shape : source.items()) {
        if (band && !shape->intersects(*band)) {
            ++result.leftOut;
            continue;
        }
        try {
            if (band && reachesBeyond(shape->extent(), *band)) {
                const auto cut = shape->clone();
                moveIntoBand(*cut, *band);
                result.layer->addShape(transformer.transformShape(*cut));
            } else {
                result.layer->addShape(transformer.transformShape(*shape));
            }
        } catch (const std::runtime_error&) {
            ++result.leftOut;
        }
    }
    result.layer->setCoordinateSystem(std::move(to));
    return result;
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
