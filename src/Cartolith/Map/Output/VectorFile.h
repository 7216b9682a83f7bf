#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/MapDrawing.h>
#include <Cartolith/Map/Output/PageSetup.h>

#include <QStringList>

#include <functional>
#include <optional>

class QPainter;

namespace Cartolith::Map {
class MapScene;
}

namespace Cartolith::Map::Output {

struct VectorOptions {
    /// The sheet that the view lies on, as PageSetup::view() makes one. Without, it reaches from the view's
    /// origin to the end of its frame.
    std::optional<PageSetup> page = std::nullopt;
    QString title = {}; ///< of the document; not drawn
    /// Titles, legends and whatever else belongs to the sheet, in its pixels; first what lies below the map.
    std::function<void(QPainter&)> below = {};
    std::function<void(QPainter&)> above = {};
    /// Says in a PDF where on earth the map is, where that is known.
    bool isGeoreferenced = true;
    /// Told the share that is done, from 0 to 1; false cancels.
    std::function<bool(double fraction)> progress = {};
};

struct VectorReport {
    bool isComplete = false; ///< false when it was cancelled: then the file is as it was
    QStringList pictures;    ///< the layers that are pictures in the file, not vectors
    QStringList problems;    ///< layers of a scene that could not be drawn, and why
};

/// Maps as SVG or PDF, by the ending of the name: shapes as vectors, labels as text, rasters as pictures,
/// each layer with its opacity and blend mode as one.
///
/// SVG has groups named by layer and feature id (SvgWriter). PDF is at the true scale of the view, to a
/// hundredth of a millimetre at 300 dots to the inch, and says where its map is (PdfGeoreference), except
/// where the map has no coordinate system or no place on earth. What lies outside of the frame is cut off.
/// Lines keep their width, also below a pixel; shapes that are too small to be seen are there.
///
/// Labels are placed anew, as for a first picture of this view; fonts need a QGuiApplication. Memory is that
/// of the drawing, and of a PDF three times its bytes. Files are written by OutputFile::write(). A drawing
/// may be saved on any thread.
class CARTOLITH_MAP_EXPORT VectorFile {
public:
    VectorFile() = delete;

    /// ".svg" and ".pdf", in any case.
    static bool isFormat(const QString& path);

    /// \throws std::invalid_argument for a view that cannot be used, an ending that is neither, and a page
    /// of a PDF whose resolution is no multiple of 1/8; std::runtime_error "'...' could not be written: ..."
    static VectorReport save(const MapDrawing& drawing, const QString& path,
                             const VectorOptions& options = {});

    /// All at once, on the thread of the scene. Layers that cannot be read are left out and reported.
    static VectorReport save(MapScene& scene, const MapView& view, const QString& path,
                             const VectorOptions& options = {});
};

} // namespace Cartolith::Map::Output
