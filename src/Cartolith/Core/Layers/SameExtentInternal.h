#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>

namespace Cartolith::Core::Layers::Internal {

/// Whether two extents are the same box, or both empty.
inline bool isSameExtent(const Shapes::GisExtent& a, const Shapes::GisExtent& b) noexcept {
    if (a.isEmpty() || b.isEmpty()) {
        return a.isEmpty() == b.isEmpty();
    }
    return a.xMin() == b.xMin() && a.yMin() == b.yMin() && a.xMax() == b.xMax() && a.yMax() == b.yMax();
}

} // namespace Cartolith::Core::Layers::Internal
