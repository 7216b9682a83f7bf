#pragma once

#include <Cartolith/Map/Export.h>

#include <QSize>

namespace Cartolith::Core {
namespace CoordinateSystems {
class CoordinateSystem;
}
namespace Layers {
class GisVectorOverviews;
}
} // namespace Cartolith::Core

namespace Cartolith::Map {

/// The side of the smallest pixel anywhere on a picture of everything, in units of the source: what an
/// overview has to resolve. Found by steps at places all over the map; `mapSystem` is null for the source's
/// own. NaN when nobody can tell, as when the source does not say its coordinate system. \throws
/// std::runtime_error when the overviews cannot be opened
CARTOLITH_MAP_EXPORT double smallestPixel(const Core::Layers::GisVectorOverviews& overviews, QSize size,
                                          const Core::CoordinateSystems::CoordinateSystem* mapSystem);

} // namespace Cartolith::Map
