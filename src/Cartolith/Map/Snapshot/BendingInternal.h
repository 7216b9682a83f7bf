#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>

#include <limits>

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
class CuttingTransformer;
} // namespace CoordinateSystems
namespace Layers {
class GisLayer;
}
} // namespace Cartolith::Core

namespace Cartolith::Map {
class MapView;
}

namespace Cartolith::Map::Internal {

/// How closely edges that bend on the map are followed: finely in one part of it, which is what somebody
/// looks at, and elsewhere as for a picture of everything that is larger than any.
struct Bending {
    double tolerance = std::numeric_limits<double>::infinity(); ///< in map units
    Core::Shapes::GisExtent part; ///< where `toleranceThere` holds; may be empty
    double toleranceThere = 0.0;

    /// So that nothing of it shows where the whole layer is so many pixels wide; infinite for an empty layer.
    static double ofAll(const Core::Layers::GisLayer& layer,
                        const Core::CoordinateSystems::CoordinateSystem& mapSystem, double pixels = 20'000.0);
    /// Half a pixel in a part of the map; so, or as coarse as is given, elsewhere.
    static Bending within(const Core::Shapes::GisExtent& part, double unitsPerPixel, double ofAll);
    /// Half a pixel in the view and as much around it; without one that can be used, as for a large picture.
    static Bending of(const Core::Layers::GisLayer& layer, const MapView& view,
                      const Core::CoordinateSystems::CoordinateSystem& mapSystem);

    /// Whether the view shows straight pieces for bends nowhere.
    bool isFineEnough(const MapView& view) const;
    void applyTo(Core::CoordinateSystems::CuttingTransformer& cutting) const;
};

} // namespace Cartolith::Map::Internal
