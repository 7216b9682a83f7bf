#pragma once

#include <Cartolith/Core/Shapes/GisShapePolygon.h>

#include <algorithm>
#include <cmath>
#include <vector>

/// Areas of polygons and of what two of them have in common, in long double and without any decision that rounding
/// could turn round; quadratic.
namespace plain {

using Cartolith::Core::Shapes::GisShapePoint;
using Cartolith::Core::Shapes::GisShapePolygon;

struct Edge {
    long double x0, y0, x1, y1;
};

/// Rings as edges with the area to their left.
struct Edges {
    std::vector<Edge> edges;
    long double area = 0.0L;
    long double length = 0.0L;
    double xMin = INFINITY, yMin = INFINITY, xMax = -INFINITY, yMax = -INFINITY;

    double reach() const { return std::max({std::fabs(xMin), std::fabs(xMax), std::fabs(yMin), std::fabs(yMax)}); }
    bool meets(const Edges& other) const {
        return xMin <= other.xMax && other.xMin <= xMax && yMin <= other.yMax && other.yMin <= yMax;
    }

    void addRing(const QList<GisShapePoint>& ring, bool isHole) {
        long double twice = 0.0L;
        for (qsizetype i = 0; i < ring.size(); ++i) {
            const GisShapePoint& p = ring[i];
            const GisShapePoint& q = ring[(i + 1) % ring.size()];
            xMin = std::min(xMin, p.x());
            xMax = std::max(xMax, p.x());
            yMin = std::min(yMin, p.y());
            yMax = std::max(yMax, p.y());
            const long double x = ring[0].x();
            const long double y = ring[0].y();
            twice += (p.x() - x) * (q.y() - y) - (q.x() - x) * (p.y() - y);
            length += std::hypot(q.x() - p.x(), q.y() - p.y());
        }
        area += isHole ? -std::fabs(twice) / 2 : std::fabs(twice) / 2;
        const bool isTurned = (twice > 0.0L) == isHole;
        for (qsizetype i = 0; i < ring.size(); ++i) {
            const GisShapePoint& p = ring[isTurned ? (i + 1) % ring.size() : i];
            const GisShapePoint& q = ring[isTurned ? i : (i + 1) % ring.size()];
            edges.push_back({p.x(), p.y(), q.x(), q.y()});
        }
    }
};

/// Below each edge lies a strip down to a base line, and a polygon is the sum of its strips, those of edges that
/// run to the left less the others; what two strips have in common lies below the lower edge.
inline long double commonArea(const Edges& a, const Edges& b) {
    const long double left = std::max(a.xMin, b.xMin);
    const long double right = std::min(a.xMax, b.xMax);
    const long double base = std::max(a.yMin, b.yMin);
    const auto heightOf = [base](const Edge& edge, long double x) {
        return edge.y0 - base + (edge.y1 - edge.y0) * ((x - edge.x0) / (edge.x1 - edge.x0));
    };
    long double sum = 0.0L;
    for (const Edge& e : a.edges) {
        const long double eLeft = std::max(left, std::min(e.x0, e.x1));
        const long double eRight = std::min(right, std::max(e.x0, e.x1));
        for (const Edge& f : b.edges) {
            const long double from = std::max(eLeft, std::min(f.x0, f.x1));
            const long double to = std::min(eRight, std::max(f.x0, f.x1));
            if (!(from < to)) {
                continue;
            }
            const long double e0 = heightOf(e, from);
            const long double e1 = heightOf(e, to);
            const long double f0 = heightOf(f, from);
            const long double f1 = heightOf(f, to);
            long double below = (to - from) * (std::min(e0, f0) + std::min(e1, f1)) / 2;
            if ((e0 < f0) != (e1 < f1) && e0 != f0 && e1 != f1) { // they cross
                const long double share = (f0 - e0) / ((f0 - e0) - (f1 - e1));
                const long double meet = e0 + share * (e1 - e0);
                below = (to - from) * (share * (std::min(e0, f0) + meet) + (1 - share) * (meet + std::min(e1, f1))) / 2;
            }
            sum += (e.x1 < e.x0) == (f.x1 < f.x0) ? below : -below;
        }
    }
    return sum;
}

/// By nesting: a ring lies in those that hold most of its area, as rings that touch may be rounded across each
/// other.
inline Edges edgesByNesting(const GisShapePolygon& polygon) {
    std::vector<Edges> rings(static_cast<std::size_t>(polygon.parts().size()));
    for (std::size_t i = 0; i < rings.size(); ++i) {
        rings[i].addRing(polygon.parts()[static_cast<qsizetype>(i)], false);
    }
    Edges all;
    for (std::size_t i = 0; i < rings.size(); ++i) {
        const Edges& inner = rings[i];
        bool isHole = false;
        for (const Edges& outer : rings) {
            isHole =
                isHole != (outer.area > inner.area && outer.meets(inner) && commonArea(inner, outer) > inner.area / 2);
        }
        all.addRing(polygon.parts()[static_cast<qsizetype>(i)], isHole);
    }
    return all;
}

} // namespace plain
