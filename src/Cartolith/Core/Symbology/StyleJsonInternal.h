#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Symbology/JsonFieldsInternal.h>

namespace Cartolith::Core::Symbology::Internal {

QJsonValue toJsonValue(const Layers::GisLayerStyle& style, const JsonPath& path);
void fromJsonValue(Layers::GisLayerStyle& target, const QJsonValue& value, const JsonPath& path);

} // namespace Cartolith::Core::Symbology::Internal
