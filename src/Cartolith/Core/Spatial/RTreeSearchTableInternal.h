#pragma once

#include <Cartolith/Core/Spatial/RTreeBoundsInternal.h>
#include <Cartolith/Core/Spatial/RTreeBuildStrategy.h>
#include <Cartolith/Core/Spatial/RTreeHitMarksInternal.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeResultWriterInternal.h>
#include <Cartolith/Core/Spatial/RTreeTraversalInternal.h>

#include <vector>

namespace Cartolith::Core::Spatial::RTree {

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
class RTreeSearchTable {
public:
    /// For a root that is not a leaf. Linear in the number of items below it.
    RTreeSearchTable(const RTreeNode& root, RTreeBuildStrategy strategy);

    /// To be called after an item was added somewhere below one child of the root. Rebuilds one slice.
    void childChanged(const RTreeNode& root, qsizetype child);

    /// True when so many items were added that the slices have lost their proportions and a new table pays.
    bool isOutgrown() const noexcept { return m_addedCount > m_itemCount; }

    /// Appends what a traversal from the root finds, in the same order. The query is not empty.
    template <typename Result>
    void search(const RTreeNode& root, const Shapes::GisExtent& query, ResultWriter<Result>& writer) const;

private:
    struct Slice {
        qsizetype firstChild = 0;
        qsizetype childCount = 0;
        // Beyond this number of items it is no longer worth rebuilding after an insertion.
        std::size_t itemLimit = 0;
        // Searched by traversal; everything below is unused then.
        bool isPlain = true;
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

    template <typename Result>
    struct TableVisitor;
    template <typename Result>
    struct OrderedVisitor;
    struct MarkingVisitor;

    void fillSlice(const RTreeNode& root, Slice& slice) const;
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
    std::vector<Slice> m_slices;
    // Over the slices.
    BoundsTree m_top;
};

/// For a slice whose entries are in result order.
template <typename Result>
struct RTreeSearchTable::OrderedVisitor {
    const RTreeNode& root;
    const Slice& slice;
    const Shapes::GisExtent& query;
    ResultWriter<Result>& writer;

    void inside(std::size_t first, std::size_t last) { writer.append(&slice.shapes[first], last - first); }
    void tested(std::size_t first, unsigned int may, unsigned int surely) {
        Result* out = writer.room(16);
        for (; may != 0; may &= may - 1) {
            const auto bit = static_cast<unsigned int>(std::countr_zero(may));
            if ((surely >> bit & 1U) != 0 || meets(root, slice, first + bit, query)) {
                *out++ = ResultWriter<Result>::convert(slice.shapes[first + bit]);
            }
        }
        writer.commit(out);
    }
};

/// For a slice whose entries are in another order.
struct RTreeSearchTable::MarkingVisitor {
    const RTreeNode& root;
    const Slice& slice;
    const Shapes::GisExtent& query;
    HitMarks& marks;
    // Consecutive entries inside the query, not marked yet.
    std::size_t insideFirst = 0;
    std::size_t insideLast = 0;

    void inside(std::size_t first, std::size_t last) {
        if (first != insideLast) {
            markInside();
            insideFirst = first;
        }
        insideLast = last;
    }
    void tested(std::size_t first, unsigned int may, unsigned int surely) {
        for (; may != 0; may &= may - 1) {
            const auto bit = static_cast<unsigned int>(std::countr_zero(may));
            const std::size_t entry = first + bit;
            if ((surely >> bit & 1U) != 0 || meets(root, slice, slice.places[entry], query)) {
                marks.mark(slice.places[entry], slice.shapes[entry]);
            }
        }
    }
    void markInside() {
        // Comparing all ranks pays from about this share on.
        if ((insideLast - insideFirst) * 8 > slice.shapes.size()) {
            marks.markRanks(slice.ranks.data(), slice.ranks.size() / 64, insideFirst, insideLast);
            return;
        }
        for (std::size_t entry = insideFirst; entry < insideLast; ++entry) {
            marks.mark(slice.places[entry], slice.shapes[entry]);
        }
    }
};

template <typename Result>
struct RTreeSearchTable::TableVisitor {
    const RTreeSearchTable& table;
    const RTreeNode& root;
    const Shapes::GisExtent& query;
    const BlockQuery& blockQuery;
    ResultWriter<Result>& writer;
    HitMarks marks;

    void inside(std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            const Slice& slice = table.m_slices[i];
            if (table.m_isOrdered) {
                writer.append(slice.shapes.data(), slice.shapes.size());
                continue;
            }
            Result* out = writer.room(static_cast<qsizetype>(slice.shapes.size()));
            for (std::size_t place = 0; place < slice.shapes.size(); ++place) {
                *out++ = ResultWriter<Result>::convert(slice.shapes[slice.ranks[place]]);
            }
            writer.commit(out);
        }
    }
    void tested(std::size_t first, unsigned int may, unsigned int) {
        for (; may != 0; may &= may - 1) {
            searchSlice(table.m_slices[first + static_cast<unsigned int>(std::countr_zero(may))]);
        }
    }

    void searchSlice(const Slice& slice) {
        if (slice.isPlain) {
            for (qsizetype i = 0; i < slice.childCount; ++i) {
                visitHits(root.children()[slice.firstChild + i], query,
                          [this](Shapes::GisShape* shape) { writer.append(shape); });
            }
        } else if (table.m_isOrdered) {
            OrderedVisitor<Result> visitor{root, slice, query, writer};
            slice.bounds.visit(blockQuery, visitor);
        } else {
            MarkingVisitor visitor{root, slice, query, marks};
            slice.bounds.visit(blockQuery, visitor);
            visitor.markInside();
            marks.read(slice.shapes.data(), slice.ranks.data(), slice.ranks.size() / 64, writer);
        }
    }
};

template <typename Result>
void RTreeSearchTable::search(const RTreeNode& root, const Shapes::GisExtent& query,
                              ResultWriter<Result>& writer) const {
    if (!RTreeSpatialIndex::intersects(root.extent(), query)) {
        return;
    }
    const BlockQuery blockQuery(m_origin.round(query));
    TableVisitor<Result> visitor{*this, root, query, blockQuery, writer, {}};
    m_top.visit(blockQuery, visitor);
}

} // namespace Cartolith::Core::Spatial::RTree
