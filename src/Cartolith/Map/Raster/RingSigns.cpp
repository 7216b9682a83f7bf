#include <Cartolith/Map/Raster/RingSignsInternal.h>

namespace Cartolith::Map::Raster::Internal {

namespace {

double doubledArea(const std::vector<QPointF>& ring) {
    double area = 0.0;
    const QPointF origin = ring.front();
    for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
        const QPointF a = ring[i] - origin;
        const QPointF b = ring[i + 1] - origin;
        area += a.x() * b.y() - a.y() * b.x();
    }
    return area;
}

bool encloses(const std::vector<QPointF>& ring, QPointF p) {
    bool isInside = false;
    QPointF a = ring.back();
    for (const QPointF& b : ring) {
        if ((a.y() <= p.y()) != (b.y() <= p.y())) {
            isInside ^= a.x() + (b.x() - a.x()) * ((p.y() - a.y()) / (b.y() - a.y())) > p.x();
        }
        a = b;
    }
    return isInside;
}

} // namespace

std::vector<float> ringSigns(const std::vector<PixelRing>& rings, std::size_t count) {
    std::vector<float> signs(count);
    for (std::size_t i = 0; i < count; ++i) {
        const PixelRing& ring = rings[i];
        bool isHole = false;
        for (std::size_t k = 0; k < count; ++k) {
            const PixelRing& other = rings[k];
            if (i != k && other.left <= ring.left && other.right >= ring.right && other.top <= ring.top &&
                other.bottom >= ring.bottom) {
                // A hole may touch its shell in a vertex: the middle of an edge is less often in doubt.
                isHole ^= encloses(other.points,
                                   (ring.points[0] + ring.points[ring.points.size() > 1 ? 1 : 0]) * 0.5);
            }
        }
        signs[i] = (doubledArea(ring.points) < 0.0) != isHole ? -1.0F : 1.0F;
    }
    return signs;
}

} // namespace Cartolith::Map::Raster::Internal
