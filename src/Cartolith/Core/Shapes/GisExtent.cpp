#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QString>

namespace Cartolith::Core::Shapes {

bool GisExtent::contains(const GisShapePoint& point) const noexcept {
    return point.x() >= m_xMin && m_xMax >= point.x() && point.y() >= m_yMin && m_yMax >= point.y();
}

GisShapePoint GisExtent::center() const {
    return {(m_xMin + m_xMax) * 0.5, (m_yMin + m_yMax) * 0.5};
}

QString GisExtent::toString() const {
    return QStringLiteral("%1, %2, %3, %4").arg(m_xMin).arg(m_yMin).arg(m_xMax).arg(m_yMax);
}

} // namespace Cartolith::Core::Shapes
