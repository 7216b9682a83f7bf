#pragma once

#include <Cartolith/Map/Labels/LabelPlaces.h>

#include <QPointF>
#include <QRectF>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

/// Looks at places from their corners alone, whatever way they were found.
namespace test {

using Corners = std::array<QPointF, 4>;

inline Corners cornersOf(const Cartolith::Map::Labels::LabelBox& box) {
    const double angle = box.rotation * std::numbers::pi / 180.0;
    const QPointF right = QPointF(std::cos(angle), std::sin(angle)) * (box.size.width() * 0.5);
    const QPointF down = QPointF(-std::sin(angle), std::cos(angle)) * (box.size.height() * 0.5);
    return {box.center - right - down, box.center + right - down, box.center + right + down, box.center - right + down};
}

inline Corners cornersOf(const QRectF& r) {
    return {r.topLeft(), r.topRight(), r.bottomRight(), r.bottomLeft()};
}

/// How far two convex quadrangles reach into each other: below 0 when they are apart.
inline double depth(const Corners& a, const Corners& b) {
    double least = INFINITY;
    for (const Corners* c : {&a, &b}) {
        for (std::size_t i = 0; i < 4; ++i) {
            const QPointF edge = (*c)[(i + 1) % 4] - (*c)[i];
            const double length = std::hypot(edge.x(), edge.y());
            const QPointF normal(-edge.y() / length, edge.x() / length);
            double low[2], high[2];
            int k = 0;
            for (const Corners* corners : {&a, &b}) {
                low[k] = INFINITY;
                high[k] = -INFINITY;
                for (const QPointF p : *corners) {
                    low[k] = std::min(low[k], QPointF::dotProduct(p, normal));
                    high[k] = std::max(high[k], QPointF::dotProduct(p, normal));
                }
                ++k;
            }
            least = std::min(least, std::min(high[0], high[1]) - std::max(low[0], low[1]));
        }
    }
    return least;
}

} // namespace test
