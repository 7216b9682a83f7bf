#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/MapView.h>

#include <QMarginsF>
#include <QSizeF>

#include <optional>

class QPdfWriter;
class QString;

namespace Cartolith::Map {
class GroundScale;
}

namespace Cartolith::Map::Output {

/// A sheet of paper with a map at a true scale: what is 100 mm on the sheet is that times the scale on the
/// ground, at the middle of the map.
struct CARTOLITH_MAP_EXPORT PageSetup {
    QSizeF size{210.0, 297.0};                 ///< millimetres, as the sheet is held
    QMarginsF margins{10.0, 10.0, 10.0, 10.0}; ///< millimetres; the map is what they leave
    double dotsPerInch = 300.0;                ///< pixels in 25.4 mm

    /// "A4", "letter" and the other names of QPageSize in any case, upright or on its side, however the paper
    /// of that name lies; nothing for a name that is none.
    static std::optional<PageSetup> named(const QString& name, bool isLandscape = false);

    /// The sheet in pixels, not rounded.
    QSizeF sizeInPixels() const;
    /// Where the map lies on it, in pixels; without a size when the margins leave nothing.
    QRectF frame() const;

    /// The map on the sheet, at 1 to `denominator` in the middle. Cannot be used where there is no room or
    /// no such scale.
    MapView view(QPointF center, double denominator, const GroundScale& ground) const;
    /// All of the extent. Sizes in styles are 1/96 inch on paper, too.
    MapView view(const Core::Shapes::GisExtent& extent) const;

    /// Has a painter on the writer use pixels of this sheet. Before QPainter::begin().
    /// \throws std::invalid_argument when dotsPerInch is no whole number, which writers need
    void apply(QPdfWriter& writer) const;
};

} // namespace Cartolith::Map::Output
