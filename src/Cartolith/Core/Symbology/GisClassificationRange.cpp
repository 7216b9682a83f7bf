#include <Cartolith/Core/Symbology/GisClassificationRange.h>

#include <cmath>

namespace Cartolith::Core::Symbology {

bool GisClassificationRange::contains(double value) const noexcept {
    return std::isfinite(value) && (includeLower ? value >= lower : value > lower) &&
           (includeUpper ? value <= upper : value < upper);
}

} // namespace Cartolith::Core::Symbology
