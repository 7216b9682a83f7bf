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

/// A share from 0 to 1 as a level from 0 to 255.
template <typename Number>
int levelOf(Number share) {
    constexpr Number half = 0.5;
    return static_cast<int>(share * Number(255) + half);
}

} // namespace Cartolith::Map::Raster::Internal
