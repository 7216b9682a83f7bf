#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/OrientationInternal.h>

#include <algorithm>
#include <cmath>
#include <compare>
#include <utility>

namespace Cartolith::Core::Topology {

using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

struct Place {
    double x;
    double y;
    friend auto operator<=>(const Place&, const Place&) = default; // NOLINT(modernize-use-nullptr): not here
};

int turn(const Place& a, const Place& b, const Place& c) {
    return Internal::orientation(a.x, a.y, b.x, b.y, c.x, c.y);
}

/// Appends to the chain, taking back what would leave it with anything but left turns.
template <typename Iterator>
void appendChain(Iterator from, Iterator to, std::vector<Place>& chain) {
    const std::size_t base = chain.size();
    for (; from != to; ++from) {
        while (chain.size() >= base + 2 && turn(chain[chain.size() - 2], chain.back(), *from) <= 0) {
            chain.pop_back();
        }
        chain.push_back(*from);
    }
}

QList<GisShapePoint> vertices(const std::vector<Place>& chain) {
    QList<GisShapePoint> points;
    points.reserve(static_cast<qsizetype>(chain.size()));
    for (const Place& place : chain) {
        points.emplaceBack(place.x, place.y);
    }
    return points;
}

std::unique_ptr<GisShape> hullOf(std::vector<Place> places) {
    std::sort(places.begin(), places.end());
    places.erase(std::unique(places.begin(), places.end()), places.end());
    if (places.empty()) {
        return std::make_unique<GisShapePolygon>();
    }
    if (places.size() == 1) {
        return std::make_unique<GisShapePoint>(places.front().x, places.front().y);
    }
    std::vector<Place> ring;
    appendChain(places.cbegin(), places.cend(), ring);
    const bool nothingBelow = ring.size() == 2;
    ring.pop_back(); // begins the upper chain
    appendChain(places.crbegin(), places.crend(), ring);
    if (nothingBelow && ring.size() == 3) {
        ring.pop_back();
        auto line = std::make_unique<GisShapePolyline>();
        line->parts().append(vertices(ring));
        return line;
    }
    auto polygon = std::make_unique<GisShapePolygon>();
    polygon->parts().append(vertices(ring));
    return polygon;
}

} // namespace

std::unique_ptr<GisShape> GisTopology::ConvexHull(const GisShape& shape) const {
    return ConvexHull(QList<const GisShape*>{&shape});
}

std::unique_ptr<GisShape> GisTopology::ConvexHull(const GisShape& a, const GisShape& b) const {
    return ConvexHull(QList<const GisShape*>{&a, &b});
}

std::unique_ptr<GisShape> GisTopology::ConvexHull(const QList<const GisShape*>& shapes) const {
    std::vector<Place> places;
    const GisShape* first = nullptr;
    const int count = static_cast<int>(shapes.size());
    for (int i = 0; i < count; ++i) {
        if (!reportBusy(i + 1, count)) {
            return nullptr;
        }
        if (const GisShape* const shape = shapes[i]; shape != nullptr) {
            first = first == nullptr ? shape : first;
            for (const GisShapePoint& vertex : VerticesOf(*shape)) {
                if (std::isfinite(vertex.x()) && std::isfinite(vertex.y())) {
                    places.push_back({vertex.x(), vertex.y()});
                }
            }
        }
    }
    std::unique_ptr<GisShape> hull = hullOf(std::move(places));
    if (first != nullptr) {
        first->copyAttributesTo(*hull);
    }
    return hull;
}

} // namespace Cartolith::Core::Topology
