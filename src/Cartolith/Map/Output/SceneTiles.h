#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Output/TileWriter.h>

namespace Cartolith::Map {
class MapScene;
}

namespace Cartolith::Map::Output {

struct SceneTilesOptions {
    /// Pixels for each of a style's: 2 for displays with dense pixels, with tiles of 512.
    double devicePixelRatio = 1.0;
    TileWriter::Progress progress = {};
    /// Changes the picture of each metatile before it is cut.
    std::function<void(QImage& picture)> finish = {};
};

/// A scene as tiles for the web. Neighbours are cuts of one large picture: what crosses their common edge
/// goes on in the other, labels too.
///
/// Labels are placed once for each zoom, for all of its tiles together, in blocks of at most 16,384 pixels to
/// each side: within a block as on one map; none crosses from one block to the next. Which layers and labels
/// a zoom shows is decided by its scale in the middle of the extent, also where the scale elsewhere is
/// another.
///
/// Memory is that of the layers' snapshots, of the labels of a block, and of one metatile's pictures. Layers
/// that read what is asked, and rasters, are read for each metatile; for labels, a block at a time.
/// On the thread of the scene's layers. No thread is started.
class CARTOLITH_MAP_EXPORT SceneTiles {
public:
    SceneTiles() = delete;

    /// As TileWriter::write() has it. An empty extent is that of the scene. A host that may draw another map
    /// to the same name says so in TileJob::mark.
    /// \throws std::invalid_argument also for a scene that is not in EPSG:3857; std::runtime_error also when
    /// a layer cannot be read
    static TileWriter::Result write(MapScene& scene, const QString& path, TileJob job,
                                    const SceneTilesOptions& options = {});
};

} // namespace Cartolith::Map::Output
