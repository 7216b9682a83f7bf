#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Spatial/IndexItemsInternal.h>
#include <Cartolith/Core/Spatial/LinearSpatialIndex.h>

#include <stdexcept>

namespace Cartolith::Core::Spatial::Linear {

using Shapes::GisExtent;
using Shapes::GisShape;

void LinearSpatialIndex::clear() {
    m_items.clear();
    m_built = false;
}

void LinearSpatialIndex::insert(GisShape* shape) {
    if (!shape) {
        throw std::invalid_argument("LinearSpatialIndex::insert shape cannot be null.");
    }
    m_items.emplaceBack(shape, shape->extent());
}

void LinearSpatialIndex::build(const QList<GisShape*>& shapes) {
    m_items = Internal::itemsOf(shapes);
    m_built = true;
}

QList<GisShape*> LinearSpatialIndex::search(const GisExtent& extent) const {
    QList<GisShape*> results;
    results.reserve(64);
    search(extent, results);
    return results;
}

int LinearSpatialIndex::search(const GisExtent& extent, QList<GisShape*>& results) const {
    if (extent.isEmpty()) {
        return 0;
    }
    Internal::AppendedResults appended(results);
    for (const SpatialIndexItem& item : m_items) {
        if (item.extent().intersects(extent)) {
            results.append(item.shape());
        }
    }
    return appended.finish();
}

} // namespace Cartolith::Core::Spatial::Linear
