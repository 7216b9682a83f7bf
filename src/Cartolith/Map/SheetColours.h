#pragma once

#include <Cartolith/Map/Export.h>

#include <QColor>

namespace Cartolith::Core::Symbology {
struct GisSymbolTheme;
}

namespace Cartolith::Map {

/// The colours of a sheet around and below the shapes.
struct CARTOLITH_MAP_EXPORT SheetColours {
    QColor paper{0xFF, 0xFF, 0xFF};
    QColor sea{0xDC, 0xE8, 0xF0};      ///< what lies below the shapes of a map with a graticule
    QColor seaLine{0xB4, 0xC8, 0xD6};  ///< the graticule
    QColor ink{0x25, 0x32, 0x38};      ///< titles and legends
    QColor faintInk{0x6B, 0x7C, 0x85}; ///< frames and small print

    /// The contrast of a colour to paper or sea, whichever is less; lines and points want 3.
    double contrast(const QColor& colour) const;

    SheetColours() = default;
    /// Paper and sea are the theme's background, on which its styles can be read; the rest lies between that
    /// and the theme's text.
    explicit SheetColours(const Core::Symbology::GisSymbolTheme& theme);
};

} // namespace Cartolith::Map
