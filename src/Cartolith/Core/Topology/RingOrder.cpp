#include <Cartolith/Core/Spatial/RTreeOrderInternal.h>
#include <Cartolith/Core/Topology/RingOrderInternal.h>

#include <algorithm>
#include <utility>

namespace Cartolith::Core::Topology::Internal {

std::vector<int> alongCurve(const std::vector<Position>& places) {
    std::vector<int> numbers;
    if (places.empty()) {
        return numbers;
    }
    using namespace Spatial::RTree;
    Position low = places.front();
    Position high = low;
    for (const Position& place : places) {
        low = {std::min(low.x, place.x), std::min(low.y, place.y)};
        high = {std::max(high.x, place.x), std::max(high.y, place.y)};
    }
    std::vector<std::pair<quint32, int>> order;
    order.reserve(places.size());
    for (const Position& place : places) {
        order.emplace_back(
            hilbertKey(gridCoordinate(place.x, low.x, high.x), gridCoordinate(place.y, low.y, high.y)),
            static_cast<int>(order.size()));
    }
    std::sort(order.begin(), order.end());
    numbers.reserve(order.size());
    for (const auto& [key, number] : order) {
        numbers.push_back(number);
    }
    return numbers;
}

std::vector<int> alongCurve(const QList<Shapes::Internal::Ring>& lines) {
    std::vector<Position> places;
    places.reserve(static_cast<std::size_t>(lines.size()));
    for (const Shapes::Internal::Ring& line : lines) {
        places.push_back(line.isEmpty() ? Position{0.0, 0.0} : positionOf(line[line.size() / 2]));
    }
    return alongCurve(places);
}

QList<Shapes::Internal::Ring> inOrder(const QList<Shapes::Internal::Ring>& lines,
                                      const std::vector<int>& order) {
    QList<Shapes::Internal::Ring> ordered;
    ordered.reserve(lines.size());
    for (const int line : order) {
        ordered.append(lines[line]);
    }
    return ordered;
}

} // namespace Cartolith::Core::Topology::Internal
