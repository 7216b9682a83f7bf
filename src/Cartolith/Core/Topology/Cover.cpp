#include <Cartolith/Core/Shapes/RingKeyInternal.h>
#include <Cartolith/Core/Topology/CoverInternal.h>

#include <map>

namespace Cartolith::Core::Topology::Internal {

using Shapes::Internal::Ring;
using Shapes::Internal::vertexKey;

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

void CoverAtPlace::change(int ring, int by) {
    if (static_cast<std::size_t>(ring) >= m_windings.size()) { // no ring of a polygon
        return;
    }
    int& winding = m_windings[static_cast<std::size_t>(ring)];
    const bool wasAround = winding != 0;
    winding += by;
    if (wasAround == (winding != 0)) {
        return;
    }
    for (const RingRole& role : m_cover.roles[static_cast<std::size_t>(ring)]) {
        Around& around = m_polygons[role.polygon];
        m_covering -= around.covers() ? 1 : 0;
        (role.isHole ? around.holes : around.shells) += wasAround ? -1 : 1;
        m_covering += around.covers() ? 1 : 0;
    }
}

} // namespace Cartolith::Core::Topology::Internal
