#pragma once

#include <algorithm>

namespace Cartolith::Map::Internal {

/// A size in pixels that somebody gave, who may have got it from a file.
inline double saneSize(double size) {
    constexpr double largest = 10000.0;
    return size > 0.0 ? std::min(size, largest) : 0.0;
}

} // namespace Cartolith::Map::Internal
