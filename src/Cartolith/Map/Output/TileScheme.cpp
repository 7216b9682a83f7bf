#include <Cartolith/Map/Output/TileScheme.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Map::Output {

namespace {

double tileSize(int zoom) {
    return std::ldexp(TileScheme::halfWorld, 1 - zoom);
}

} // namespace

Core::Shapes::GisExtent TileScheme::extentOf(const TileRange& range) {
    const double size = tileSize(range.zoom);
    return {range.left * size - halfWorld, halfWorld - (range.bottom + 1.0) * size,
            (range.right + 1.0) * size - halfWorld, halfWorld - range.top * size};
}

std::optional<TileRange> TileScheme::tilesOf(const Core::Shapes::GisExtent& extent, int zoom) {
    const Core::Shapes::GisExtent world(-halfWorld, -halfWorld, halfWorld, halfWorld);
    if (zoom < 0 || zoom > maxZoom || !extent.intersects(world)) {
        return std::nullopt;
    }
    const double size = tileSize(zoom);
    const double last = std::ldexp(1.0, zoom) - 1;
    const auto first = [&](double offset) {
        return static_cast<int>(std::clamp(std::floor(offset / size), 0.0, last));
    };
    const auto end = [&](double offset, int from) {
        return std::max(from, static_cast<int>(std::clamp(std::ceil(offset / size) - 1, 0.0, last)));
    };
    TileRange range{zoom, first(extent.xMin() + halfWorld), first(halfWorld - extent.yMax()), 0, 0};
    range.right = end(extent.xMax() + halfWorld, range.left);
    range.bottom = end(halfWorld - extent.yMin(), range.top);
    return range;
}

} // namespace Cartolith::Map::Output
