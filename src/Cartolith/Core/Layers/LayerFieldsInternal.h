#pragma once

#include <Cartolith/Core/Layers/GisAttributeDefinition.h>

#include <QList>

namespace Cartolith::Core::Layers {

class GisLayerVector;

namespace Internal {

/// The fields declared, each name once, and after them what shapes have besides, by name.
QList<Defs::GisAttributeDefinition> fieldsOf(const GisLayerVector& layer);

} // namespace Internal
} // namespace Cartolith::Core::Layers
