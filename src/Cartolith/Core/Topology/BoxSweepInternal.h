#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

/// Calls `visit(i, j)` for each pair of boxes, one of either list, that meet; in no particular order. Every
/// now and then `goOn(done, total)` is asked; false ends the sweep and is the result. No box is empty.
///
/// Takes n log n steps and as many more as there are pairs that meet in x.
template <typename Visit, typename GoOn>
bool visitMeetingBoxes(const std::vector<Shapes::GisExtent>& a, const std::vector<Shapes::GisExtent>& b,
                       Visit visit, GoOn goOn) {
    const auto sorted = [](const std::vector<Shapes::GisExtent>& boxes) {
        std::vector<std::size_t> order(boxes.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::sort(order.begin(), order.end(),
                  [&boxes](std::size_t i, std::size_t j) { return boxes[i].xMin() < boxes[j].xMin(); });
        return order;
    };
    const std::vector<std::size_t> orderA = sorted(a);
    const std::vector<std::size_t> orderB = sorted(b);
    const auto total = static_cast<int>(a.size() + b.size());
    std::size_t nextA = 0;
    std::size_t nextB = 0;
    std::size_t steps = 0;
    while (nextA < a.size() && nextB < b.size()) {
        const std::size_t i = orderA[nextA];
        const std::size_t j = orderB[nextB];
        if (a[i].xMin() <= b[j].xMin()) {
            for (std::size_t k = nextB; k < b.size() && b[orderB[k]].xMin() <= a[i].xMax(); ++k, ++steps) {
                if (a[i].intersects(b[orderB[k]])) {
                    visit(i, orderB[k]);
                }
            }
            ++nextA;
        } else {
            for (std::size_t k = nextA; k < a.size() && a[orderA[k]].xMin() <= b[j].xMax(); ++k, ++steps) {
                if (b[j].intersects(a[orderA[k]])) {
                    visit(orderA[k], j);
                }
            }
            ++nextB;
        }
        if (++steps > 100000) {
            steps = 0;
            if (!goOn(static_cast<int>(nextA + nextB), total)) {
                return false;
            }
        }
    }
    return true;
}

} // namespace Cartolith::Core::Topology::Internal
