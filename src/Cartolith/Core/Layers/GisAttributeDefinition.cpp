#include <Cartolith/Core/Layers/GisAttributeDefinition.h>

namespace Cartolith::Core::Layers::Defs {

QString GisAttributeDefinition::typeName() const {
    return QString::fromLatin1(QMetaType(m_type).name());
}

} // namespace Cartolith::Core::Layers::Defs
