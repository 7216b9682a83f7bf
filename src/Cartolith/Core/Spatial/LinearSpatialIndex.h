#pragma once

#include <Cartolith/Core/Spatial/ISpatialIndex.h>
#include <Cartolith/Core/Spatial/SpatialIndexItem.h>

namespace Cartolith::Core::Spatial::Linear {

/// A plain list of items, scanned in full by every query, in insertion order.
///
/// The simplest index that is always right: for a few dozen shapes, and as the reference for the trees.
/// Building and inserting cost nothing but the shape's extent; a query is linear in the number of items.
class CARTOLITH_CORE_EXPORT LinearSpatialIndex final : public ISpatialIndex {
public:
    /// An empty index that is not built.
    LinearSpatialIndex() noexcept = default;

    /// True from build() until clear(); insert() does not change it.
    bool isBuilt() const override { return m_built; }
    void clear() override;

    /// Also keeps a shape whose extent is empty, which no query finds.
    /// \throws std::invalid_argument "LinearSpatialIndex::insert shape cannot be null."
    void insert(Shapes::GisShape* shape) override;
    void build(const QList<Shapes::GisShape*>& shapes) override;
    QList<Shapes::GisShape*> search(const Shapes::GisExtent& extent) const override;
    int search(const Shapes::GisExtent& extent, QList<Shapes::GisShape*>& results) const override;

    /// Every item, in insertion order.
    const QList<SpatialIndexItem>& items() const noexcept { return m_items; }

private:
    QList<SpatialIndexItem> m_items;
    bool m_built = false;
};

} // namespace Cartolith::Core::Spatial::Linear
