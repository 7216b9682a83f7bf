#pragma once

namespace Cartolith::Map::Raster::Internal {

/// The whole numbers below and above, of numbers that an int can hold: where the processor has no instruction
/// for it, std::floor() is a call, and it would be the dearest part of drawing a small shape.
inline int floorOf(double value) {
    const int whole = static_cast<int>(value);
    return whole - (value < whole ? 1 : 0);
}
inline int ceilOf(double value) {
    const int whole = static_cast<int>(value);
    return whole + (value > whole ? 1 : 0);
}

} // namespace Cartolith::Map::Raster::Internal
