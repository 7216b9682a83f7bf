#include <Cartolith/Core/Layers/OnDemand/FeatureTableInternal.h>

#include <algorithm>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

/// Ids that follow each other mostly lie side by side, sixteen at a time: a window has many of those, and
/// each page of memory that is met costs.
std::size_t FeatureTable::homeOf(qint64 id) const noexcept {
    constexpr quint64 golden = 0x9E3779B97F4A7C15U;
    constexpr unsigned half = 32;
    constexpr unsigned run = 4; // bits
    const auto number = static_cast<quint64>(id);
    const quint64 mixed = (number >> run) * golden;
    const quint64 place = (mixed ^ mixed >> half) << run | (number & ((1U << run) - 1));
    return static_cast<std::size_t>(place & (m_slots.size() - 1));
}

/// Of the id, or else the free slot where its search ends.
std::size_t FeatureTable::placeOf(qint64 id) const noexcept {
    std::size_t place = homeOf(id);
    while (m_slots[place].feature != nullptr && m_slots[place].id != id) {
        place = (place + 1) & (m_slots.size() - 1);
    }
    return place;
}

CachedFeature* FeatureTable::find(qint64 id) const noexcept {
    return m_slots.empty() ? nullptr : m_slots[placeOf(id)].feature;
}

void FeatureTable::grow() {
    constexpr std::size_t least = 1024;
    std::vector<Slot> before(std::max(least, 2 * m_slots.size()));
    m_slots.swap(before);
    for (const Slot& slot : before) {
        if (slot.feature != nullptr) {
            m_slots[placeOf(slot.id)] = slot;
        }
    }
}

CachedFeature& FeatureTable::add(qint64 id) {
    if (2 * (m_count + 1) > m_slots.size()) {
        grow();
    }
    if (m_unused.empty()) {
        if (m_unused.capacity() == m_features.size()) {
            constexpr std::size_t least = 256;
            m_unused.reserve(std::max(least, 2 * m_features.size()));
        }
        m_unused.push_back(&m_features.emplace_back());
    }
    CachedFeature& feature = *m_unused.back();
    m_unused.pop_back();
    m_slots[placeOf(id)] = {id, &feature};
    ++m_count;
    feature.read.id = id;
    return feature;
}

void FeatureTable::remove(qint64 id) noexcept {
    std::size_t hole = placeOf(id);
    *m_slots[hole].feature = {};
    m_unused.push_back(m_slots[hole].feature);
    --m_count;
    // What would not be found behind the hole moves into it.
    const std::size_t mask = m_slots.size() - 1;
    for (std::size_t next = (hole + 1) & mask; m_slots[next].feature != nullptr; next = (next + 1) & mask) {
        if (((next - homeOf(m_slots[next].id)) & mask) >= ((next - hole) & mask)) {
            m_slots[hole] = m_slots[next];
            hole = next;
        }
    }
    m_slots[hole] = {};
}

void FeatureTable::clear() noexcept {
    m_slots = {};
    m_count = 0;
    m_unused = {};
    m_features.clear();
}

} // namespace Cartolith::Core::Layers::Internal
