#pragma once

#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>
#include <Cartolith/Core/Symbology/JsonFieldsInternal.h>

#include <memory>

namespace Cartolith::Core::Symbology::Internal {

/// Throws std::invalid_argument for what cannot be saved.
QJsonValue toJsonValue(const GisSymbolRenderer& renderer, const JsonPath& path);
void fromJsonValue(std::unique_ptr<GisSymbolRenderer>& target, const QJsonValue& value, const JsonPath& path);

} // namespace Cartolith::Core::Symbology::Internal
