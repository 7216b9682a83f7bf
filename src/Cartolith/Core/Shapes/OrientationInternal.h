#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

namespace Cartolith::Core::Shapes::Internal {

/// On which side of the line from a to b the point c lies: 1 left, -1 right, 0 on the line. Exact for finite
/// coordinates whose products neither overflow nor underflow, by a rounded determinant where that is certain
/// and an exact sum of its products where not (after Shewchuk, 1997).
int orientation(double ax, double ay, double bx, double by, double cx, double cy) noexcept;

inline int orientation(const GisShapePoint& a, const GisShapePoint& b, const GisShapePoint& c) noexcept {
    return orientation(a.x(), a.y(), b.x(), b.y(), c.x(), c.y());
}

} // namespace Cartolith::Core::Shapes::Internal
