#include <Cartolith/Core/Spatial/RTreeHitMarksInternal.h>
#include <Cartolith/Core/Spatial/RTreeSearchTableInternal.h>
#include <Cartolith/Core/Spatial/RTreeTraversalInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

namespace Cartolith::Core::Spatial::RTree {

using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

bool covers(const GisExtent& outer, const GisExtent& inner) noexcept {
    return inner.xMin() >= outer.xMin() && outer.xMax() >= inner.xMax() && inner.yMin() >= outer.yMin() &&
           outer.yMax() >= inner.yMax();
}

qsizetype itemCount(const RTreeNode& node) {
    qsizetype count = 0;
    visitLeaves(
        node, [](const RTreeNode&, qsizetype) { return true; },
        [&count](const RTreeNode& leaf) { count += leaf.items().size(); });
    return count;
}

// How many items a slice should have. Along one axis, slices are as wide as their runs of sixteen are high,
// for a query as wide as high.
std::size_t sliceSize(std::size_t items, const GisExtent& extent, bool isOrdered) {
    constexpr std::size_t least = 128;
    constexpr std::size_t most = 6144;
    const double along = std::max(extent.width(), extent.height());
    const double across = isOrdered ? along : std::min(extent.width(), extent.height());
    const double size = std::sqrt(static_cast<double>(items) * 64.0 * (across / along));
    return size < static_cast<double>(most) ? std::max(static_cast<std::size_t>(size), least) : most;
}

// A NaN in the first, of a slice without items, gives way.
RoundedBounds unite(const RoundedBounds& a, const RoundedBounds& b) noexcept {
    return {a.xMin <= b.xMin ? a.xMin : b.xMin, a.yMin <= b.yMin ? a.yMin : b.yMin,
            a.xMax >= b.xMax ? a.xMax : b.xMax, a.yMax >= b.yMax ? a.yMax : b.yMax};
}

// A float's bits as an integer of the same order. Anything will do for a NaN.
quint32 sortableBits(float value) noexcept {
    const auto bits = std::bit_cast<quint32>(value);
    return (bits >> 31U) != 0 ? ~bits : bits | quint32{1} << 31U;
}

} // namespace

RTreeSearchTable::RTreeSearchTable(const RTreeNode& root, RTreeBuildStrategy strategy)
    : m_isOrdered(strategy == RTreeBuildStrategy::Hilbert),
      m_alongX(root.extent().height() <= root.extent().width()) {
    const GisExtent& extent = root.extent();
    m_origin = {std::isfinite(extent.xMin()) ? extent.xMin() : 0.0,
                std::isfinite(extent.yMin()) ? extent.yMin() : 0.0};

    std::vector<std::size_t> counts;
    counts.reserve(static_cast<std::size_t>(root.children().size()));
    for (const RTreeNode& child : root.children()) {
        counts.push_back(static_cast<std::size_t>(itemCount(child)));
        m_itemCount += counts.back();
    }
    const std::size_t size = sliceSize(m_itemCount, extent, m_isOrdered);
    std::vector<std::size_t> ends; // of the slices, as children
    std::vector<std::size_t> sizes;
    for (std::size_t child = 0; child < counts.size();) {
        std::size_t items = 0;
        do {
            items += counts[child++];
        } while (child < counts.size() && items + counts[child] <= size);
        ends.push_back(child);
        sizes.push_back(items);
    }
    m_slices = std::vector<Slice>(ends.size());
    for (std::size_t i = 0; i < ends.size(); ++i) {
        Slice& slice = m_slices[i];
        slice.firstChild = i > 0 ? static_cast<qsizetype>(ends[i - 1]) : 0;
        slice.childCount = static_cast<qsizetype>(ends[i]) - slice.firstChild;
        slice.itemLimit = std::min(2 * sizes[i] + 256, HitMarks::capacity);
        slice.state = fillSlice(root, slice) ? State::Ready : State::Plain;
    }
    fillTop();
}

void RTreeSearchTable::childChanged(qsizetype child, const GisExtent& added) noexcept {
    ++m_addedCount;
    const auto behind =
        std::upper_bound(m_slices.begin(), m_slices.end(), child,
                         [](qsizetype index, const Slice& slice) { return index < slice.firstChild; });
    const auto slice = std::prev(behind);
    if (slice->state != State::Plain) {
        slice->state = State::Changed;
        slice->visits = 0;
    }
    if (!added.isEmpty()) { // that one is never found
        const auto index = static_cast<std::size_t>(slice - m_slices.begin());
        m_top.setEntry(index, unite(m_top.entry(index), m_origin.round(added)));
        m_top.finish();
    }
}

