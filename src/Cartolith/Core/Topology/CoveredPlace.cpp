#include <Cartolith/Core/Shapes/EnclosedAreaInternal.h>
#include <Cartolith/Core/Shapes/PartsInternal.h>
#include <Cartolith/Core/Topology/CoverInternal.h>
#include <Cartolith/Core/Topology/CoveredPlaceInternal.h>
#include <Cartolith/Core/Topology/ExactVisitorInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>

#include <set>

namespace Cartolith::Core::Topology::Internal {

using Shapes::Internal::PlaceWindings;
using Shapes::Internal::Ring;

namespace {

/// Which rings go round places.
class RingsAround : private ExactVisitor {
public:
    RingsAround(const QList<Ring>& rings, Work& work)
        : ExactVisitor(work), m_windings(static_cast<std::size_t>(rings.size()), 0) {
        for (qsizetype i = 0; i < rings.size(); ++i) {
            m_edges.addRing(rings[i], static_cast<int>(i));
        }
    }

    /// \throws Stopped
    void find(const std::vector<PlaceWindings::Place>& places) { m_edges.visit(places, *this); }

    /// The numbers of those that any goes round.
    const std::vector<int>& places() const { return m_found; }
    /// Round the first of these.
    const std::vector<int>& rings() const { return m_rings; }

private:
    void change(int ring, int by) override {
        int& winding = m_windings[static_cast<std::size_t>(ring)];
        m_count -= winding != 0 ? 1 : 0;
        winding += by;
        m_count += winding != 0 ? 1 : 0;
    }
    void arrive(int place) override {
        if (m_count == 0) {
            return;
        }
        m_found.push_back(place);
        for (std::size_t i = 0; m_found.size() == 1 && i < m_windings.size(); ++i) {
            if (m_windings[i] != 0) {
                m_rings.push_back(static_cast<int>(i));
            }
        }
    }

    PlaceWindings m_edges;
    std::vector<int> m_windings;
    int m_count = 0;
    std::vector<int> m_found;
    std::vector<int> m_rings;
};

/// Finds a place that is covered.
class CoveredPlace : private ExactVisitor {
public:
    CoveredPlace(const Cover& cover, Work& work) : ExactVisitor(work), m_at(cover) {
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
    void change(int ring, int by) override { m_at.change(ring, by); }
    void arrive(int place) override {
        if (m_at.isCovered() && !m_found) {
            m_found = static_cast<std::size_t>(place);
        }
    }

    CoverAtPlace m_at;
    PlaceWindings m_windings;
    std::optional<std::size_t> m_found;
};

/// Some rings, those that may be around them, which meet them and are no smaller, and those that may be
/// around these; none when they are many.
QList<Ring> fewRingsAround(const QList<Ring>& rings, std::vector<int> some) {
    constexpr std::size_t few = 16;
    constexpr double roundings = 1 - 0x1p-40;
    std::vector<Shapes::GisExtent> extents;
    for (const Ring& ring : rings) {
        extents.push_back(Shapes::Internal::extentOfParts({ring}));
    }
    std::set<int> found(some.begin(), some.end());
    while (!some.empty() && found.size() <= few) {
        const int inner = some.back();
        some.pop_back();
        const double size =
            roundings * Shapes::Internal::enclosedArea(rings[inner], signedArea(rings[inner]), 1.0);
        for (int i = 0; i < rings.size() && found.size() <= few; ++i) {
            const Shapes::GisExtent& extent = extents[static_cast<std::size_t>(i)];
            if (extent.width() * extent.height() >= size &&
                extent.intersects(extents[static_cast<std::size_t>(inner)]) && found.insert(i).second) {
                some.push_back(i);
            }
        }
    }
    QList<Ring> around;
    for (auto ring = found.begin(); found.size() <= few && ring != found.end(); ++ring) {
        around.append(rings[*ring]);
    }
    return around;
}

/// Those on which it depends what some rings cover.
QList<Ring> ringsThatTell(const QList<Ring>& rings, const std::vector<int>& around) {
    const QList<Ring> few = fewRingsAround(rings, around);
    return few.isEmpty() ? Shapes::Internal::withRingsAround(rings, around) : few;
}

} // namespace

std::optional<std::size_t> coveredPlace(const QList<Ring>& rings,
                                        const std::vector<PlaceWindings::Place>& places, Work& work) {
    RingsAround around(rings, work);
    around.find(places);
    if (around.places().empty()) {
        return std::nullopt;
    }
    std::vector<PlaceWindings::Place> unclear;
    for (const int place : around.places()) {
        unclear.push_back(places[static_cast<std::size_t>(place)]);
    }
    const auto numberOf = [&around](std::size_t place) {
        return static_cast<std::size_t>(around.places()[place]);
    };
    const Cover nearby = coverOf(ringsThatTell(rings, around.rings()));
    if (CoveredPlace(nearby, work).find({unclear.front()})) {
        return numberOf(0);
    }
    if (unclear.size() == 1) {
        return std::nullopt;
    }
    const Cover all = coverOf(rings);
    const auto found = CoveredPlace(all, work).find(unclear);
    return found ? std::optional(numberOf(*found)) : std::nullopt;
}

} // namespace Cartolith::Core::Topology::Internal
