#pragma once

#include <cmath>

namespace Cartolith::Core::Layers::Internal {

/// A bound of a scale range as it is stored: 0 stands for "no bound".
inline double scaleBound(double value) noexcept {
    return std::isfinite(value) && value > 0.0 ? value : 0.0;
}

} // namespace Cartolith::Core::Layers::Internal
