#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Map/Export.h>

#include <QString>

#include <memory>

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
}
namespace Layers {
class GisLayer;
class GisLayerVector;
} // namespace Layers
} // namespace Cartolith::Core

/// Taking layers and places into the map's coordinate system.
namespace Cartolith::Map::Projection {

struct Result {
    std::unique_ptr<Core::Layers::GisLayerVector> layer;
    int leftOut = 0; ///< shapes of which the map has nothing
};

/// A new layer with every shape of the source, ids in the source's order, and its fields, in another
/// coordinate system.
///
/// Shapes are cut where the map ends (CuttingTransformer); between their vertices, edges stay straight.
/// \throws std::runtime_error when the source has no coordinate system or the target is unknown
CARTOLITH_MAP_EXPORT Result project(const Core::Layers::GisLayerVector& source, const QString& crs);
CARTOLITH_MAP_EXPORT Result project(const Core::Layers::GisLayerVector& source,
                                    std::shared_ptr<Core::CoordinateSystems::CoordinateSystem> to);

/// The box around a mesh of points of an extent in another coordinate system, as far as they have a place
/// there; empty when none has.
struct Mesh {
    Core::Shapes::GisExtent extent;
    bool isWhole = true; ///< every point has
};
/// \throws std::runtime_error when nothing leads from one to the other
CARTOLITH_MAP_EXPORT Mesh meshIn(const Core::Shapes::GisExtent& extent,
                                 const Core::CoordinateSystems::CoordinateSystem& from,
                                 const Core::CoordinateSystems::CoordinateSystem& to);

/// Whether the layer knows its coordinate system and it is this one.
CARTOLITH_MAP_EXPORT bool isIn(const Core::Layers::GisLayer& layer,
                               const Core::CoordinateSystems::CoordinateSystem& system);

/// Longitude and latitude in degrees (WGS 84) to the map's units; unchanged when the map has no system.
CARTOLITH_MAP_EXPORT Core::Shapes::GisShapePoint
fromLonLat(const Core::Shapes::GisShapePoint& place, const Core::CoordinateSystems::CoordinateSystem* map);

/// The way back: the map's units to longitude and latitude in degrees.
CARTOLITH_MAP_EXPORT Core::Shapes::GisShapePoint
toLonLat(const Core::Shapes::GisShapePoint& place, const Core::CoordinateSystems::CoordinateSystem& map);

} // namespace Cartolith::Map::Projection
