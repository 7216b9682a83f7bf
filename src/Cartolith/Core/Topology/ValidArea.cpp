#include <Cartolith/Core/Shapes/RingKeyInternal.h>
#include <Cartolith/Core/Topology/CoveredSidesInternal.h>
#include <Cartolith/Core/Topology/NodingInternal.h>
#include <Cartolith/Core/Topology/ValidAreaInternal.h>

#include <map>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

using Shapes::Internal::Ring;
using Shapes::Internal::vertexKey;

namespace {

/// Each ring once, in whatever polygons it is a shell or a hole: the edges that run along each other would be
/// as many as the square of its copies.
Cover coverOf(const QList<Ring>& rings) {
    Cover cover;
    std::map<Shapes::Internal::RingKey, std::size_t> numbers;
    for (const QList<Ring>& polygon : Shapes::Internal::shellsWithHoles(rings)) {
        for (qsizetype i = 0; i < polygon.size(); ++i) {
            const auto [its, isNew] = numbers.emplace(vertexKey(polygon[i]), cover.roles.size());
            if (isNew) {
                cover.rings.append(polygon[i]);
                cover.roles.emplace_back();
            }
            cover.roles[its->second].push_back({cover.polygons, i > 0});
        }
        ++cover.polygons;
    }
    return cover;
}

} // namespace

QList<Ring> validArea(const QList<Ring>& rings, const NodingGrid& grid, Work& work) {
    const Cover cover = coverOf(rings);
    const QList<Ring> noded = nodedLines(cover.rings, NodedAs::Rings, grid, work);
    const EdgeMap map(noded, work);
    const std::vector<bool> isCovered = coveredSides(cover, noded, map, work);
    std::vector<int> areas;
    for (const bool its : isCovered) {
        areas.push_back(its ? 0 : EdgeMap::noArea);
    }
    QList<Ring> valid;
    for (AreaRing& ring : map.ringsAround(areas, work)) {
        valid.append(std::move(ring.ring));
    }
    return valid;
}

} // namespace Cartolith::Core::Topology::Internal
