#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Symbology/GisSymbolContext.h>

namespace Cartolith::Core::Symbology {

GisSymbolContext::GisSymbolContext(const Shapes::GisShape& shape)
    : m_attributes(shape.attributes()), m_shape(&shape) {}

const QVariant& GisSymbolContext::attribute(const QString& fieldName) const {
    static const QVariant none;
    const auto found = m_attributes.constFind(fieldName);
    return found == m_attributes.cend() ? none : *found;
}

} // namespace Cartolith::Core::Symbology
