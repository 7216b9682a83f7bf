#include <Cartolith/Core/Shapes/EnclosedAreaInternal.h>
#include <Cartolith/Core/Shapes/RingAreaInternal.h>
#include <Cartolith/Core/Shapes/RingKeyInternal.h>
#include <Cartolith/Core/Shapes/RingRanksInternal.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <utility>

namespace Cartolith::Core::Shapes::Internal {

namespace {

/// The vertex from which the area is computed is that of a corner of the box: so the area of the same ring
/// started elsewhere has the same bits.
qsizetype firstInOrder(const Ring& ring) {
    const auto first =
        std::min_element(ring.begin(), ring.end(), [](const GisShapePoint& a, const GisShapePoint& b) {
            return a.x() < b.x() || (a.x() == b.x() && a.y() < b.y());
        });
    return first - ring.begin();
}

RingBox boxOf(const Ring& ring) {
    const GisShapePoint& first = ring.constFirst();
    RingBox box{first.x(), first.y(), first.x(), first.y()};
    for (const GisShapePoint& vertex : ring) {
        box = {std::min(box.xMin, vertex.x()), std::min(box.yMin, vertex.y()), std::max(box.xMax, vertex.x()),
               std::max(box.yMax, vertex.y())};
    }
    return box;
}

using RingIterator = std::vector<RankedRing*>::iterator;

/// Returns how many ranks.
int rankOfOneSize(RingIterator first, RingIterator end, int smaller) {
    if (end - first == 1 || (*first)->size == 0.0) {
        (*first)->rank = smaller;
        return 1;
    }
    std::map<int, int> numbers;
    for (auto it = first; it != end; ++it) {
        (*it)->rank = numbers.emplace((*it)->first, static_cast<int>(numbers.size())).first->second;
    }
    const int count = static_cast<int>(numbers.size());
    for (auto it = first; it != end; ++it) {
        (*it)->rank = smaller + count - 1 - (*it)->rank;
    }
    return count;
}

} // namespace

double RankedRing::largest() const noexcept {
    return std::max({std::fabs(box.xMin), std::fabs(box.yMin), std::fabs(box.xMax), std::fabs(box.yMax)});
}

RankedRings::RankedRings(const QList<Ring>& rings) {
    m_rings.reserve(static_cast<std::size_t>(rings.size()));
    for (const Ring& ring : rings) {
        if (!ring.isEmpty()) {
            m_rings.push_back({&ring, boxOf(ring)});
            m_largest = std::max(m_largest, m_rings.back().largest());
        }
    }
    if (m_largest > 0.0 && std::isfinite(m_largest)) {
        m_scale = std::ldexp(1.0, std::clamp(-std::ilogb(m_largest), -1000, 1000));
    }
    if (m_rings.size() > 1) {
        measure();
        findEqual();
        rank();
    } else if (!m_rings.empty()) {
        m_rings[0].area = areaOf(m_rings[0]);
    }
}

double RankedRings::areaOf(const RankedRing& ring) const {
    const double area = signedArea(*ring.ring, firstInOrder(*ring.ring), m_scale);
    return std::isfinite(area) ? area : 0.0;
}

void RankedRings::measure() {
    for (RankedRing& ring : m_rings) {
        ring.area = areaOf(ring);
        const double size = enclosedArea(*ring.ring, ring.area, m_scale);
        ring.size = std::isfinite(size) ? size : 0.0;
    }
}

/// Rounding makes two areas of one when it has other vertices; equal rings have the first one's size.
void RankedRings::findEqual() {
    std::vector<std::pair<RingBox, int>> byBox;
    for (const RankedRing& ring : m_rings) {
        byBox.emplace_back(ring.box, numberOf(ring));
    }
    const auto corners = [](const RingBox& box) { return std::tie(box.xMin, box.yMin, box.xMax, box.yMax); };
    std::erase_if(byBox, [this](const auto& entry) {
        return m_rings[static_cast<std::size_t>(entry.second)].size == 0.0;
    });
    std::sort(byBox.begin(), byBox.end(), [&corners](const auto& a, const auto& b) {
        return std::tuple(corners(a.first), a.second) < std::tuple(corners(b.first), b.second);
    });
    for (auto begin = byBox.begin(); begin != byBox.end();) {
        const auto end = std::find_if(begin, byBox.end(),
                                      [begin](const auto& entry) { return !(entry.first == begin->first); });
        std::map<RingKey, int> firsts;
        for (auto it = begin; end - begin > 1 && it != end; ++it) {
            RankedRing& ring = m_rings[static_cast<std::size_t>(it->second)];
            ring.first = firsts.emplace(cornerKey(*ring.ring), it->second).first->second;
            ring.size = m_rings[static_cast<std::size_t>(ring.first)].size;
        }
        begin = end;
    }
    for (RankedRing& ring : m_rings) {
        ring.first = ring.first < 0 ? numberOf(ring) : ring.first;
    }
}

/// Of rings of one size that are not equal the later one counts as smaller.
void RankedRings::rank() {
    std::vector<RankedRing*> bySize;
    bySize.reserve(m_rings.size());
    for (RankedRing& ring : m_rings) {
        bySize.push_back(&ring);
    }
    std::stable_sort(bySize.begin(), bySize.end(),
                     [](const RankedRing* a, const RankedRing* b) { return a->size < b->size; });
    int smaller = 0; // ranks given
    for (auto first = bySize.begin(); first != bySize.end();) {
        const auto end = std::find_if(
            first, bySize.end(), [first](const RankedRing* ring) { return ring->size != (*first)->size; });
        smaller += rankOfOneSize(first, end, smaller);
        first = end;
    }
}

} // namespace Cartolith::Core::Shapes::Internal
