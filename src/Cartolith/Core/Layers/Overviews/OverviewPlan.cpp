#include <Cartolith/Core/Layers/Overviews/OverviewPlanInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr double pixelsPerCell = 4.0;
constexpr int finest = 26;  // halvings of the extent: cells of a metre for the whole earth
constexpr int coarsest = 6; // 64 cells of 4 pixels
constexpr std::ptrdiff_t mostInCell = 16;
constexpr double longInCells = 8.0;

/// Every other bit of the result is one of the number's.
quint64 spread(quint64 number) {
    number = (number | number << 16U) & 0x0000ffff0000ffffU;
    number = (number | number << 8U) & 0x00ff00ff00ff00ffU;
    number = (number | number << 4U) & 0x0f0f0f0f0f0f0f0fU;
    number = (number | number << 2U) & 0x3333333333333333U;
    return (number | number << 1U) & 0x5555555555555555U;
}

quint64 cellIn(double offset, double side) {
    constexpr double cells = 1U << static_cast<unsigned>(finest);
    return side > 0.0 ? static_cast<quint64>(std::clamp(offset / side * cells, 0.0, cells - 1.0)) : 0;
}

/// The cell after so many halvings that this one of the finest grid lies in.
quint64 cellAt(quint64 cell, int halvings) {
    return cell >> 2U * static_cast<unsigned>(finest - halvings);
}

} // namespace

void OverviewPlan::add(const OGREnvelope& box) {
    if (m_levelsOf.size() >= std::numeric_limits<quint32>::max()) {
        throw std::runtime_error("it has too many features");
    }
    const auto feature = static_cast<quint32>(m_levelsOf.size());
    m_levelsOf.push_back(0);
    if (!box.IsInit() || !std::isfinite(box.MaxX - box.MinX) || !std::isfinite(box.MaxY - box.MinY)) {
        return;
    }
    ++m_featureCount;
    m_extent.Merge(box);
    m_boxes.push_back({std::midpoint(box.MinX, box.MaxX), std::midpoint(box.MinY, box.MaxY),
                       static_cast<float>(std::max(box.MaxX - box.MinX, box.MaxY - box.MinY)), feature});
}

OverviewPlan::Items OverviewPlan::sortedItems() {
    const double side = std::max(m_extent.MaxX - m_extent.MinX, m_extent.MaxY - m_extent.MinY);
    m_side = side > 0.0 ? side : 1.0; // points in one place
    Items items;
    items.reserve(m_boxes.size());
    for (const Box& box : m_boxes) {
        const quint64 cell = spread(cellIn(box.x - m_extent.MinX, m_side)) |
                             spread(cellIn(box.y - m_extent.MinY, m_side)) << 1U;
        items.push_back({cell, box.length, box.feature});
    }
    m_boxes = {};
    std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) { return a.cell < b.cell; });
    return items;
}

/// The finest level leaves out at least every other feature, for a finer one would hardly spare any, and
/// tells more of them apart than the next one, which it would not where features lie upon each other.
void OverviewPlan::chooseLevels(const Items& items) {
    m_finest = coarsest;
    std::size_t mostCells = 0;
    for (int halvings = coarsest + 1; halvings <= finest; ++halvings) {
        std::size_t cells = 1;
        for (std::size_t i = 1; i < items.size(); ++i) {
            cells += cellAt(items[i].cell, halvings) != cellAt(items[i - 1].cell, halvings) ? 1U : 0U;
        }
        if (2 * cells > items.size()) {
            break;
        }
        m_finest = cells > mostCells + mostCells / 100 ? halvings : m_finest;
        mostCells = std::max(mostCells, cells);
    }
    m_levelCount = items.empty() ? 0 : m_finest - coarsest + 1;
}

/// Of the items of one cell, puts those that are kept first, and gives their end.
OverviewPlan::Items::iterator OverviewPlan::keep(Items::iterator first, Items::iterator last,
                                                 double cellSize) {
    const auto isBefore = [](const Item& a, const Item& b) {
        return a.length != b.length ? a.length > b.length : a.feature < b.feature;
    };
    const auto end = first + std::min(mostInCell, last - first);
    std::partial_sort(first, end, last, isBefore);
    return std::find_if(first + 1, end,
                        [cellSize](const Item& item) { return item.length < longInCells * cellSize; });
}

void OverviewPlan::make() {
    Items items = sortedItems();
    chooseLevels(items);
    for (int level = 0; level < m_levelCount; ++level) {
        const int halvings = m_finest - level;
        const double cellSize = std::ldexp(m_side, -halvings);
        auto end = items.begin();
        for (auto first = items.begin(); first != items.end();) {
            const quint64 cell = cellAt(first->cell, halvings);
            const auto last = std::find_if(first, items.end(), [cell, halvings](const Item& item) {
                return cellAt(item.cell, halvings) != cell;
            });
            end = std::move(first, keep(first, last, cellSize), end);
            first = last;
        }
        items.erase(end, items.end());
        for (const Item& item : items) {
            m_levelsOf[item.feature] = static_cast<quint8>(level + 1);
        }
    }
}

double OverviewPlan::unitsPerPixel(int level) const {
    return std::ldexp(m_side, level - m_finest) / pixelsPerCell;
}

} // namespace Cartolith::Core::Layers::Internal
