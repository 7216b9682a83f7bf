#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/Output/PictureFile.h>
#include <Cartolith/Map/Output/TileScheme.h>

#include <QString>

#include <functional>

class QImage;
class QSize;

namespace Cartolith::Map::Output {

struct TileJob {
    Core::Shapes::GisExtent extent; ///< EPSG:3857
    int minZoom = 0;
    int maxZoom = 0;
    int tileSize = 256; ///< pixels, from 64 to 1024
    int metatile = 8;   ///< tiles to each side that are drawn as one, from 1 to 16
    int buffer = 64;    ///< pixels drawn around them and cut off, up to 1024: what symbols reach over an edge
    QByteArray format = "png";
    PictureOptions picture = {.dotsPerInch = 0};
    QString name = {};
    QString description = {};
    QString attribution = {};
    /// What is drawn, for instance a checksum of layers and styles. A run that was broken off is continued
    /// by one of the same settings and the same mark only.
    QString mark = {};
};

/// Draws a map as tiles for the web: an MBTiles file (version 1.3), or a folder of z/x/y.png with a
/// metadata.json, by the ending of the name.
///
/// All goes into NAME.part, which gets its name when it is complete: what has the name is whole. A run that
/// was cancelled or killed leaves NAME.part; the next one keeps its tiles and draws the others. Tiles are
/// final with their metatile, in one transaction in MBTiles, by renaming in a folder; after a power cut, a
/// tile of a folder that does not end as its format does (PNG, JPEG, WebP) is drawn again. Tiles of a single
/// colour are stored once for each.
///
/// Memory is that of one metatile with its buffer. No thread is started; one call is used by one thread.
class CARTOLITH_MAP_EXPORT TileWriter {
public:
    TileWriter() = delete;

    enum class Result : int {
        Complete = 0,
        Cancelled = 1,
    };

    /// The map of the extent (EPSG:3857) in so many pixels.
    using Draw = std::function<QImage(const Core::Shapes::GisExtent& extent, QSize size)>;
    /// Told the share that is done, from 0 to 1, after each metatile; false cancels.
    using Progress = std::function<bool(double fraction)>;

    /// Finds out whether tiles can be written there, before what they show is read. Leaves nothing behind.
    /// What is in NAME.part is looked at by write() alone. \throws std::runtime_error "'...' could not be
    /// written: ..."
    static void requireWritable(const QString& path);

    /// An MBTiles file of that name is replaced, a folder is not. What `draw` throws is passed on, and
    /// leaves what a cancelled run leaves.
    /// \throws std::invalid_argument for settings out of their range, and an extent that is not in the world
    /// \throws std::runtime_error "'...' could not be written: ...": the disk fails, another program is
    /// writing it, a folder of that name is there, NAME.mbtiles has a log of SQLite beside it, or NAME.part
    /// is another map's or another user's; and when `draw` gives a picture of another size
    static Result write(const QString& path, const TileJob& wanted, const Draw& draw,
                        const Progress& progress = {});
};

} // namespace Cartolith::Map::Output
