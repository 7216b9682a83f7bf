#pragma once

#include <Cartolith/Map/Drawing/WatchInternal.h>

#include <QPointF>

#include <vector>

namespace Cartolith::Map::Raster::Internal {

/// A ring on its way to the canvas.
struct PixelRing {
    std::vector<QPointF> points;
    double left, right, top, bottom;
};

/// For each ring 1 or -1, so that with these weights every place is enclosed once or not at all: a ring in an
/// odd number of others takes away, whichever way it is wound. Of n vertices the time is of n log n as long
/// as edges that pass the same heights lie beside each other, not across.
std::vector<float> ringSigns(const std::vector<PixelRing>& rings, std::size_t count,
                             const Map::Internal::Watch& watch);

} // namespace Cartolith::Map::Raster::Internal
