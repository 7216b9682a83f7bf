#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

#include <cmath>

namespace Cartolith::Core::Topology::Internal {

inline bool isFinite(const Shapes::GisShapePoint& p) {
    return std::isfinite(p.x()) && std::isfinite(p.y());
}

/// Positive when the ring runs counterclockwise; a ring that is open counts as closed. Relative to the first
/// vertex, so that a small ring far from the origin keeps its digits.
double signedArea(const QList<Shapes::GisShapePoint>& ring);

/// Open, as it is.
double lengthOf(const QList<Shapes::GisShapePoint>& part);

} // namespace Cartolith::Core::Topology::Internal
