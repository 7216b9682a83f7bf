#include <Cartolith/Core/Topology/CoveredSidesInternal.h>
#include <Cartolith/Core/Topology/NodingInternal.h>
#include <Cartolith/Core/Topology/ValidAreaInternal.h>

#include <utility>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

using Shapes::Internal::Ring;

QList<Ring> validArea(const QList<Ring>& rings, const NodingGrid& grid, Work& work) {
    const Cover cover = coverOf(rings);
    const QList<Ring> noded = nodedLines(cover.rings, NodedAs::Rings, grid, work);
    const EdgeMap map(noded, work);
    const std::vector<bool> isCovered = coveredSides(cover, noded, map, work);
    std::vector<int> areas;
    areas.reserve(isCovered.size());
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
