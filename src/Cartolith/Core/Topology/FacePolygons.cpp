#include <Cartolith/Core/Topology/ExactVisitorInternal.h>
#include <Cartolith/Core/Topology/FacePolygonsInternal.h>
#include <Cartolith/Core/Topology/OrientationInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <unordered_map>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShapePoint;
using Shapes::Internal::PlaceWindings;
using Shapes::Internal::Ring;

namespace {

/// Of a closed ring that does not touch itself: at its leftmost and there lowest vertex it turns as a whole
/// does.
bool isCounterclockwise(const Ring& ring) {
    const qsizetype last = ring.size() - 2;
    qsizetype corner = 0;
    for (qsizetype i = 1; i <= last; ++i) {
        if (ring[i].x() < ring[corner].x() ||
            (ring[i].x() == ring[corner].x() && ring[i].y() < ring[corner].y())) {
            corner = i;
        }
    }
    const GisShapePoint& before = ring[corner == 0 ? last : corner - 1];
    return orientation(before.x(), before.y(), ring[corner].x(), ring[corner].y(), ring[corner + 1].x(),
                       ring[corner + 1].y()) > 0;
}

/// Finds the face that a piece of the map lies in by itself, left of the piece's leftmost vertex.
class FacesAround : private ExactVisitor {
public:
    FacesAround(const QList<AreaRing>& rings, Work& work)
        : ExactVisitor(work), m_rings(rings), m_windings(static_cast<std::size_t>(rings.size()), 0) {
        for (qsizetype i = 0; i < rings.size(); ++i) {
            m_places.addRing(rings[i].ring, static_cast<int>(i));
            m_isShell.push_back(isCounterclockwise(rings[i].ring));
            m_sizes.push_back(std::fabs(signedArea(rings[i].ring)));
            if (m_isShell.back()) {
                m_shellOf.emplace(rings[i].area, i);
            }
        }
    }

    bool isShell(qsizetype ring) const { return m_isShell[static_cast<std::size_t>(ring)]; }
    /// The shell of the ring's face: its own, or that of the face around its piece. -1 when there is none.
    qsizetype shellOf(qsizetype ring) const {
        const auto own = m_shellOf.find(m_rings[ring].area);
        if (own != m_shellOf.end()) {
            return own->second;
        }
        const auto around = m_around.find(m_rings[ring].area);
        return around == m_around.end() ? -1 : around->second;
    }

    /// \throws Stopped
    void search(const EdgeMap& map, const std::vector<int>& faces) {
        std::vector<PlaceWindings::Place> places;
        for (const std::size_t half : map.outermostHalves()) {
            if (faces[half] != EdgeMap::noArea) {
                m_faces.push_back(faces[half]);
                places.push_back({map.tailOf(half).x, map.tailOf(half).y});
            }
        }
        m_places.visit(places, *this);
    }

private:
    void change(int ring, int by) override {
        int& winding = m_windings[static_cast<std::size_t>(ring)];
        const bool wasAround = winding != 0;
        winding += by;
        if (wasAround == (winding != 0)) {
            return;
        }
        if (isShell(ring)) {
            wasAround ? m_shells.erase({m_sizes[static_cast<std::size_t>(ring)], ring})
                      : m_shells.insert({m_sizes[static_cast<std::size_t>(ring)], ring}).second;
        } else {
            m_holes[m_rings[ring].area] += wasAround ? -1 : 1;
        }
    }
    /// Of the faces around the place, which lie in each other, the innermost.
    void arrive(int place) override {
        for (const auto& [size, shell] : m_shells) {
            const auto holes = m_holes.find(m_rings[shell].area);
            if (holes == m_holes.end() || holes->second == 0) {
                m_around.emplace(m_faces[static_cast<std::size_t>(place)], shell);
                return;
            }
        }
    }

    const QList<AreaRing>& m_rings;
    std::vector<bool> m_isShell;
    std::vector<double> m_sizes;
    std::unordered_map<int, qsizetype> m_shellOf; ///< by the face
    std::unordered_map<int, qsizetype> m_around;  ///< by the face that a piece has around itself
    std::vector<int> m_faces;                     ///< around the pieces
    PlaceWindings m_places;
    std::vector<int> m_windings;
    std::set<std::pair<double, int>> m_shells; ///< around the place, the smallest first
    std::unordered_map<int, int> m_holes;      ///< around the place, by the face
};

} // namespace

QList<QList<Ring>> facePolygons(const EdgeMap& map, const std::vector<int>& faces, Work& work) {
    const QList<AreaRing> rings = map.ringsAround(faces, work);
    FacesAround around(rings, work);
    around.search(map, faces);
    QList<QList<Ring>> polygons;
    std::unordered_map<qsizetype, qsizetype> polygonOf;
    for (qsizetype i = 0; i < rings.size(); ++i) {
        if (around.isShell(i)) {
            polygonOf.emplace(i, polygons.size());
            polygons.append({rings[i].ring});
        }
    }
    for (qsizetype i = 0; i < rings.size(); ++i) {
        const auto polygon = around.isShell(i) ? polygonOf.end() : polygonOf.find(around.shellOf(i));
        if (polygon != polygonOf.end()) {
            polygons[polygon->second].append(rings[i].ring);
        }
    }
    return polygons;
}

} // namespace Cartolith::Core::Topology::Internal
