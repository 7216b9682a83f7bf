#include <Cartolith/Core/Shapes/RingKeyInternal.h>
#include <Cartolith/Core/Topology/CoveredSidesInternal.h>
#include <Cartolith/Core/Topology/OrientationInternal.h>

#include <map>
#include <utility>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShapePoint;
using Shapes::Internal::PlaceWindings;
using Shapes::Internal::Ring;
using Shapes::Internal::vertexKey;

namespace {

/// Whether one place is covered, told from what changes on the way from the last one.
class CoverAtPlace {
public:
    explicit CoverAtPlace(const Cover& cover)
        : m_cover(cover), m_windings(cover.roles.size(), 0), m_polygons(cover.polygons) {}

    void change(int ring, int by) {
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
    bool isCovered() const noexcept { return m_covering > 0; }
    std::size_t rings() const noexcept { return m_windings.size(); }

private:
    struct Around {
        int shells = 0;
        int holes = 0;

        bool covers() const noexcept { return shells > 0 && holes == 0; }
    };

    const Cover& m_cover;
    std::vector<int> m_windings;
    std::vector<Around> m_polygons;
    int m_covering = 0; ///< polygons
};

/// Finds a place that is covered.
class CoveredPlace : private PlaceWindings::Visitor {
public:
    CoveredPlace(const Cover& cover, Work& work) : m_at(cover), m_work(work) {
        for (qsizetype i = 0; i < cover.rings.size(); ++i) {
            m_windings.addRing(cover.rings[i], static_cast<int>(i));
        }
    }

    /// \throws Stopped
    std::optional<std::size_t> find(const std::vector<PlaceWindings::Place>& places) {
        m_windings.visit(places, *this);
        return m_found;
    }

private:
    bool isLeft(const GisShapePoint& a, const GisShapePoint& b, const PlaceWindings::Place& place) override {
        return passesLeftOf(a, b, place);
    }
    void change(int ring, int by) override { m_at.change(ring, by); }
    void look(qint64 edges) override { m_work.add(edges); }
    void arrive(int place) override {
        if (m_at.isCovered() && !m_found) {
            m_found = static_cast<std::size_t>(place);
        }
    }

    CoverAtPlace m_at;
    Work& m_work;
    PlaceWindings m_windings;
    std::optional<std::size_t> m_found;
};

/// What lies left of each half edge. Each connected piece of the map is walked from one face to the next over
/// the edges between them, beginning left of its leftmost vertex, where what the other pieces cover is known
/// from the rings' winding numbers. Nothing is rounded.
class CoveredSides : private PlaceWindings::Visitor {
public:
    CoveredSides(const Cover& cover, const EdgeMap& map, Work& work)
        : m_at(cover), m_map(map), m_work(work), m_isKnown(map.halves(), false),
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

    bool isLeft(const GisShapePoint& a, const GisShapePoint& b, const PlaceWindings::Place& place) override {
        return passesLeftOf(a, b, place);
    }
    void change(int ring, int by) override { m_at.change(ring, by); }
    void look(qint64 edges) override { m_work.add(edges); }

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
        m_work.add(16 * length);
        m_way.push_back({half, half, false});
    }

    CoverAtPlace m_at;
    const EdgeMap& m_map;
    Work& m_work;
    std::vector<bool> m_isKnown;
    std::vector<bool> m_isCovered;
    std::vector<std::size_t> m_starts;
    std::vector<Step> m_way;
};

} // namespace

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

std::optional<std::size_t> coveredPlace(const Cover& cover, const std::vector<PlaceWindings::Place>& places,
                                        Work& work) {
    return CoveredPlace(cover, work).find(places);
}

std::vector<bool> coveredSides(const Cover& cover, const QList<Ring>& noded, const EdgeMap& map, Work& work) {
    return CoveredSides(cover, map, work).find(noded);
}

} // namespace Cartolith::Core::Topology::Internal
