#pragma once

#include <QColor>
#include <QList>

namespace Cartolith::Map::Raster {

enum class LineCap : int {
    Round = 0,  ///< half a circle beyond the end
    Butt = 1,   ///< nothing beyond the end
    Square = 2, ///< half a square beyond the end
};

enum class LineJoin : int {
    Round = 0,
    Mitre = 1, ///< pointed, as far as Stroke::mitreLimit; cut off beyond
    Bevel = 2, ///< cut off where the outer edges end
};

/// How lines are drawn. Lengths are pixels of the canvas.
struct Stroke {
    QColor color = Qt::black;
    /// What is not greater than 0 draws nothing. A line thinner than a pixel is one pixel wide and as much
    /// paler.
    double width = 1.0;
    LineCap cap = LineCap::Round;
    LineJoin join = LineJoin::Round;
    /// How far a point may reach from its corner, in half widths: the ratio that SVG and PDF mean.
    double mitreLimit = 4.0;
    /// Drawn and left out in turn, from the beginning of each part; empty draws all. Lengths below 0 and NaN
    /// count as 0, an odd list is taken twice; without any length to speak of, all is drawn.
    QList<double> dashes = {};
    double dashOffset = 0.0;
    /// Below all parts of the call, so much wider to each side; 0 draws none.
    double casing = 0.0;
    QColor casingColor = Qt::white;
};

} // namespace Cartolith::Map::Raster
