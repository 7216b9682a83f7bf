#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

#include <functional>
#include <memory>

/// The simplification of GisShapePolyline and GisShapePolygon, for callers who want to stop it.
namespace Cartolith::Core::Shapes::Internal {

/// Gets the number of vertices that were looked at since the last call. To stop the work it throws. May be
/// null.
using CountLooks = std::function<void(qint64)>;

/// GisShapePolyline::simplifyDouglasPeucker().
void keepFarVertices(const QList<GisShapePoint>& points, int first, int last, double tolerance,
                     QList<bool>& keep, const CountLooks& count = {});

/// GisShapePolyline::simplifyPart().
QList<GisShapePoint> simplifiedPart(const QList<GisShapePoint>& points, double tolerance,
                                    const CountLooks& count = {});

/// The parts of GisShapePolyline::simplify().
QList<QList<GisShapePoint>> simplifiedLines(const QList<QList<GisShapePoint>>& parts, double tolerance,
                                            const CountLooks& count = {});

/// The rings of GisShapePolygon::simplify().
QList<QList<GisShapePoint>> simplifiedRings(const QList<QList<GisShapePoint>>& rings, double tolerance,
                                            const CountLooks& count = {});

/// shape.simplify(tolerance). Shapes of classes other than the library's own are asked by their simplify(),
/// which cannot be stopped.
std::unique_ptr<GisShape> simplifiedShape(const GisShape& shape, double tolerance, const CountLooks& count);

} // namespace Cartolith::Core::Shapes::Internal
