#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Map/Export.h>

#include <optional>

namespace Cartolith::Map::Output {

/// Counted from the west and from the north, as in names z/x/y; a zoom has 2^z tiles to each side.
struct TileId {
    int zoom = 0;
    int x = 0;
    int y = 0;

    friend bool operator==(const TileId&, const TileId&) = default;
};

/// Tiles of one zoom, the last ones included.
struct TileRange {
    int zoom = 0;
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    qint64 count() const { return (qint64{right} - left + 1) * (qint64{bottom} - top + 1); }

    friend bool operator==(const TileRange&, const TileRange&) = default;
};

/// The square of Web Mercator (EPSG:3857, in its metres) quartered again and again, as web maps have it.
class CARTOLITH_MAP_EXPORT TileScheme {
public:
    TileScheme() = delete;

    static constexpr int maxZoom = 24;
    /// From the middle of the world to its edges.
    static constexpr double halfWorld = 20'037'508.342789244;

    static Core::Shapes::GisExtent extentOf(const TileRange& range);
    static Core::Shapes::GisExtent extentOf(const TileId& tile) {
        return extentOf(TileRange{tile.zoom, tile.x, tile.y, tile.x, tile.y});
    }

    /// What shows some of the extent: more than its edge, unless it is a single place. Nothing when it is
    /// empty or outside of the world, or there is no such zoom.
    static std::optional<TileRange> tilesOf(const Core::Shapes::GisExtent& extent, int zoom);
};

} // namespace Cartolith::Map::Output
