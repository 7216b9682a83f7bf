#pragma once

namespace Cartolith::Core::Layers {

/// What lies beyond the ends of a line and of its dashes. Any other number counts as Round.
enum class LineCap : int {
    Round = 0,  ///< half a circle
    Butt = 1,   ///< nothing
    Square = 2, ///< half a square
};

/// How a line goes around a corner. Any other number counts as Round.
enum class LineJoin : int {
    Round = 0,
    Mitre = 1, ///< pointed; cut off where the point would be longer than four widths
    Bevel = 2, ///< cut off
};

/// What is drawn on the fill of an area. Any other number counts as None.
enum class FillPattern : int {
    None = 0,
    Lines = 1,        ///< parallel ones
    CrossedLines = 2, ///< two sets of them, at right angles
    Points = 3,       ///< dots on a square grid
};

/// The shape of a point's symbol. All fit into a circle of the point's size but for the square, whose sides
/// have that size. Any other number counts as Circle.
enum class MarkerShape : int {
    Circle = 0,
    Square = 1,
    Diamond = 2,
    TriangleUp = 3,
    TriangleDown = 4,
    Pentagon = 5,
    Hexagon = 6,
    Star = 7,     ///< with five points
    Cross = 8,    ///< upright, with thick arms
    Plus = 9,     ///< upright, with thin arms
    Saltire = 10, ///< lying, with thin arms
    Arrow = 11,   ///< upwards
    Svg = 12,     ///< a picture of the style's own
};

/// How a size grows with a value. Any other number counts as Area.
enum class SizeScaling : int {
    Area = 0,   ///< the square of the size grows evenly, as eyes compare symbols
    Linear = 1, ///< the size itself does, as of the width of a stream
};

} // namespace Cartolith::Core::Layers
