#pragma once

#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>
#include <Cartolith/Map/Export.h>

#include <QStringList>

namespace Cartolith::Map {

/// The fields that a renderer asks features for, each once, in the renderer's order. The null tests of rules
/// count too.
CARTOLITH_MAP_EXPORT QStringList fieldsOf(const Core::Symbology::GisSymbolRenderer& renderer);

} // namespace Cartolith::Map
