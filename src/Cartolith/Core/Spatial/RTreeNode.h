#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Spatial/SpatialIndexItem.h>

#include <QList>

namespace Cartolith::Core::Spatial::RTree {

/// A node of an R-tree: its extent and either child nodes or items, with their bounds once more in flat
/// arrays, so that a scan touches a child or an item only when it is hit.
///
/// A value: copies share their lists until one of them changes. Taking a node apart does not recurse, so
/// a tree may be of any depth.
///
/// The node does not compute its extent: whoever fills it sets it. What the non-const children() and items()
/// hand out can be changed behind the node's back; the bound arrays follow at the next setChildren(),
/// setItems() or refreshChild().
class CARTOLITH_CORE_EXPORT RTreeNode {
public:
    /// An empty leaf with an empty extent.
    RTreeNode() noexcept = default;
    RTreeNode(const RTreeNode&) = default;
    RTreeNode(RTreeNode&&) noexcept = default;
    RTreeNode& operator=(const RTreeNode&) = default;
    RTreeNode& operator=(RTreeNode&&) noexcept = default;
    ~RTreeNode();

    /// The bounds of everything below the node.
    const Shapes::GisExtent& extent() const noexcept { return m_extent; }
    void setExtent(const Shapes::GisExtent& extent) noexcept { m_extent = extent; }

    /// True when there are no children.
    bool isLeaf() const noexcept { return m_children.isEmpty(); }

    /// Empty for a leaf.
    const QList<RTreeNode>& children() const noexcept { return m_children; }
    QList<RTreeNode>& children() noexcept { return m_children; }
    /// Empty for an inner node.
    const QList<SpatialIndexItem>& items() const noexcept { return m_items; }
    QList<SpatialIndexItem>& items() noexcept { return m_items; }

    /// Replaces the children and fills their bound arrays. The node's own list is a valid argument.
    void setChildren(const QList<RTreeNode>& children);
    /// Replaces the items and fills their bound arrays. The node's own list is a valid argument.
    void setItems(const QList<SpatialIndexItem>& items);

    /// Takes the memory that the next insertion needs: after it refreshChild() and, of a leaf, one
    /// appendItem() cannot fail, nor can children(). Nothing is to be seen of it; amortised constant time.
    void prepareInsertion();
    /// Brings the bound arrays up to date with the extent of one child, in constant time.
    void refreshChild(qsizetype index);
    /// Adds an item and its bounds at the end, in amortised constant time.
    void appendItem(const SpatialIndexItem& item);

    /// The bounds of children()[i] at index i.
    const QList<double>& childXMin() const noexcept { return m_childXMin; }
    const QList<double>& childYMin() const noexcept { return m_childYMin; }
    const QList<double>& childXMax() const noexcept { return m_childXMax; }
    const QList<double>& childYMax() const noexcept { return m_childYMax; }

    /// The bounds of items()[i] at index i.
    const QList<double>& itemXMin() const noexcept { return m_itemXMin; }
    const QList<double>& itemYMin() const noexcept { return m_itemYMin; }
    const QList<double>& itemXMax() const noexcept { return m_itemXMax; }
    const QList<double>& itemYMax() const noexcept { return m_itemYMax; }

private:
    Shapes::GisExtent m_extent;
    QList<RTreeNode> m_children;
    QList<SpatialIndexItem> m_items;
    QList<double> m_childXMin;
    QList<double> m_childYMin;
    QList<double> m_childXMax;
    QList<double> m_childYMax;
    QList<double> m_itemXMin;
    QList<double> m_itemYMin;
    QList<double> m_itemXMax;
    QList<double> m_itemYMax;
};

} // namespace Cartolith::Core::Spatial::RTree

Q_DECLARE_TYPEINFO(Cartolith::Core::Spatial::RTree::RTreeNode, Q_RELOCATABLE_TYPE);
