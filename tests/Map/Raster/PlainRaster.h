#pragma once

#include <QPointF>

#include <algorithm>
#include <cmath>
#include <vector>

/// The rules of the canvas in their plainest form, pixel by pixel and in doubles.
namespace test {

using Ring = std::vector<QPointF>;

/// What of the ring lies on one side of a pixel's left, right, upper or lower edge, which the pixel is on.
inline Ring cutAt(const Ring& ring, int side, int column, int row) {
    const auto inside = [&](QPointF p) {
        return side == 0 ? p.x() - column : side == 1 ? column + 1 - p.x() : side == 2 ? p.y() - row : row + 1 - p.y();
    };
    Ring cut;
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const QPointF a = ring[i];
        const QPointF b = ring[(i + 1) % ring.size()];
        if (inside(a) >= 0) {
            cut.push_back(a);
        }
        if ((inside(a) >= 0) != (inside(b) >= 0)) {
            cut.push_back(a + (b - a) * (inside(a) / (inside(a) - inside(b))));
        }
    }
    return cut;
}

/// The signed area of what of the ring lies in the unit square at a pixel.
inline double areaInPixel(Ring ring, int column, int row) {
    for (int side = 0; side < 4; ++side) {
        ring = cutAt(ring, side, column, row);
    }
    double area = 0.0;
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const QPointF a = ring[i];
        const QPointF b = ring[(i + 1) % ring.size()];
        area += (a.x() * b.y() - a.y() * b.x()) * 0.5;
    }
    return area;
}

/// Shells first; the rings after these are holes, `shells` says how many are shells.
inline double fillShare(const std::vector<Ring>& rings, std::size_t shells, int column, int row) {
    double share = 0.0;
    for (std::size_t i = 0; i < rings.size(); ++i) {
        share += (i < shells ? 1.0 : -1.0) * std::abs(areaInPixel(rings[i], column, row));
    }
    return std::clamp(share, 0.0, 1.0);
}

inline double distanceTo(QPointF p, QPointF a, QPointF b) {
    const QPointF way = b - a;
    const double squared = QPointF::dotProduct(way, way);
    const double t = squared > 0.0 ? std::clamp(QPointF::dotProduct(p - a, way) / squared, 0.0, 1.0) : 0.0;
    const QPointF off = p - a - way * t;
    return std::hypot(off.x(), off.y());
}

/// Of a line with round caps and joins.
inline double strokeShare(const Ring& line, double width, int column, int row) {
    double nearest = INFINITY;
    for (std::size_t i = 0; i + 1 < line.size(); ++i) {
        nearest = std::min(nearest, distanceTo({column + 0.5, row + 0.5}, line[i], line[i + 1]));
    }
    return std::clamp(std::max(width, 1.0) * 0.5 + 0.5 - nearest, 0.0, 1.0) * std::min(width, 1.0);
}

} // namespace test
