#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/PartsInternal.h>
#include <Cartolith/Core/Shapes/SegmentFormulasInternal.h>
#include <Cartolith/Core/Shapes/SimplificationInternal.h>

#include <cfloat>
#include <cmath>
#include <utility>

namespace Cartolith::Core::Shapes {

double GisShapePolygon::distancePointToSegment(const GisShapePoint& p, const GisShapePoint& a,
                                               const GisShapePoint& b) noexcept {
    return GisShapePolyline::distancePointToSegment(p, a, b);
}

QList<GisShapePoint> GisShapePolygon::simplifyPart(const QList<GisShapePoint>& points, double tolerance) {
    return GisShapePolyline::simplifyPart(points, tolerance);
}

void GisShapePolygon::simplifyDouglasPeucker(const QList<GisShapePoint>& points, int first, int last,
                                             double tolerance, QList<bool>& keep) {
    GisShapePolyline::simplifyDouglasPeucker(points, first, last, tolerance, keep);
}

bool GisShapePolygon::pointInPolygon(const GisShapePoint& p, const QList<GisShapePoint>& ring) {
    const qsizetype n = ring.size();
    if (n < 3) {
        return false;
    }
    bool inside = false;
    for (qsizetype i = 0, j = n - 1; i < n; j = i++) {
        const GisShapePoint& a = ring[i];
        const GisShapePoint& b = ring[j];
        inside ^= Internal::crossesToTheRight(p.x(), p.y(), a.x(), a.y(), b.x(), b.y());
    }
    return inside;
}

GisShapePoint GisShapePolygon::calculatePolygonCentroid(const QList<GisShapePoint>& ring) {
    double doubleArea = 0.0;
    double sumX = 0.0;
    double sumY = 0.0;
    const qsizetype n = ring.size();
    for (qsizetype i = 0; i < n; ++i) {
        const GisShapePoint& a = ring[i];
        const GisShapePoint& b = ring[i + 1 == n ? 0 : i + 1];
        const double cross = a.x() * b.y() - a.y() * b.x();
        doubleArea += cross;
        sumX += (b.x() + a.x()) * cross;
        sumY += (b.y() + a.y()) * cross;
    }
    const double area = doubleArea * 0.5;
    if (std::abs(area) < 1e-12) {
        return {};
    }
    return {sumX / (area * 6.0), sumY / (area * 6.0)};
}

GisShapePoint GisShapePolygon::centroid() const {
    for (const QList<GisShapePoint>& ring : m_parts) {
        if (ring.size() > 2) {
            GisShapePoint point = calculatePolygonCentroid(ring);
            if (!point.isEmpty()) {
                return point;
            }
        }
    }
    double sumX = 0.0;
    double sumY = 0.0;
    int count = 0;
    for (const QList<GisShapePoint>& ring : m_parts) {
        for (const GisShapePoint& vertex : ring) {
            sumX += vertex.x();
            sumY += vertex.y();
            ++count;
        }
    }
    return count == 0 ? GisShapePoint() : GisShapePoint(sumX / count, sumY / count);
}

double GisShapePolygon::distanceToBoundary(const GisShapePoint& p) const {
    double best = DBL_MAX;
    for (const QList<GisShapePoint>& ring : m_parts) {
        for (qsizetype i = 1; i < ring.size(); ++i) {
            best = std::min(best, distancePointToSegment(p, ring[i - 1], ring[i]));
        }
    }
    return best;
}

GisShapePoint GisShapePolygon::findInteriorPoint() const {
    const GisExtent box = extent();
    if (box.isEmpty()) {
        return {};
    }
    GisShapePoint best;
    double bestScore = -DBL_MAX;
    for (int i = 0; i <= 10; ++i) {
        for (int j = 0; j <= 10; ++j) {
            const GisShapePoint candidate(box.xMin() + i * box.width() / 10.0,
                                          box.yMin() + j * box.height() / 10.0);
            if (!contains(candidate, 0.0)) {
                continue;
            }
            const double score = distanceToBoundary(candidate);
            if (score > bestScore) {
                bestScore = score;
                best = candidate;
            }
        }
    }
    return best;
}

GisShapePoint GisShapePolygon::labelPoint() const {
    GisShapePoint center = centroid();
    if (!center.isEmpty() && contains(center, 0.0)) {
        return center;
    }
    GisShapePoint interior = findInteriorPoint();
    return interior.isEmpty() ? center : interior;
}

GisExtent GisShapePolygon::extent() const {
    return Internal::extentOfParts(m_parts);
}

bool GisShapePolygon::isEmpty() const {
    return Internal::hasNoSegment(m_parts);
}

bool GisShapePolygon::contains(const GisShapePoint& point, double /*tolerance*/) const {
    if (!extent().contains(point)) {
        return false;
    }
    return std::any_of(m_parts.begin(), m_parts.end(),
                       [&point](const auto& ring) { return pointInPolygon(point, ring); });
}

std::unique_ptr<GisShape> GisShapePolygon::clone() const {
    auto copy = std::make_unique<GisShapePolygon>();
    copy->m_parts = m_parts;
    copyAttributesTo(*copy);
    return copy;
}

std::unique_ptr<GisShape> GisShapePolygon::simplify(double tolerance) const {
    auto result = std::make_unique<GisShapePolygon>();
    result->m_parts = Internal::simplifiedRings(m_parts, tolerance);
    copyAttributesTo(*result);
    return result;
}

} // namespace Cartolith::Core::Shapes
