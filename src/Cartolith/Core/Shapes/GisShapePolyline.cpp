#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/PartsInternal.h>
#include <Cartolith/Core/Shapes/SegmentFormulasInternal.h>

#include <utility>
#include <vector>

namespace Cartolith::Core::Shapes {

double GisShapePolyline::distancePointToSegment(const GisShapePoint& p, const GisShapePoint& a,
                                                const GisShapePoint& b) noexcept {
    return Internal::distanceToSegment(p.x(), p.y(), a.x(), a.y(), b.x(), b.y());
}

void GisShapePolyline::simplifyDouglasPeucker(const QList<GisShapePoint>& points, int first, int last,
                                              double tolerance, QList<bool>& keep) {
    bool* const kept = keep.data();
    // The textbook recursion is as deep as the line is long for a spiral; the pending halves wait here
    // instead.
    std::vector<std::pair<int, int>> pending{{first, last}};
    while (!pending.empty()) {
        const auto [from, to] = pending.back();
        pending.pop_back();
        if (to <= from + 1) {
            continue;
        }
        double best = -1.0;
        int index = -1;
        for (int i = from + 1; i < to; ++i) {
            const double d = distancePointToSegment(points[i], points[from], points[to]);
            if (d > best) {
                best = d;
                index = i;
            }
        }
        if (index >= 0 && best > tolerance) {
            kept[index] = true;
            pending.emplace_back(index, to);
            pending.emplace_back(from, index);
        }
    }
}

QList<GisShapePoint> GisShapePolyline::simplifyPart(const QList<GisShapePoint>& points, double tolerance) {
    if (points.size() < 3 || tolerance <= 0.0) {
        return points;
    }
    QList<bool> keep;
    keep.resize(points.size());
    keep.first() = true;
    keep.last() = true;
    simplifyDouglasPeucker(points, 0, static_cast<int>(points.size()) - 1, tolerance, keep);
    QList<GisShapePoint> result;
    for (qsizetype i = 0; i < points.size(); ++i) {
        if (keep.at(i)) {
            result.append(points[i]);
        }
    }
    return result;
}

GisExtent GisShapePolyline::extent() const {
    return Internal::extentOfParts(m_parts);
}

bool GisShapePolyline::isEmpty() const {
    return Internal::hasNoSegment(m_parts);
}

bool GisShapePolyline::contains(const GisShapePoint& point, double tolerance) const {
    for (const QList<GisShapePoint>& part : m_parts) {
        for (qsizetype i = 1; i < part.size(); ++i) {
            if (tolerance >= distancePointToSegment(point, part[i - 1], part[i])) {
                return true;
            }
        }
    }
    return false;
}

std::unique_ptr<GisShape> GisShapePolyline::clone() const {
    auto copy = std::make_unique<GisShapePolyline>();
    copy->m_parts = m_parts;
    copyAttributesTo(*copy);
    return copy;
}

std::unique_ptr<GisShape> GisShapePolyline::simplify(double tolerance) const {
    auto result = std::make_unique<GisShapePolyline>();
    result->m_parts.reserve(m_parts.size());
    for (const QList<GisShapePoint>& part : m_parts) {
        QList<GisShapePoint> simplified = simplifyPart(part, tolerance);
        if (simplified.size() >= 2) {
            result->m_parts.append(std::move(simplified));
        }
    }
    copyAttributesTo(*result);
    return result;
}

} // namespace Cartolith::Core::Shapes
