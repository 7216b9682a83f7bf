#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Symbology/GisSymbolContext.h>

namespace Cartolith::Core::Symbology {

GisSymbolContext::GisSymbolContext(const Shapes::GisShape& shape) : m_shape(&shape) {}

const QHash<QString, QVariant>& GisSymbolContext::attributes() const {
    return m_attributes != nullptr ? *m_attributes : m_shape->attributes();
}

QVariant GisSymbolContext::attribute(const QString& fieldName) const {
    return m_attributes != nullptr ? m_attributes->value(fieldName) : m_shape->attributeValue(fieldName);
}

} // namespace Cartolith::Core::Symbology
