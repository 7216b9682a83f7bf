#pragma once

#include <QPointF>

#include <vector>

namespace Cartolith::Map::Raster::Internal {

/// A ring on its way to the canvas.
struct PixelRing {
    std::vector<QPointF> points;
    double left, right, top, bottom;
};

/// For each ring 1 or -1, so that with these weights every place is enclosed once or not at all: a ring in an
/// odd number of others takes away, whichever way it is wound. Each pair of boxes is compared; vertices only
/// where one is in another.
std::vector<float> ringSigns(const std::vector<PixelRing>& rings, std::size_t count);

} // namespace Cartolith::Map::Raster::Internal
