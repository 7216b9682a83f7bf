#pragma once

#include <Cartolith/Map/Export.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

namespace Cartolith::Map {
class MapView;
}

namespace Cartolith::Map::Output {

/// Says in a PDF where on earth its map lies, so that GIS programs read it in place and viewers show
/// coordinates: a viewport with a geospatial measure (ISO 32000-2, 12.9 and 12.10).
///
/// The file gets an incremental update: its bytes stay, a new version of one page comes behind them, with a
/// cross-reference table of its own. Files of QPdfWriter and others with plain tables can be extended; what
/// is encrypted, compressed in its structure, damaged, or has such a viewport already is refused and stays
/// as it is. Files are held in memory, up to 1 GB.
///
/// The view's frame is in pixels from the upper left corner of the sheet, of which dotsPerInch() go into 25.4
/// mm: those of a painter set up by PageSetup::apply(). The map may be turned. Where corners of the map are
/// no place on earth, as on a map of the world, places nearer to its middle are written.
/// Needs PROJ; one call is used by one thread.
class CARTOLITH_MAP_EXPORT PdfGeoreference {
public:
    PdfGeoreference() = delete;

    /// What is to be appended. Pages are counted from 0.
    /// \throws std::runtime_error "this PDF cannot be extended: ...", and when PROJ does not know the system
    /// or the map has no place on earth
    /// \throws std::invalid_argument for a view that cannot be used or lies outside the page
    static QByteArray update(QByteArrayView pdf, const MapView& view,
                             const Core::CoordinateSystems::CoordinateSystem& system, int page = 0);

    /// The file with its update, in its place; see OutputFile::write().
    /// \throws std::runtime_error also when it cannot be read or written
    static void addTo(const QString& path, const MapView& view,
                      const Core::CoordinateSystems::CoordinateSystem& system, int page = 0);
};

} // namespace Cartolith::Map::Output
