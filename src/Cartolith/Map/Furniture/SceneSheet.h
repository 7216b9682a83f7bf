#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Furniture/LegendStack.h>

#include <QImage>
#include <QList>

namespace Cartolith::Map {
class MapScene;
class MapSheet;
class MapView;
} // namespace Cartolith::Map

/// What a scene gives to a sheet.
namespace Cartolith::Map::Furniture {

enum class LegendCounts { Shown, Left };

/// The legends of what a scene shows in that view, the topmost layer first; layers that are hidden or not
/// open, and pictures in colours of their own, have none. Each has the layer's name as its title, a layer of
/// one style has it beside its sample. Classes that are drawn as nothing are left out.
///
/// Counting looks at all features in memory. Of layers that read what is asked, nothing is counted.
/// \throws std::runtime_error when a raster cannot be read
CARTOLITH_MAP_EXPORT QList<SheetLegend> legendsOf(const MapScene& scene, const MapView& view,
                                                  LegendCounts counts);

/// The inset maps of a sheet, without labels. Layers that cannot be read are left out. \throws std::bad_alloc
CARTOLITH_MAP_EXPORT QList<QImage> insetPictures(MapScene& scene, const MapSheet& sheet);

} // namespace Cartolith::Map::Furniture
