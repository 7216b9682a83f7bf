#include <Cartolith/Core/Shapes/FarthestVertexInternal.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/SimplificationInternal.h>

#include <algorithm>
#include <cmath>
#include <typeinfo>
#include <utility>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

namespace {

/// Stretches of a line of which every vertex stays, in whatever order the vertices are found.
///
/// When no vertex of a stretch is farther from its chord than d, the stretch lies in a strip of width 2 d,
/// and so does the triangle of any three neighbours, whose smallest height is then at most 2 d. So where all
/// of these heights are more than twice the tolerance, each chord has a vertex that is farther. Rounding
/// alone may decide which one, as along a slanted zigzag, and it need not be known.
class SturdyStretches {
public:
    SturdyStretches(const QList<GisShapePoint>& points, int first, int last, double tolerance)
        : m_first(first) {
        constexpr int worthKnowing = 256; // of a shorter line each vertex is looked at a few times at most
        if (last - first < worthKnowing) {
            return;
        }
        double largest = 0.0;
        for (int i = first; i <= last; ++i) {
            largest = std::max({largest, std::fabs(points[i].x()), std::fabs(points[i].y())});
        }
        if (!(largest >= 1e-100 && largest <= 1e100)) {
            return;
        }
        // The margin is for the distances as computed.
        const double least = 2.0 * std::max(tolerance, 0.0) * (1.0 + 0x1p-40) + 0x1p-44 * largest;
        m_weakUpTo.reserve(static_cast<std::size_t>(last - first));
        m_weakUpTo.push_back(0);
        for (int i = first + 1; i < last; ++i) {
            const bool isSturdy = hasHeight(points[i - 1], points[i], points[i + 1], least);
            m_weakUpTo.push_back(m_weakUpTo.back() + (isSturdy ? 0 : 1));
        }
    }

    /// Of the vertices strictly between the two.
    bool keepsAll(int from, int to) const {
        return !m_weakUpTo.empty() && weakUpTo(from) == weakUpTo(to - 1);
    }

private:
    int weakUpTo(int vertex) const { return m_weakUpTo[static_cast<std::size_t>(vertex - m_first)]; }

    /// Whether the smallest height of the triangle is more than that.
    static bool hasHeight(const GisShapePoint& a, const GisShapePoint& b, const GisShapePoint& c,
                          double least) {
        const double abx = b.x() - a.x();
        const double aby = b.y() - a.y();
        const double bcx = c.x() - b.x();
        const double bcy = c.y() - b.y();
        const double one = abx * bcy;
        const double other = aby * bcx;
        const double twiceArea = std::fabs(one - other) - 0x1p-50 * (std::fabs(one) + std::fabs(other));
        const double acx = c.x() - a.x();
        const double acy = c.y() - a.y();
        const double square = std::max({abx * abx + aby * aby, bcx * bcx + bcy * bcy, acx * acx + acy * acy});
        return twiceArea > least * std::sqrt(square) * (1.0 + 0x1p-40);
    }

    int m_first;
    std::vector<int> m_weakUpTo; ///< how many vertices up to each one are at a low triangle; empty: unknown
};

/// The parts of which something is left.
template <typename Simplify>
QList<QList<GisShapePoint>> simplifiedEach(const QList<QList<GisShapePoint>>& parts,
                                           const Simplify& simplify) {
    QList<QList<GisShapePoint>> result;
    result.reserve(parts.size());
    for (const QList<GisShapePoint>& part : parts) {
        QList<GisShapePoint> simplified = simplify(part);
        if (!simplified.isEmpty()) {
            result.append(std::move(simplified));
        }
    }
    return result;
}

} // namespace

void keepFarVertices(const QList<GisShapePoint>& points, int first, int last, double tolerance,
                     QList<bool>& keep, const CountLooks& count) {
    if (last <= first + 1) {
        return;
    }
    bool* const kept = keep.data();
    const FarthestVertex farthest(points, first, last);
    const SturdyStretches sturdy(points, first, last, tolerance);
    // The textbook recursion is as deep as the line is long for a spiral; the pending halves wait here
    // instead.
    std::vector<std::pair<int, int>> pending{{first, last}};
    while (!pending.empty()) {
        const auto [from, to] = pending.back();
        pending.pop_back();
        if (to <= from + 1) {
            continue;
        }
        if (sturdy.keepsAll(from, to)) {
            std::fill(kept + from + 1, kept + to, true);
            continue;
        }
        const FarthestVertex::Answer answer = farthest.between(from, to);
        if (count) {
            count(answer.looks);
        }
        if (answer.index >= 0 && answer.distance > tolerance) {
            kept[answer.index] = true;
            pending.emplace_back(answer.index, to);
            pending.emplace_back(from, answer.index);
        }
    }
}

QList<GisShapePoint> simplifiedPart(const QList<GisShapePoint>& points, double tolerance,
                                    const CountLooks& count) {
    if (points.size() < 3 || tolerance <= 0.0) {
        return points;
    }
    QList<bool> keep;
    keep.resize(points.size());
    keep.first() = true;
    keep.last() = true;
    keepFarVertices(points, 0, static_cast<int>(points.size()) - 1, tolerance, keep, count);
    QList<GisShapePoint> result;
    for (qsizetype i = 0; i < points.size(); ++i) {
        if (keep.at(i)) {
            result.append(points[i]);
        }
    }
    return result;
}

QList<QList<GisShapePoint>> simplifiedLines(const QList<QList<GisShapePoint>>& parts, double tolerance,
                                            const CountLooks& count) {
    return simplifiedEach(parts, [&](const QList<GisShapePoint>& part) {
        QList<GisShapePoint> simplified = simplifiedPart(part, tolerance, count);
        return simplified.size() >= 2 ? simplified : QList<GisShapePoint>();
    });
}

QList<QList<GisShapePoint>> simplifiedRings(const QList<QList<GisShapePoint>>& rings, double tolerance,
                                            const CountLooks& count) {
    return simplifiedEach(rings, [&](const QList<GisShapePoint>& ring) {
        const bool closed =
            ring.size() > 2 && ring.first().x() == ring.last().x() && ring.first().y() == ring.last().y();
        QList<GisShapePoint> simplified =
            simplifiedPart(closed ? ring.first(ring.size() - 1) : ring, tolerance, count);
        if (simplified.size() <= 2) {
            return QList<GisShapePoint>();
        }
        if (closed) {
            simplified.append(GisShapePoint(simplified.constFirst()));
        }
        return simplified;
    });
}

namespace {

template <typename Shape, typename SimplifiedParts>
std::unique_ptr<GisShape> simplifiedAs(const GisShape& shape, SimplifiedParts simplifiedParts,
                                       double tolerance, const CountLooks& count) {
    auto result = std::make_unique<Shape>();
    result->parts() = simplifiedParts(static_cast<const Shape&>(shape).parts(), tolerance, count);
    shape.copyAttributesTo(*result);
    return result;
}

} // namespace

std::unique_ptr<GisShape> simplifiedShape(const GisShape& shape, double tolerance, const CountLooks& count) {
    if (typeid(shape) == typeid(GisShapePolyline)) {
        return simplifiedAs<GisShapePolyline>(shape, simplifiedLines, tolerance, count);
    }
    if (typeid(shape) == typeid(GisShapePolygon)) {
        return simplifiedAs<GisShapePolygon>(shape, simplifiedRings, tolerance, count);
    }
    return shape.simplify(tolerance);
}

} // namespace Cartolith::Core::Shapes::Internal
