#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/PartsInternal.h>
#include <Cartolith/Core/Shapes/SegmentFormulasInternal.h>
#include <Cartolith/Core/Shapes/SimplificationInternal.h>

namespace Cartolith::Core::Shapes {

double GisShapePolyline::distancePointToSegment(const GisShapePoint& p, const GisShapePoint& a,
                                                const GisShapePoint& b) noexcept {
    return Internal::distanceToSegment(p.x(), p.y(), a.x(), a.y(), b.x(), b.y());
}

void GisShapePolyline::simplifyDouglasPeucker(const QList<GisShapePoint>& points, int first, int last,
                                              double tolerance, QList<bool>& keep) {
    Internal::keepFarVertices(points, first, last, tolerance, keep);
}

QList<GisShapePoint> GisShapePolyline::simplifyPart(const QList<GisShapePoint>& points, double tolerance) {
    return Internal::simplifiedPart(points, tolerance);
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
    result->m_parts = Internal::simplifiedLines(m_parts, tolerance);
    copyAttributesTo(*result);
    return result;
}

} // namespace Cartolith::Core::Shapes
