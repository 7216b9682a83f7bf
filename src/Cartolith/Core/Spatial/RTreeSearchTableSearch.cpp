#include <Cartolith/Core/Spatial/RTreeHitMarksInternal.h>
#include <Cartolith/Core/Spatial/RTreeResultWriterInternal.h>
#include <Cartolith/Core/Spatial/RTreeSearchTableInternal.h>
#include <Cartolith/Core/Spatial/RTreeTraversalInternal.h>

#include <algorithm>
#include <bit>

namespace Cartolith::Core::Spatial::RTree {

using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

// The two cache lines from here on.
void prefetch(const void* address) {
    _mm_prefetch(static_cast<const char*>(address), _MM_HINT_T0);
    _mm_prefetch(static_cast<const char*>(address) + 64, _MM_HINT_T0);
}

} // namespace

/// For a slice whose entries are in result order.
struct RTreeSearchTable::OrderedVisitor {
    const RTreeNode& root;
    const Slice& slice;
    const GisExtent& query;
    ResultWriter& writer;

    void expect(std::size_t first) const { prefetch(&slice.shapes[first]); }
    void inside(std::size_t first, std::size_t last) { writer.append(&slice.shapes[first], last - first); }
    void tested(std::size_t first, unsigned int may, unsigned int surely) {
        GisShape** out = writer.room(16);
        for (; may != 0; may &= may - 1) {
            const auto bit = static_cast<unsigned int>(std::countr_zero(may));
            if ((surely >> bit & 1U) != 0 || meets(root, slice, first + bit, query)) {
                *out++ = slice.shapes[first + bit];
            }
        }
        writer.commit(out);
    }
};

/// For a slice whose entries are in another order.
struct RTreeSearchTable::MarkingVisitor {
    const RTreeNode& root;
    const Slice& slice;
    const GisExtent& query;
    HitMarks& marks;
    // Consecutive entries inside the query, not marked yet.
    std::size_t insideFirst = 0;
    std::size_t insideLast = 0;
    std::size_t count = 0;

    void expect(std::size_t first) const {
        prefetch(&slice.shapes[first]);
        prefetch(&slice.places[first]);
    }
    void inside(std::size_t first, std::size_t last) {
        if (first != insideLast) {
            markInside();
            insideFirst = first;
        }
        insideLast = last;
        count += last - first;
    }
    void tested(std::size_t first, unsigned int may, unsigned int surely) {
        std::size_t marked = 0;
        for (; may != 0; may &= may - 1) {
            const auto bit = static_cast<unsigned int>(std::countr_zero(may));
            const std::size_t entry = first + bit;
            if ((surely >> bit & 1U) != 0 || meets(root, slice, slice.places[entry], query)) {
                marks.mark(slice.places[entry], slice.shapes[entry]);
                ++marked;
            }
        }
        count += marked;
    }
    void markInside() {
        // Comparing all ranks pays from about this share on.
        if ((insideLast - insideFirst) * 8 > slice.shapes.size()) {
            marks.markRanks(slice.ranks.data(), insideFirst, insideLast);
            return;
        }
        for (std::size_t entry = insideFirst; entry < insideLast; ++entry) {
            marks.mark(slice.places[entry], slice.shapes[entry]);
        }
    }
};

struct RTreeSearchTable::TableVisitor {
    const RTreeSearchTable& table;
    const RTreeNode& root;
    const GisExtent& query;
    const BlockQuery& blockQuery;
    ResultWriter& writer;
    HitMarks marks;

    void expect(std::size_t first) const { prefetch(&table.m_slices[first]); }
    void inside(std::size_t first, std::size_t last) {
        for (std::size_t i = first; i < last; ++i) {
            Slice& slice = table.m_slices[i];
            if (!table.isReady(root, slice)) {
                traverse(slice);
                continue;
            }
            if (table.m_isOrdered) {
                writer.append(slice.shapes.data(), slice.shapes.size());
                continue;
            }
            GisShape** out = writer.room(slice.shapes.size());
            for (std::size_t place = 0; place < slice.shapes.size(); ++place) {
                *out++ = slice.shapes[slice.ranks[place]];
            }
            writer.commit(out);
        }
    }
    void tested(std::size_t first, unsigned int may, unsigned int) {
        for (; may != 0; may &= may - 1) {
            searchSlice(table.m_slices[first + static_cast<unsigned int>(std::countr_zero(may))]);
        }
    }

    void traverse(const Slice& slice) {
        for (qsizetype i = 0; i < slice.childCount; ++i) {
            visitHits(root.children()[slice.firstChild + i], query,
                      [this](GisShape* shape) { writer.append(shape); });
        }
    }
    void searchSlice(Slice& slice) {
        if (!table.isReady(root, slice)) {
            traverse(slice);
        } else if (table.m_isOrdered) {
            OrderedVisitor visitor{root, slice, query, writer};
            slice.bounds.visit(blockQuery, visitor);
        } else {
            marks.begin(slice.ranks.size() / 64);
            MarkingVisitor visitor{root, slice, query, marks};
            slice.bounds.visit(blockQuery, visitor);
            visitor.markInside();
            marks.read(slice.shapes.data(), slice.ranks.data(), visitor.count, writer);
        }
    }
};

void RTreeSearchTable::search(const RTreeNode& root, const GisExtent& query, ResultWriter& writer) const {
    if (!RTreeSpatialIndex::intersects(root.extent(), query)) {
        return;
    }
    const BlockQuery blockQuery(m_origin.round(query));
    TableVisitor visitor{*this, root, query, blockQuery, writer, {}};
    m_top.visit(blockQuery, visitor);
}

bool RTreeSearchTable::meets(const RTreeNode& root, const Slice& slice, std::size_t place,
                             const GisExtent& query) {
    const auto behind = std::upper_bound(slice.childStarts.begin(), slice.childStarts.end(), place);
    const qsizetype child = behind - slice.childStarts.begin() - 1;
    auto index = static_cast<qsizetype>(place - *std::prev(behind));
    bool result = false;
    visitLeaves(
        root.children()[slice.firstChild + child],
        [&index](const RTreeNode&, qsizetype) { return index >= 0; },
        [&](const RTreeNode& leaf) {
            if (index >= 0 && index < leaf.items().size()) {
                result =
                    RTreeSpatialIndex::intersectsFast(leaf.itemXMin()[index], leaf.itemYMin()[index],
                                                      leaf.itemXMax()[index], leaf.itemYMax()[index], query);
            }
            index -= leaf.items().size();
        });
    return result;
}

} // namespace Cartolith::Core::Spatial::RTree
