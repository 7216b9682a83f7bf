#include <Cartolith/Core/Topology/CoveredSidesInternal.h>
#include <Cartolith/Core/Topology/ExactVisitorInternal.h>

#include <utility>

namespace Cartolith::Core::Topology::Internal {

using Shapes::Internal::PlaceWindings;
using Shapes::Internal::Ring;

namespace {

/// What lies left of each half edge. Each connected piece of the map is walked from one face to the next over
/// the edges between them, beginning left of its leftmost vertex, where what the other pieces cover is known
/// from the rings' winding numbers. Nothing is rounded.
class CoveredSides : private ExactVisitor {
public:
    CoveredSides(const Cover& cover, const EdgeMap& map, Work& work)
        : ExactVisitor(work), m_at(cover), m_map(map), m_isKnown(map.halves(), false),
          m_isCovered(map.halves(), false) {}

    /// \throws Stopped
    std::vector<bool> find(const QList<Ring>& noded) {
        PlaceWindings windings;
        for (qsizetype i = 0; i < static_cast<qsizetype>(m_at.rings()); ++i) {
            windings.addRing(noded[i], static_cast<int>(i));
        }
        m_starts = m_map.outermostHalves();
        std::vector<PlaceWindings::Place> places;
        for (const std::size_t half : m_starts) {
            places.push_back({m_map.tailOf(half).x, m_map.tailOf(half).y});
        }
        windings.visit(places, *this);
        return std::move(m_isCovered);
    }

private:
    struct Step {
        std::size_t start; ///< where the way came into the face
        std::size_t at;
        bool isDone;
    };

    void change(int ring, int by) override { m_at.change(ring, by); }

    void arrive(int place) override {
        enter(m_starts[static_cast<std::size_t>(place)]);
        while (!m_way.empty()) {
            Step& step = m_way.back();
            if (step.isDone) {
                if (m_way.size() > 1) {
                    cross(step.start); // back
                }
                m_way.pop_back();
                continue;
            }
            const std::size_t other = EdgeMap::twin(step.at);
            step.at = m_map.next(step.at);
            step.isDone = step.at == step.start;
            if (!m_isKnown[other]) {
                cross(EdgeMap::twin(other));
                enter(other);
            }
        }
    }

    /// From left to right.
    void cross(std::size_t half) {
        m_map.visitChanges(half, [this](int ring, int by) { m_at.change(ring, by); });
    }

    void enter(std::size_t half) {
        std::size_t at = half;
        qint64 length = 0;
        do {
            m_isKnown[at] = true;
            m_isCovered[at] = m_at.isCovered();
            at = m_map.next(at);
            ++length;
        } while (at != half);
        work().add(16 * length);
        m_way.push_back({half, half, false});
    }

    CoverAtPlace m_at;
    const EdgeMap& m_map;
    std::vector<bool> m_isKnown;
    std::vector<bool> m_isCovered;
    std::vector<std::size_t> m_starts;
    std::vector<Step> m_way;
};

} // namespace

std::vector<bool> coveredSides(const Cover& cover, const QList<Ring>& noded, const EdgeMap& map, Work& work) {
    return CoveredSides(cover, map, work).find(noded);
}

} // namespace Cartolith::Core::Topology::Internal
