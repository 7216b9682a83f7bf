#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

#include <cfloat>

/// What polylines and polygons share: both are lists of vertex lists.
namespace Cartolith::Core::Shapes::Internal {

inline GisExtent extentOfParts(const QList<QList<GisShapePoint>>& parts) {
    double minX = DBL_MAX;
    double minY = DBL_MAX;
    double maxX = -DBL_MAX;
    double maxY = -DBL_MAX;
    bool seen = false;
    for (const QList<GisShapePoint>& part : parts) {
        for (const GisShapePoint& vertex : part) {
            const double x = vertex.x();
            const double y = vertex.y();
            minX = x < minX ? x : minX;
            minY = y < minY ? y : minY;
            maxX = x > maxX ? x : maxX;
            maxY = y > maxY ? y : maxY;
            seen = true;
        }
    }
    return seen ? GisExtent(minX, minY, maxX, maxY) : GisExtent::empty();
}

inline bool hasNoSegment(const QList<QList<GisShapePoint>>& parts) {
    return std::all_of(parts.begin(), parts.end(), [](const auto& part) { return part.size() < 2; });
}

} // namespace Cartolith::Core::Shapes::Internal
