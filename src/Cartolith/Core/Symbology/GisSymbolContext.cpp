#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Symbology/GisSymbolContext.h>

namespace Cartolith::Core::Symbology {

GisSymbolContext::GisSymbolContext(const Shapes::GisShape& shape)
    : m_attributes(shape.attributes()), m_shape(&shape) {}

} // namespace Cartolith::Core::Symbology
