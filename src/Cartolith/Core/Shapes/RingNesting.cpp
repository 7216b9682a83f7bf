#include <Cartolith/Core/Shapes/RingNestingInternal.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

namespace {

enum class Side { Inside, Outside, Boundary };

struct Candidate {
    const Ring* ring;
    double area; ///< signed: positive when the ring runs counterclockwise
    GisExtent box;
    int depth = 0;      ///< how many rings it lies in
    int innermost = -1; ///< the smallest of these
};

GisExtent boxOf(const Ring& ring) {
    const auto [left, right] = std::minmax_element(
        ring.begin(), ring.end(), [](const auto& a, const auto& b) { return a.x() < b.x(); });
    const auto [bottom, top] = std::minmax_element(
        ring.begin(), ring.end(), [](const auto& a, const auto& b) { return a.y() < b.y(); });
    return GisExtent(left->x(), bottom->y(), right->x(), top->y());
}

bool covers(const GisExtent& outer, const GisExtent& inner) {
    return outer.xMin() <= inner.xMin() && outer.yMin() <= inner.yMin() && outer.xMax() >= inner.xMax() &&
           outer.yMax() >= inner.yMax();
}

/// Twice the area of the triangle, positive when it runs counterclockwise.
double turn(const GisShapePoint& a, const GisShapePoint& b, const GisShapePoint& c) {
    return (b.x() - a.x()) * (c.y() - a.y()) - (c.x() - a.x()) * (b.y() - a.y());
}

double signedArea(const Ring& ring) {
    double twice = 0.0;
    for (qsizetype i = 2; i < ring.size(); ++i) {
        twice += turn(ring.constFirst(), ring[i - 1], ring[i]);
    }
    return twice / 2;
}

Side sideOf(const GisShapePoint& p, const Ring& ring) {
    bool inside = false;
    const GisShapePoint* a = &ring.constLast();
    for (const GisShapePoint& b : ring) {
        const double side = turn(*a, b, p);
        if (side == 0.0 && std::min(a->x(), b.x()) <= p.x() && p.x() <= std::max(a->x(), b.x()) &&
            std::min(a->y(), b.y()) <= p.y() && p.y() <= std::max(a->y(), b.y())) {
            return Side::Boundary;
        }
        if ((a->y() > p.y()) != (b.y() > p.y()) && (side > 0.0) == (b.y() > a->y())) {
            inside = !inside;
        }
        a = &b;
    }
    return inside ? Side::Inside : Side::Outside;
}

bool liesIn(const Ring& inner, const Ring& outer) {
    for (const GisShapePoint& vertex : inner) {
        if (const Side side = sideOf(vertex, outer); side != Side::Boundary) {
            return side == Side::Inside;
        }
    }
    for (qsizetype i = 1; i < inner.size(); ++i) {
        const GisShapePoint middle(inner[i - 1].x() / 2 + inner[i].x() / 2,
                                   inner[i - 1].y() / 2 + inner[i].y() / 2);
        if (const Side side = sideOf(middle, outer); side != Side::Boundary) {
            return side == Side::Inside;
        }
    }
    return false;
}

Ring wound(const Candidate& candidate, bool counterclockwise) {
    Ring ring = *candidate.ring;
    if (candidate.area != 0.0 && (candidate.area > 0.0) != counterclockwise) {
        std::reverse(ring.begin(), ring.end());
    }
    return ring;
}

/// The rings that have a vertex.
std::vector<Candidate> nestedRings(const QList<Ring>& rings) {
    std::vector<Candidate> all;
    for (const Ring& ring : rings) {
        if (!ring.isEmpty()) {
            all.push_back({&ring, signedArea(ring), boxOf(ring)});
        }
    }
    for (Candidate& inner : all) {
        double smallest = INFINITY;
        for (std::size_t i = 0; inner.area != 0.0 && i < all.size(); ++i) {
            const Candidate& outer = all[i];
            const double area = std::fabs(outer.area);
            if (area > std::fabs(inner.area) && covers(outer.box, inner.box) &&
                liesIn(*inner.ring, *outer.ring)) {
                ++inner.depth;
                if (inner.innermost < 0 || area < smallest) { // areas may overflow
                    smallest = area;
                    inner.innermost = static_cast<int>(i);
                }
            }
        }
    }
    return all;
}

} // namespace

QList<int> nestingDepths(const QList<Ring>& rings) {
    QList<int> depths(rings.size(), 0);
    for (const Candidate& candidate : nestedRings(rings)) {
        depths[candidate.ring - &rings.constFirst()] = candidate.depth;
    }
    return depths;
}

QList<QList<Ring>> shellsWithHoles(const QList<Ring>& rings) {
    const std::vector<Candidate> all = nestedRings(rings);
    QList<QList<Ring>> polygons;
    std::vector<qsizetype> polygonOf(all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].depth % 2 == 0) {
            polygonOf[i] = polygons.size();
            polygons.append(QList<Ring>{wound(all[i], true)});
        }
    }
    for (const Candidate& hole : all) {
        if (hole.depth % 2 == 1) {
            // Rings that cross may have a hole as the smallest around a hole: then it is that one's
            // neighbour.
            int shell = hole.innermost;
            while (all[static_cast<std::size_t>(shell)].depth % 2 == 1) {
                shell = all[static_cast<std::size_t>(shell)].innermost;
            }
            polygons[polygonOf[static_cast<std::size_t>(shell)]].append(wound(hole, false));
        }
    }
    return polygons;
}

} // namespace Cartolith::Core::Shapes::Internal
