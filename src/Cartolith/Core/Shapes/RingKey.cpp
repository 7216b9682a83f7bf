#include <Cartolith/Core/Shapes/OrientationInternal.h>
#include <Cartolith/Core/Shapes/RingKeyInternal.h>

#include <algorithm>
#include <cstddef>

namespace Cartolith::Core::Shapes::Internal {

namespace {

/// Where the rotation that comes first begins: of two beginnings, the one that is beaten is given up with all
/// places passed on the way.
std::size_t leastBeginning(const RingKey& places) {
    const std::size_t size = places.size();
    std::size_t first = 0;
    std::size_t second = 1;
    std::size_t equal = 0;
    while (first < size && second < size && equal < size) {
        const auto& one = places[(first + equal) % size];
        const auto& other = places[(second + equal) % size];
        if (one == other) {
            ++equal;
            continue;
        }
        (other < one ? first : second) += equal + 1;
        second += first == second ? 1 : 0;
        equal = 0;
    }
    return std::min(first, second);
}

void rotateToLeast(RingKey& places) {
    if (!places.empty()) {
        std::rotate(places.begin(), places.begin() + static_cast<std::ptrdiff_t>(leastBeginning(places)),
                    places.end());
    }
}

RingKey leastOf(RingKey places) {
    RingKey reverse(places.rbegin(), places.rend());
    rotateToLeast(places);
    rotateToLeast(reverse);
    return std::min(places, reverse);
}

RingKey placesOf(const QList<GisShapePoint>& ring) {
    RingKey places;
    for (const GisShapePoint& vertex : ring) {
        if (const std::pair place(vertex.x(), vertex.y()); places.empty() || places.back() != place) {
            places.push_back(place);
        }
    }
    while (places.size() > 1 && places.back() == places.front()) {
        places.pop_back();
    }
    return places;
}

/// True when the way from a over b to c goes on, or back, on one line.
bool isStraight(const RingKey::value_type& a, const RingKey::value_type& b, const RingKey::value_type& c) {
    return b == c || orientation(a.first, a.second, b.first, b.second, c.first, c.second) == 0;
}

} // namespace

RingKey vertexKey(const QList<GisShapePoint>& ring) {
    return leastOf(placesOf(ring));
}

RingKey cornerKey(const QList<GisShapePoint>& ring) {
    RingKey corners;
    for (const auto& place : placesOf(ring)) {
        while (corners.size() > 1 && isStraight(corners[corners.size() - 2], corners.back(), place)) {
            corners.pop_back();
        }
        if (corners.empty() || corners.back() != place) {
            corners.push_back(place);
        }
    }
    auto first = corners.begin();
    auto end = corners.end();
    while (end - first > 2) { // where the list begins
        if (isStraight(*(end - 2), *(end - 1), *first)) {
            --end;
        } else if (isStraight(*(end - 1), *first, *(first + 1))) {
            ++first;
        } else {
            break;
        }
    }
    return leastOf(RingKey(first, end));
}

} // namespace Cartolith::Core::Shapes::Internal
