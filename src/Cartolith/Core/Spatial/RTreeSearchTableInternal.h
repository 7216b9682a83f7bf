#pragma once

#include <Cartolith/Core/Spatial/RTreeBoundsInternal.h>
#include <Cartolith/Core/Spatial/RTreeBuildStrategy.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>

#include <atomic>
#include <vector>

namespace Cartolith::Core::Spatial::RTree {

class ResultWriter;

/// What makes searching a wide root quick: everything below it once more, arranged for skipping.
///
/// The items are taken in result order and cut into slices, each of a few consecutive children of the root.
/// A slice holds the bounds of its items in a tree of fan-out 16, in single precision. Packing along one axis
/// makes every leaf a strip across all data, so no run of consecutive items is compact; a slice therefore has
/// its bounds ordered by the other axis, marks the hits by their place in the result order and then reads the
/// marks from front to back. Packing along a curve gives compact runs as it is.
///
/// The results are those of the plain traversal, one by one. Where that would not follow from the bounds of
/// the items alone, because a node's extent fails to cover what is below it or an item is empty, the slice is
/// searched by traversal. The table holds no pointer into the tree: it is given the root anew every time.
///
/// A slice that an insertion changed is searched by traversal too. Filling it anew costs as much as some
/// dozens of these, so that is left to the search that comes after so many; insertions alone never pay for
/// it. Searches run side by side: only one fills a slice, and the others go on traversing until it is done.
class RTreeSearchTable {
public:
    /// For a root that is not a leaf. Linear in the number of items below it.
    RTreeSearchTable(const RTreeNode& root, RTreeBuildStrategy strategy);

    /// To be called after an item was added somewhere below one child of the root.
    void childChanged(qsizetype child, const Shapes::GisExtent& added) noexcept;

    /// True when so many items were added that the slices have lost their proportions and a new table pays.
    bool isOutgrown() const noexcept { return m_addedCount > m_itemCount; }

    /// Appends what a traversal from the root finds, in the same order. The query is not empty.
    void search(const RTreeNode& root, const Shapes::GisExtent& query, ResultWriter& writer) const;

private:
    enum class State : quint8 {
        Ready,   // searched by what the slice holds
        Changed, // by traversal, until it is filled anew
        Filling, // by traversal, while another search fills it
        Plain,   // by traversal for good
    };
    struct Slice {
        qsizetype firstChild = 0;
        qsizetype childCount = 0;
        // Beyond this number of items it is no longer worth filling.
        std::size_t itemLimit = 0;
        std::atomic<State> state{State::Plain};
        // Searches that came by since it changed.
        std::atomic<int> visits{0};
        // Everything below is unused unless it is ready.
        // In the order of the bounds.
        std::vector<Shapes::GisShape*> shapes;
        BoundsTree bounds;
        // The place of each of them in the result order, and the reverse, padded to a multiple of 64. None
        // when they are in that order.
        std::vector<quint16> places;
        std::vector<quint16> ranks;
        // Of the first item of each child in the result order.
        std::vector<quint32> childStarts;
    };

    struct TableVisitor;
    struct OrderedVisitor;
    struct MarkingVisitor;

    // False, and the slice holds nothing, when it has to be searched by traversal.
    bool fillSlice(const RTreeNode& root, Slice& slice) const;
    // Whether the slice can be searched by what it holds.
    bool isReady(const RTreeNode& root, Slice& slice) const;
    void orderAcross(Slice& slice, const std::vector<RoundedBounds>& bounds) const;
    void fillTop();
    // Asks the tree itself whether the item at a place meets the query.
    static bool meets(const RTreeNode& root, const Slice& slice, std::size_t place,
                      const Shapes::GisExtent& query);

    bool m_isOrdered;
    bool m_alongX;
    std::size_t m_itemCount = 0;
    std::size_t m_addedCount = 0;
    BoundsOrigin m_origin;
    mutable std::vector<Slice> m_slices; // as many from the first on
    // Over the slices: around all items of each, if not closely.
    BoundsTree m_top;
};

} // namespace Cartolith::Core::Spatial::RTree
