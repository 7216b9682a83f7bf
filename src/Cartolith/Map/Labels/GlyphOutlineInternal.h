#pragma once

#include <QPainterPath>
#include <QTransform>

#include <vector>

namespace Cartolith::Map::Labels::Internal {

/// Fonts are asked for letters of this size, which is fine enough for all others.
constexpr int outlineEm = 64;

/// A letter as it is in the font: curves on the baseline at 0, y downwards, `outlineEm` to an em.
struct GlyphOutline {
    QPainterPath path;
    QRectF box;
};

using Contours = std::vector<std::vector<QPointF>>;

/// Rings in pixels, nowhere further than the tolerance from the curves. Those from `count` on are
/// overwritten, and `count` is how many they are afterwards, so that their memory serves again.
void flatten(const GlyphOutline& outline, const QTransform& toPixels, double tolerance, Contours& contours,
             std::size_t& count);

constexpr double letterTolerance = 0.1; // pixels
constexpr double haloTolerance = 0.2;

} // namespace Cartolith::Map::Labels::Internal
