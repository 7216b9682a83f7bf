#pragma once

#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Topology/GisTopologyCombineType.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>

#include <QList>
#include <QPainterPath>

#include <cmath>
#include <functional>
#include <memory>

/// Polygon overlay by Qt's vector paths.
namespace Cartolith::Core::Topology::Internal {

/// Farther out products of coordinates overflow, and neither engine is made for that.
inline bool canOverlay(const Shapes::GisShapePoint& vertex) {
    return std::fabs(vertex.x()) <= 1e100 && std::fabs(vertex.y()) <= 1e100;
}

/// The ring without vertices equal to their predecessor, closed; empty when fewer than four are left, the
/// closing one included. Comparisons are exact.
QList<Shapes::GisShapePoint> cleanPathRing(const QList<Shapes::GisShapePoint>& ring);

/// The cleaned rings as a simplified path under the winding rule: a hole is one only when it runs opposite to
/// its shell. Vertices that cannot be overlaid are left out, because the path's algorithms would not end.
QPainterPath painterPathFromPolygon(const Shapes::GisShapePolygon& polygon);

/// Null when a or b is not a polygon, and when `proceed` is given and answers false before one of the steps
/// 0 to 2. The result has the id and attributes of a.
std::unique_ptr<Shapes::GisShape> internalPolygonPathOperation(const Shapes::GisShape& a,
                                                               const Shapes::GisShape& b,
                                                               GisTopologyCombineType type,
                                                               const std::function<bool(int)>& proceed = {});

} // namespace Cartolith::Core::Topology::Internal
