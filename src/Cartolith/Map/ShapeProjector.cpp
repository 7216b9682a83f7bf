#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Map/ShapeProjectorInternal.h>

#include <algorithm>
#include <stdexcept>

using namespace Cartolith::Core;
using CoordinateSystems::CoordinateSystem;
using Shapes::GisExtent;
using Shapes::GisShape;
using Shapes::GisShapePoint;

namespace Cartolith::Map::Internal {

namespace {

std::optional<GisExtent> bandAroundTheWorld(const CoordinateSystem& source, const CoordinateSystem& target) {
    const auto area = CoordinateSystems::CoordinateSystemFactory::areaOfUse(target);
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

ShapeProjector::ShapeProjector(const CoordinateSystem& from, const CoordinateSystem& to)
    : m_transformer(from, to), m_band(bandAroundTheWorld(from, to)) {}

std::unique_ptr<GisShape> ShapeProjector::project(const GisShape& shape) const {
    if (m_band && !shape.intersects(*m_band)) {
        return nullptr;
    }
    try {
        if (m_band && reachesBeyond(shape.extent(), *m_band)) {
            const auto cut = shape.clone();
            moveIntoBand(*cut, *m_band);
            return m_transformer.transformShape(*cut);
        }
        return m_transformer.transformShape(shape);
    } catch (const std::runtime_error&) {
        return nullptr;
    } catch (const std::invalid_argument&) { // a host's own class of shape
        return nullptr;
    }
}

} // namespace Cartolith::Map::Internal
