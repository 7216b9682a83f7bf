#pragma once

#include <Cartolith/Core/Spatial/ISpatialIndex.h>
#include <Cartolith/Core/Spatial/SpatialIndexItem.h>

#include <array>
#include <memory>

namespace Cartolith::Core::Spatial::QuadTree {

/// A region quadtree over item extents: every item lies in the deepest node whose rectangle holds it whole.
///
/// For data that is added to one by one and spread evenly. An item that straddles the middle of a node stays
/// in that node, so long shapes collect near the root; RTreeSpatialIndex does not mind them.
///
/// A bulk build splits a node only when it holds more than maxItemsPerNode items. A single insert does not
/// look at that number: it sinks the item as deep as it fits, down to maxDepth, and makes the nodes on the
/// way. An item that leaves the root's rectangle has the whole tree rebuilt around the larger extent, in time
/// linear in the number of items times the depth.
///
/// Quadrants share their common edges and are numbered 0 lower left, 1 lower right, 2 upper left, 3 upper
/// right. The depth of the root is 0. No operation recurses, so the depth costs memory but no stack:
/// a single insert may make maxDepth nodes, so keep that number small.
///
/// When memory runs out, build() and insert() leave the index as it was, and a search leaves the caller's
/// list as it was.
class CARTOLITH_CORE_EXPORT QuadTreeSpatialIndex final : public ISpatialIndex {
public:
    struct Node {
        Shapes::GisExtent extent;
        QList<SpatialIndexItem> items;
        /// By quadrant; null where nothing is.
        std::array<std::unique_ptr<Node>, 4> children;

        explicit Node(const Shapes::GisExtent& nodeExtent) noexcept : extent(nodeExtent) {}
        Node(Node&&) noexcept = default;
        Node& operator=(Node&&) noexcept = default;
        ~Node();
    };

    /// \throws std::out_of_range "QuadTreeSpatialIndex maxItemsPerNode must be at least 1." or
    ///         "QuadTreeSpatialIndex maxDepth must be at least 1."
    QuadTreeSpatialIndex(int maxItemsPerNode, int maxDepth);

    /// True after build() or the insertion of a shape that is not empty, until clear().
    bool isBuilt() const override { return m_built; }
    void clear() override;

    /// Ignores a shape whose extent is empty.
    /// \throws std::invalid_argument "QuadTreeSpatialIndex::insert shape cannot be null."
    void insert(Shapes::GisShape* shape) override;
    void build(const QList<Shapes::GisShape*>& shapes) override;
    QList<Shapes::GisShape*> search(const Shapes::GisExtent& extent) const override;
    int search(const Shapes::GisExtent& extent, QList<Shapes::GisShape*>& results) const override;

    /// The tree, for tests and tools; null while nothing is indexed. Valid until the next change.
    const Node* root() const noexcept { return m_root.get(); }

    /// The union of the items' extents.
    static Shapes::GisExtent calculateExtent(const QList<SpatialIndexItem>& items);
    /// Grown on every side by 1e-9 times the longer side, at least by 1e-9, so that items on the outer edge
    /// lie inside. An extent with bounds so infinite that growing would make it empty is returned as it is.
    static Shapes::GisExtent padExtent(const Shapes::GisExtent& extent);
    /// The rectangle of a quadrant; any index other than 0, 1 and 2 means 3.
    static Shapes::GisExtent childExtent(const Shapes::GisExtent& extent, int index);
    /// Closed: an extent contains itself. False when either is empty.
    static bool containsExtent(const Shapes::GisExtent& outer, const Shapes::GisExtent& inner);
    /// The first quadrant that holds the item whole, so the lower and the left one win on the midlines; -1
    /// when there is none.
    static int childIndexContaining(const Shapes::GisExtent& nodeExtent, const Shapes::GisExtent& itemExtent);
    /// Wider and higher than 1e-12.
    static bool canSplit(const Shapes::GisExtent& extent);
    /// Appends all items of the node and of everything below it.
    static void collectItems(const Node& node, QList<SpatialIndexItem>& items);

    /// The tree of a bulk build over the items, whose root has the given extent and depth. Never null.
    std::unique_ptr<Node> buildNode(const Shapes::GisExtent& extent, const QList<SpatialIndexItem>& items,
                                    int depth) const;
    /// Sinks the item from the given node, which has the given depth, as deep as it fits.
    void insert(Node& node, const SpatialIndexItem& item, int depth) const;
    /// Appends the shapes below the node that meet the extent: a node's own first, then its quadrants in
    /// order.
    static void searchNode(const Node& node, const Shapes::GisExtent& extent,
                           QList<Shapes::GisShape*>& results);

private:
    int m_maxItemsPerNode;
    int m_maxDepth;
    std::unique_ptr<Node> m_root;
    bool m_built = false;
};

} // namespace Cartolith::Core::Spatial::QuadTree
