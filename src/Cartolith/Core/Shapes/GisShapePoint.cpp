#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/SegmentFormulasInternal.h>

#include <cmath>

namespace Cartolith::Core::Shapes {

GisShapePoint::~GisShapePoint() = default;

GisExtent GisShapePoint::extent() const {
    constexpr double padding = 1e-9;
    return {m_x - padding, m_y - padding, m_x + padding, m_y + padding};
}

bool GisShapePoint::isEmpty() const {
    return std::isnan(m_x) || std::isnan(m_y);
}

bool GisShapePoint::contains(const GisShapePoint& point, double tolerance) const {
    return tolerance >= Internal::distance(m_x, m_y, point.x(), point.y());
}

std::unique_ptr<GisShape> GisShapePoint::clone() const {
    auto copy = std::make_unique<GisShapePoint>(m_x, m_y);
    copyAttributesTo(*copy);
    return copy;
}

} // namespace Cartolith::Core::Shapes
