#include <Cartolith/Map/Labels/GlyphOutlineInternal.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Map::Labels::Internal {

namespace {

/// So many pieces that none is further than that from the curve (Wang, 1984).
int piecesOf(QPointF a, QPointF b, QPointF c, QPointF d, double tolerance) {
    constexpr double most = 64.0;
    const QPointF first = a - b * 2.0 + c;
    const QPointF second = b - c * 2.0 + d;
    const double bend = std::max(first.manhattanLength(), second.manhattanLength());
    return static_cast<int>(std::clamp(std::ceil(std::sqrt(0.75 * bend / tolerance)), 1.0, most));
}

} // namespace

void flatten(const GlyphOutline& outline, const QTransform& toPixels, double tolerance, Contours& contours,
             std::size_t& count) {
    std::vector<QPointF>* ring = nullptr;
    for (int i = 0; i < outline.path.elementCount(); ++i) {
        const QPainterPath::Element element = outline.path.elementAt(i);
        const QPointF p = toPixels.map(QPointF(element));
        if (element.type == QPainterPath::MoveToElement) {
            if (contours.size() == count) {
                contours.emplace_back();
            }
            ring = &contours[count++];
            ring->clear();
        }
        if (element.type != QPainterPath::CurveToElement) {
            ring->push_back(p);
            continue;
        }
        const QPointF from = ring->back();
        const QPointF second = toPixels.map(QPointF(outline.path.elementAt(i + 1)));
        const QPointF to = toPixels.map(QPointF(outline.path.elementAt(i + 2)));
        i += 2;
        const int pieces = piecesOf(from, p, second, to, tolerance);
        for (int k = 1; k <= pieces; ++k) {
            const double t = static_cast<double>(k) / pieces;
            const double u = 1.0 - t;
            ring->push_back(from * (u * u * u) + p * (3.0 * u * u * t) + second * (3.0 * u * t * t) +
                            to * (t * t * t));
        }
    }
}

} // namespace Cartolith::Map::Labels::Internal
