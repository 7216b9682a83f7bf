#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

namespace Cartolith::Core::Shapes::Internal {

/// Positive when the ring runs counterclockwise; a ring that is open counts as closed. A fan of triangles
/// from one vertex, the first if not told otherwise, so that a small ring far from the origin keeps its
/// digits. Coordinates are multiplied by the scale first, so that the area is by its square.
double signedArea(const QList<GisShapePoint>& ring, qsizetype from = 0, double scale = 1.0);

} // namespace Cartolith::Core::Shapes::Internal