bool RTreeSearchTable::isReady(const RTreeNode& root, Slice& slice) const {
    constexpr int visitsBeforeFilling = 32;
    State state = slice.state.load(std::memory_order_acquire);
    if (state != State::Changed ||
        slice.visits.fetch_add(1, std::memory_order_relaxed) + 1 < visitsBeforeFilling ||
        !slice.state.compare_exchange_strong(state, State::Filling, std::memory_order_acquire)) {
        return state == State::Ready;
    }
    state = State::Changed;
    try {
        state = fillSlice(root, slice) ? State::Ready : State::Plain;
    } catch (const std::bad_alloc&) {
        slice.visits = 0;
    }
    slice.state.store(state, std::memory_order_release);
    return state == State::Ready;
}

bool RTreeSearchTable::fillSlice(const RTreeNode& root, Slice& slice) const {
    slice.shapes.clear();
    slice.childStarts.clear();
    slice.places.clear();
    std::vector<RoundedBounds> bounds;
    bounds.reserve(slice.itemLimit / 2);
    slice.shapes.reserve(slice.itemLimit / 2);
    bool isCovered = true;
    for (qsizetype i = 0; i < slice.childCount && isCovered; ++i) {
        const RTreeNode& child = root.children()[slice.firstChild + i];
        slice.childStarts.push_back(static_cast<quint32>(slice.shapes.size()));
        isCovered = covers(root.extent(), child.extent());
        visitLeaves(
            child,
            [&isCovered](const RTreeNode& node, qsizetype index) {
                isCovered = isCovered && covers(node.extent(), node.children()[index].extent());
                return isCovered;
            },
            [&](const RTreeNode& leaf) {
                for (const SpatialIndexItem& item : leaf.items()) {
                    const GisExtent extent = item.extent();
                    isCovered = isCovered && covers(leaf.extent(), extent);
                    slice.shapes.push_back(item.shape());
                    bounds.push_back(m_origin.round(extent));
                }
            });
    }
    if (!isCovered || bounds.size() > slice.itemLimit) {
        slice.shapes = {};
        slice.childStarts = {};
        slice.places = {};
        slice.ranks = {};
        slice.bounds = BoundsTree();
        return false;
    }
    if (!m_isOrdered) {
        orderAcross(slice, bounds);
    }
    slice.bounds = BoundsTree(bounds.size());
    for (std::size_t i = 0; i < bounds.size(); ++i) {
        slice.bounds.setEntry(i, bounds[m_isOrdered ? i : slice.places[i]]);
    }
    slice.bounds.finish();
    return true;
}

// Sorts the places by the centre across, to 24 bits: equal ones may come in any order.
void RTreeSearchTable::orderAcross(Slice& slice, const std::vector<RoundedBounds>& bounds) const {
    constexpr std::array<unsigned int, 3> shifts{24, 32, 40};
    std::array<std::array<quint32, 256>, 3> starts{};
    std::vector<quint64> entries(bounds.size());
    for (std::size_t i = 0; i < bounds.size(); ++i) {
        const RoundedBounds& box = bounds[i];
        const quint32 key = sortableBits(m_alongX ? box.yMin + box.yMax : box.xMin + box.xMax);
        entries[i] = quint64{key} << 16U | i;
        for (std::size_t pass = 0; pass < shifts.size(); ++pass) {
            ++starts[pass][entries[i] >> shifts[pass] & 255U];
        }
    }
    std::vector<quint64> other(entries.size());
    for (std::size_t pass = 0; pass < shifts.size(); ++pass) {
        quint32 total = 0;
        for (quint32& start : starts[pass]) {
            total += std::exchange(start, total);
        }
        for (const quint64 entry : entries) {
            other[starts[pass][entry >> shifts[pass] & 255U]++] = entry;
        }
        entries.swap(other);
    }
    const std::vector<GisShape*> shapes = slice.shapes;
    slice.places.resize(entries.size());
    slice.ranks.assign((entries.size() + 63) / 64 * 64, std::numeric_limits<quint16>::max());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto place = static_cast<quint16>(entries[i]);
        slice.places[i] = place;
        slice.ranks[place] = static_cast<quint16>(i);
        slice.shapes[i] = shapes[place];
    }
}

void RTreeSearchTable::fillTop() {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    m_top = BoundsTree(m_slices.size());
    for (std::size_t i = 0; i < m_slices.size(); ++i) {
        // Never skipped and never inside a query.
        const RoundedBounds everything{-infinity, -infinity, infinity, infinity};
        m_top.setEntry(i, m_slices[i].state == State::Ready ? m_slices[i].bounds.bounds() : everything);
    }
    m_top.finish();
}

} // namespace Cartolith::Core::Spatial::RTree
