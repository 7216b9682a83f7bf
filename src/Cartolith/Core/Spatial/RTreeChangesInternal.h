#pragma once

#include <Cartolith/Core/Spatial/RTreeBuildStrategy.h>
#include <Cartolith/Core/Spatial/SpatialIndexItem.h>

#include <QList>

#include <unordered_map>
#include <vector>

namespace Cartolith::Core::Spatial::RTree {

/// What has changed since a tree was built, as a short list beside it: which items a search must not give,
/// and which it must give in addition, each at the place where a tree built anew would have it.
class RTreeChanges {
public:
    /// Of a tree over so many items, whose union the frame is. As many as fit into a node have no order.
    RTreeChanges(RTreeBuildStrategy strategy, const Shapes::GisExtent& frame, qsizetype itemCount,
                 int itemsPerNode);

    bool isEmpty() const noexcept { return m_removed.empty() && m_added.empty(); }
    /// A shape, with the extent that it had, is gone, and another one is there; either may be null. False,
    /// and nothing is changed, where the tree must be built anew: all would be in another order then, or the
    /// list is long.
    bool apply(const Shapes::GisShape* removed, const Shapes::GisExtent& removedExtent,
               Shapes::GisShape* added);
    /// A shape that was removed is back, between those between which it was. False as above.
    bool putBack(Shapes::GisShape* shape);
    /// Puts right what the tree gave for a query, from a place in the list on. When memory runs out, that
    /// part of the list is not to be used.
    void correct(const Shapes::GisExtent& query, QList<Shapes::GisShape*>& results, qsizetype from) const;

private:
    quint64 keyOf(const Shapes::GisExtent& extent) const;
    bool precedes(const SpatialIndexItem& a, const Shapes::GisShape& b) const;

    bool m_isHilbert;
    bool m_alongX;
    Shapes::GisExtent m_frame;
    qsizetype m_count;
    qsizetype m_itemsPerNode;
    std::size_t m_mostRemoved;
    std::unordered_map<const Shapes::GisShape*, Shapes::GisExtent> m_removed; // from the tree
    std::vector<SpatialIndexItem> m_added;
};

} // namespace Cartolith::Core::Spatial::RTree
