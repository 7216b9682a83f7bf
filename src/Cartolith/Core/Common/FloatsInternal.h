#pragma once

#include <limits>

namespace Cartolith::Core::Common::Internal {

inline constexpr double infinity = std::numeric_limits<double>::infinity();
inline constexpr double nan = std::numeric_limits<double>::quiet_NaN();

} // namespace Cartolith::Core::Common::Internal
