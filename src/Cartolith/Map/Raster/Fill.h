#pragma once

#include <QColor>

namespace Cartolith::Map::Raster {

enum class PatternKind : int {
    None = 0,
    Lines = 1,
    CrossedLines = 2, ///< a second set at right angles
    Points = 3,       ///< dots on a square grid
};

/// What repeats itself on a fill, from the place of the map's origin (0, 0) on, whatever is shown: areas side
/// by side and neighbouring pictures of one scale show one pattern. Lengths are pixels of the canvas.
struct Pattern {
    PatternKind kind = PatternKind::None;
    QColor color = Qt::black;
    double angle = 0.0;   ///< degrees clockwise on the picture, from level lines
    double spacing = 8.0; ///< from one to the next; less than 1 counts as 1
    double width = 1.0;   ///< of lines, diameter of dots; thinner than a pixel is as much paler

    /// NaN and what is not greater than 0 draw nothing.
    bool isDrawn() const {
        return kind != PatternKind::None && width > 0.0 && spacing > 0.0 && color.alpha() > 0;
    }
};

/// How areas are filled.
struct Fill {
    // A colour is a fill, however it is named. NOLINTBEGIN(google-explicit-constructor)
    Fill(QColor fillColor = Qt::transparent, const Pattern& onFill = {})
        : color(fillColor), pattern(onFill) {}
    Fill(Qt::GlobalColor fillColor) : color(fillColor) {}
    // NOLINTEND(google-explicit-constructor)

    QColor color;
    Pattern pattern; ///< on the colour

    bool isDrawn() const { return color.alpha() > 0 || pattern.isDrawn(); }
};

} // namespace Cartolith::Map::Raster
