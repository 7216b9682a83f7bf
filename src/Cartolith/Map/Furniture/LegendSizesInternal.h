#pragma once

#include <Cartolith/Map/LegendContent.h>

namespace Cartolith::Map::Internal {

/// The sizes of a style by value, at round values, the greatest first; none when it has no field for them.
QList<LegendContent::Row> sizeRows(const Core::Layers::GisLayerStyle& style, const QString& title,
                                   Core::Shapes::GisShapeType kind);

} // namespace Cartolith::Map::Internal
