#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Spatial/SpatialIndexItem.h>

#include <QList>

namespace Cartolith::Core::Spatial::Internal {

/// What a bulk build indexes: the shapes in order, without the null ones and those with an empty extent.
inline QList<SpatialIndexItem> itemsOf(const QList<Shapes::GisShape*>& shapes) {
    QList<SpatialIndexItem> items;
    items.reserve(shapes.size());
    for (Shapes::GisShape* shape : shapes) {
        if (!shape) {
            continue;
        }
        const Shapes::GisExtent extent = shape->extent();
        if (!extent.isEmpty()) {
            items.emplaceBack(shape, extent);
        }
    }
    return items;
}

} // namespace Cartolith::Core::Spatial::Internal
