#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Spatial/RTreeChangesInternal.h>
#include <Cartolith/Core/Spatial/RTreeOrderInternal.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Cartolith::Core::Spatial::RTree {

using Shapes::GisExtent;
using Shapes::GisShape;

namespace {

constexpr std::size_t mostAdded = 2048; // looked at one by one in each search

bool isFinite(const GisExtent& extent) {
    return std::isfinite(extent.xMin()) && std::isfinite(extent.yMin()) && std::isfinite(extent.xMax()) &&
           std::isfinite(extent.yMax());
}

bool isInside(const GisExtent& extent, const GisExtent& frame) {
    return extent.xMin() > frame.xMin() && extent.yMin() > frame.yMin() && extent.xMax() < frame.xMax() &&
           extent.yMax() < frame.yMax();
}

bool isSame(const GisExtent& a, const GisExtent& b) {
    return a.xMin() == b.xMin() && a.yMin() == b.yMin() && a.xMax() == b.xMax() && a.yMax() == b.yMax();
}

} // namespace

RTreeChanges::RTreeChanges(RTreeBuildStrategy strategy, const GisExtent& frame, qsizetype itemCount,
                           int itemsPerNode)
    : m_isHilbert(strategy == RTreeBuildStrategy::Hilbert), m_alongX(isAlongX(frame)), m_frame(frame),
      m_count(itemCount), m_itemsPerNode(itemsPerNode),
      m_mostRemoved(static_cast<std::size_t>(itemCount) / 4) {}

bool RTreeChanges::apply(const GisShape* removed, const GisExtent& removedExtent, GisShape* added) {
    const GisExtent extent = added != nullptr ? added->extent() : GisExtent();
    const bool isRemoved = removed != nullptr && !removedExtent.isEmpty(); // the tree has no empty ones
    const bool isAdded = added != nullptr && !extent.isEmpty();
    const GisExtent frame = isAdded ? m_frame.expand(extent) : m_frame;
    if ((isRemoved && !isInside(removedExtent, m_frame)) || (isAdded && !isFinite(extent)) ||
        !isFinite(m_frame) || (m_isHilbert ? !isSame(frame, m_frame) : isAlongX(frame) != m_alongX)) {
        return false;
    }
    const qsizetype count = m_count + (isAdded ? 1 : 0) - (isRemoved ? 1 : 0);
    if (count <= m_itemsPerNode) {
        return false;
    }
    const auto own = isRemoved ? std::find_if(m_added.begin(), m_added.end(),
                                              [removed](const auto& item) { return item.shape() == removed; })
                               : m_added.end();
    const bool isOwn = own != m_added.end();
    if ((isAdded && !isOwn && m_added.size() >= mostAdded) ||
        (isRemoved && !isOwn && m_removed.size() >= m_mostRemoved)) {
        return false;
    }
    if (isAdded && !isOwn) {
        m_added.reserve(m_added.size() + 1);
    }
    if (isOwn) {
        m_added.erase(own);
    } else if (isRemoved) {
        m_removed.insert_or_assign(removed, removedExtent);
    }
    if (isAdded) {
        m_added.emplace_back(added, extent);
    }
    m_frame = frame;
    m_count = count;
    return true;
}

bool RTreeChanges::putBack(GisShape* shape) {
    const auto found = m_removed.find(shape);
    if (found == m_removed.end() || !isSame(found->second, shape->extent())) {
        return apply(nullptr, {}, shape);
    }
    m_removed.erase(found);
    ++m_count;
    return true;
}

quint64 RTreeChanges::keyOf(const GisExtent& extent) const {
    return m_isHilbert ? hilbertKey(extent, m_frame) : axisKey(extent, m_alongX);
}

bool RTreeChanges::precedes(const SpatialIndexItem& a, const GisShape& b) const {
    const quint64 key = keyOf(a.extent());
    const quint64 other = keyOf(b.extent());
    return key != other ? key < other : a.shape()->id() < b.id(); // a build keeps the order of equal keys
}

void RTreeChanges::correct(const GisExtent& query, QList<GisShape*>& results, qsizetype from) const {
    if (!m_removed.empty()) {
        results.erase(std::remove_if(results.begin() + from, results.end(),
                                     [this](const GisShape* shape) { return m_removed.contains(shape); }),
                      results.end());
    }
    std::vector<const SpatialIndexItem*> found;
    for (const SpatialIndexItem& item : m_added) {
        if (item.extent().intersects(query)) {
            found.push_back(&item);
        }
    }
    std::sort(found.begin(), found.end(), [this](const SpatialIndexItem* a, const SpatialIndexItem* b) {
        return precedes(*a, *b->shape());
    });
    qsizetype end = results.size(); // of those that are not yet at their place
    results.resize(end + static_cast<qsizetype>(found.size()));
    GisShape** const shapes = results.data();
    for (auto left = static_cast<qsizetype>(found.size()); left > 0; --left) {
        const SpatialIndexItem& item = *found[static_cast<std::size_t>(left - 1)];
        const qsizetype place =
            std::partition_point(shapes + from, shapes + end,
                                 [&](const GisShape* shape) { return !precedes(item, *shape); }) -
            shapes;
        std::move_backward(shapes + place, shapes + end, shapes + end + left);
        shapes[place + left - 1] = item.shape();
        end = place;
    }
}

} // namespace Cartolith::Core::Spatial::RTree
