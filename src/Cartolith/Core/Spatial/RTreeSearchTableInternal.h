#pragma once

#include <Cartolith/Core/Spatial/RTreeBoundsInternal.h>
#include <Cartolith/Core/Spatial/RTreeBuildStrategy.h>
#include <Cartolith/Core/Spatial/RTreeNode.h>
#include <Cartolith/Core/Spatial/RTreeResultWriterInternal.h>
#include <Cartolith/Core/Spatial/RTreeTraversalInternal.h>

#include <array>
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
        // In result order.
        std::vector<Shapes::GisShape*> shapes;
        // Of the first item of each child in the result order.
        std::vector<quint32> childStarts;
        // The entries' places in the result order; none when they are in that order.
        std::vector<quint16> places;
        BoundsTree bounds;
    };

    // Places in a slice fit 16 bits.
    static constexpr std::size_t maxSliceItems = 65536;
    using Marks = std::array<quint64, maxSliceItems / 64>;

    template <typename Result>
    struct TableVisitor;
    template <typename Result>
    struct OrderedVisitor;
    struct MarkingVisitor;

    void fillSlice(const RTreeNode& root, Slice& slice) const;
    void orderAcross(Slice& slice, std::vector<RoundedBounds>& bounds) const;
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
    Marks& marks;
    std::size_t count = 0;

    void mark(std::size_t place) { marks[place / 64] |= quint64{1} << (place % 64); }
    void inside(std::size_t first, std::size_t last) {
        for (std::size_t entry = first; entry < last; ++entry) {
            mark(slice.places[entry]);
        }
        count += last - first;
    }
    void tested(std::size_t first, unsigned int may, unsigned int surely) {
        for (; may != 0; may &= may - 1) {
            const auto bit = static_cast<unsigned int>(std::countr_zero(may));
            const std::size_t place = slice.places[first + bit];
            if ((surely >> bit & 1U) != 0 || meets(root, slice, place, query)) {
                mark(place);
                ++count;
            }
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

    void inside(std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            const std::vector<Shapes::GisShape*>& shapes = table.m_slices[i].shapes;
            writer.append(shapes.data(), shapes.size());
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
            searchMarking(slice);
        }
    }

    void searchMarking(const Slice& slice) {
        // Only as many words as the slice needs are ever touched.
        Marks marks; // NOLINT(cppcoreguidelines-pro-type-member-init)
        const std::size_t words = (slice.shapes.size() + 63) / 64;
        std::fill_n(marks.begin(), words, quint64{0});
        MarkingVisitor visitor{root, slice, query, marks};
        slice.bounds.visit(blockQuery, visitor);
        if (visitor.count == 0) {
            return;
        }
        Result* out = writer.room(static_cast<qsizetype>(visitor.count));
        Shapes::GisShape* const* shapes = slice.shapes.data();
        for (std::size_t word = 0; word < words; ++word, shapes += 64) {
            for (quint64 bits = marks[word]; bits != 0; bits &= bits - 1) {
                *out++ = ResultWriter<Result>::convert(shapes[std::countr_zero(bits)]);
            }
        }
        writer.commit(out);
    }
};

template <typename Result>
void RTreeSearchTable::search(const RTreeNode& root, const Shapes::GisExtent& query,
                              ResultWriter<Result>& writer) const {
    if (!RTreeSpatialIndex::intersects(root.extent(), query)) {
        return;
    }
    const BlockQuery blockQuery(m_origin.round(query));
    TableVisitor<Result> visitor{*this, root, query, blockQuery, writer};
    m_top.visit(blockQuery, visitor);
}

} // namespace Cartolith::Core::Spatial::RTree
