#include <Cartolith/Core/Spatial/RTreeSpatialIndex.h>
#include <Cartolith/Map/Picking/PixelDistanceInternal.h>
#include <Cartolith/Map/Picking/SnapTreeInternal.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Map::Picking::Internal {

void SnapTree::add(const SnapItem& item) {
    const double sum = item.from.x() + item.from.y() + item.to.x() + item.to.y();
    if (!std::isfinite(sum)) {
        return;
    }
    if (m_count % chunkSize == 0) {
        m_chunks.emplace_back().reserve(chunkSize);
    }
    const Box box{std::min(item.from.x(), item.to.x()), std::min(item.from.y(), item.to.y()),
                  std::max(item.from.x(), item.to.x()), std::max(item.from.y(), item.to.y())};
    m_all = m_count == 0 ? box
                         : Box{std::min(m_all.left, box.left), std::min(m_all.bottom, box.bottom),
                               std::max(m_all.right, box.right), std::max(m_all.top, box.top)};
    m_chunks.back().push_back(item);
    ++m_count;
}

quint32 SnapTree::keyOf(const SnapItem& item) const {
    using Order = Core::Spatial::RTree::RTreeSpatialIndex;
    constexpr int order = 16; // of the grid, so that a key has 32 bits
    const QPointF middle = item.from + (item.to - item.from) * 0.5;
    return static_cast<quint32>(
        Order::hilbertIndex(Order::normalizeCoordinate(middle.x(), m_all.left, m_all.right),
                            Order::normalizeCoordinate(middle.y(), m_all.bottom, m_all.top), order));
}

bool SnapTree::build() {
    const std::size_t end = std::min(m_count, m_position + chunkSize / 4);
    switch (m_stage) {
    case Stage::Collecting:
        m_keys.reserve(m_count);
        m_sorted.reserve(m_count);
        m_items.reserve(m_count);
        m_stage = Stage::Keys;
        return true;
    case Stage::Keys:
        for (; m_position < end; ++m_position) {
            const Key key{keyOf(collected(m_position)), static_cast<quint32>(m_position)};
            for (unsigned digit = 0; digit < digits; ++digit) {
                ++m_places[digit][key.place >> (digit * digitBits) & ((1U << digitBits) - 1)];
            }
            m_keys.push_back(key);
            m_sorted.push_back({});
        }
        if (m_position == m_count) {
            beginSorting();
        }
        return true;
    case Stage::Sorting: // by one digit after the other, the last first
        for (; m_position < end; ++m_position) {
            const Key key = m_keys[m_position];
            m_sorted[m_places[m_digit][key.place >> (m_digit * digitBits) & ((1U << digitBits) - 1)]++] = key;
        }
        if (m_position == m_count) {
            m_keys.swap(m_sorted);
            m_position = 0;
            m_stage = ++m_digit == digits ? Stage::Ordering : Stage::Sorting;
        }
        return true;
    case Stage::Ordering:
        for (; m_position < end; ++m_position) {
            m_items.push_back(collected(m_keys[m_position].item));
        }
        if (m_position == m_count) {
            beginBoxes();
        }
        return true;
    case Stage::Boxes:
        for (std::size_t i = 0; i < chunkSize / fanOut && m_stage == Stage::Boxes; ++i) {
            const std::size_t level = m_levels.size() - 1;
            const std::size_t index = m_boxes.size() - m_levels[level];
            m_boxes.push_back(boxOf(level, index));
            if ((index + 1) * fanOut >= countBelow(level)) { // the last of its level
                if (index == 0) {
                    m_stage = Stage::Complete;
                } else {
                    m_levels.push_back(m_boxes.size());
                }
            }
        }
        return m_stage != Stage::Complete;
    case Stage::Complete:
        break;
    }
    return false;
}

void SnapTree::beginSorting() {
    for (auto& places : m_places) {
        std::size_t before = 0;
        for (std::size_t& place : places) {
            place = std::exchange(before, before + place);
        }
    }
    m_position = 0;
    m_stage = Stage::Sorting;
}

void SnapTree::beginBoxes() {
    m_chunks = {};
    m_keys = {};
    m_sorted = {};
    if (m_count > 0) {
        constexpr std::size_t mostLevels = 16;
        m_boxes.reserve(m_count / (fanOut - 1) + mostLevels);
        m_levels.push_back(0);
    }
    m_stage = m_count > 0 ? Stage::Boxes : Stage::Complete;
}

SnapTree::Box SnapTree::boxOf(std::size_t level, std::size_t index) const {
    const std::size_t end = std::min(countBelow(level), (index + 1) * fanOut);
    constexpr double all = HUGE_VAL;
    Box box{all, all, -all, -all};
    for (std::size_t i = index * fanOut; i < end; ++i) {
        if (level == 0) {
            const SnapItem& item = m_items[i];
            box = {std::min({box.left, item.from.x(), item.to.x()}),
                   std::min({box.bottom, item.from.y(), item.to.y()}),
                   std::max({box.right, item.from.x(), item.to.x()}),
                   std::max({box.top, item.from.y(), item.to.y()})};
        } else {
            const Box& below = m_boxes[m_levels[level - 1] + i];
            box = {std::min(box.left, below.left), std::min(box.bottom, below.bottom),
                   std::max(box.right, below.right), std::max(box.top, below.top)};
        }
    }
    return box;
}

double SnapTree::progress() const {
    if (m_count == 0 || m_stage == Stage::Complete) {
        return m_stage == Stage::Complete ? 1.0 : 0.0;
    }
    constexpr double passes = digits + 3.0;
    const double before = m_stage == Stage::Sorting    ? 1.0 + m_digit
                          : m_stage == Stage::Ordering ? 1.0 + digits
                          : m_stage == Stage::Boxes    ? 2.0 + digits
                                                       : 0.0;
    const double share = m_stage == Stage::Boxes
                             ? static_cast<double>(m_boxes.size()) / static_cast<double>(m_boxes.capacity())
                             : static_cast<double>(m_position) / static_cast<double>(m_count);
    return (before + share) / passes;
}

void SnapTree::push(Queue& queue, std::size_t level, std::size_t index, QPointF place,
                    double farthest) const {
    const Box& box = m_boxes[m_levels[level] + index];
    const double distance = std::hypot(std::max({box.left - place.x(), 0.0, place.x() - box.right}),
                                       std::max({box.bottom - place.y(), 0.0, place.y() - box.top}));
    if (distance <= farthest) {
        queue.push({distance, static_cast<std::ptrdiff_t>(level), index});
    }
}

void SnapTree::open(Queue& queue, const Entry& entry, QPointF place, double farthest) const {
    const auto level = static_cast<std::size_t>(entry.level);
    const std::size_t end = std::min(countBelow(level), (entry.index + 1) * fanOut);
    for (std::size_t i = entry.index * fanOut; i < end; ++i) {
        if (level > 0) {
            push(queue, level - 1, i, place, farthest);
            continue;
        }
        const double distance = nearestOnSegment(m_items[i].from, m_items[i].to, place).distance;
        if (distance <= farthest) {
            queue.push({distance, -1, i});
        }
    }
}

} // namespace Cartolith::Map::Picking::Internal
