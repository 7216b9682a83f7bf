#pragma once

#include <Cartolith/Map/Drawing/WatchInternal.h>
#include <Cartolith/Map/Raster/Stroke.h>
#include <Cartolith/Map/Raster/StrokeMaskInternal.h>

namespace Cartolith::Map::Raster::Internal {

/// Puts one part of a line onto a mask, so wide; its dashes when there are any. No vertex is
/// where the one before is.
void addStroke(StrokeMask& mask, const std::vector<QPointF>& points, bool isClosed, const Stroke& stroke,
               double width, const Map::Internal::Watch& watch);

} // namespace Cartolith::Map::Raster::Internal
