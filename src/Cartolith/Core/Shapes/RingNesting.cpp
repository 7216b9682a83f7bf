#include <Cartolith/Core/Shapes/HoleDealingInternal.h>
#include <Cartolith/Core/Shapes/PlaceWindingsInternal.h>
#include <Cartolith/Core/Shapes/RingBoxTreeInternal.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>
#include <Cartolith/Core/Shapes/RingRanksInternal.h>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

namespace {

/// What is around each of some rings.
class Nesting {
public:
    explicit Nesting(const QList<Ring>& rings)
        : m_rings(rings), m_nests(m_rings.size()), m_edges(m_rings.size()), m_tree(items()) {}

    const RankedRings& rings() const noexcept { return m_rings; }
    /// By their numbers among the ranked rings.
    const std::vector<RingNest>& nests() const noexcept { return m_nests; }

    /// Finds what is around all.
    void find() {
        std::vector<int> open;
        for (const RankedRing& inner : m_rings) {
            if (isAsked(inner) && !findInnermost(inner, mostAlone)) {
                open.push_back(m_rings.numberOf(inner));
            }
        }
        constexpr double mostForPlaces = 1e200;
        if (open.size() > fewPlaces && m_rings.largest() < mostForPlaces) {
            open = findTogether(open);
        }
        for (const int inner : open) {
            findInnermost(m_rings[inner], anyNumber);
        }
        setDepths();
    }

    /// Marks some rings, those equal to them, and what is around these.
    std::vector<bool> withAround(std::vector<int> some) {
        std::multimap<int, int> copies;
        for (const RankedRing& ring : m_rings) {
            if (const int number = m_rings.numberOf(ring); ring.first >= 0 && ring.first != number) {
                copies.emplace(ring.first, number);
            }
        }
        std::vector<bool> isFound(m_rings.size(), false);
        while (!some.empty()) {
            const int first = m_rings.size() > 1 ? m_rings[some.back()].first : some.back();
            some.pop_back();
            if (isFound[static_cast<std::size_t>(first)]) {
                continue;
            }
            isFound[static_cast<std::size_t>(first)] = true;
            const auto [begin, end] = copies.equal_range(first);
            for (auto copy = begin; copy != end; ++copy) {
                isFound[static_cast<std::size_t>(copy->second)] = true;
            }
            if (isAsked(m_rings[first])) {
                findInnermost(m_rings[first], anyNumber);
                if (const int outer = nestOf(first).innermost; outer >= 0) {
                    some.push_back(outer);
                }
            }
        }
        return isFound;
    }

private:
    /// In looks at boxes, for each ring; those that take more are looked at together.
    static constexpr std::size_t mostAlone = 160;
    static constexpr std::size_t fewPlaces = 32;
    static constexpr std::size_t anyNumber = std::numeric_limits<std::size_t>::max();

    /// One of equal rings is asked for all.
    bool isAsked(const RankedRing& ring) const {
        return m_rings.size() > 1 && ring.size > 0.0 && ring.first == m_rings.numberOf(ring);
    }
    RingNest& nestOf(int ring) { return m_nests[static_cast<std::size_t>(ring)]; }

    std::vector<RingBoxTree::Item> items() const {
        std::vector<RingBoxTree::Item> items;
        for (const RankedRing& ring : m_rings) {
            if (isAsked(ring)) {
                items.push_back({ring.box, ring.rank, m_rings.numberOf(ring)});
            }
        }
        return items;
    }

    /// False when it takes more effort.
    bool findInnermost(const RankedRing& inner, std::size_t effort) {
        RingChords chords(*inner.ring, m_rings.scale());
        const std::optional<int> found =
            m_tree.smallestAround(chords.middles(m_rings.largest()), inner.rank, effort,
                                  [&](int outer) { return isAround(outer, inner, chords); });
        nestOf(m_rings.numberOf(inner)).innermost = found.value_or(-1);
        return found.has_value();
    }

    /// The rings around the middle of a long chord of each, of which the smallest is looked for. Returns
    /// those of which the chords do not decide.
    std::vector<int> findTogether(const std::vector<int>& all) {
        std::vector<int> thin;
        std::vector<int> inners;
        std::vector<PlaceWindings::Place> places;
        for (const int inner : all) {
            const RingChords chords(*m_rings[inner].ring, m_rings.scale());
            if (chords.areLong(m_rings.largest())) {
                const GisShapePoint middle = chords.middle();
                inners.push_back(inner);
                places.push_back({middle.x(), middle.y()});
            } else {
                thin.push_back(inner);
            }
        }
        PlaceWindings windings;
        for (const RankedRing& ring : m_rings) {
            if (isAsked(ring)) {
                windings.addRing(*ring.ring, m_rings.numberOf(ring));
            }
        }
        AroundPlaces around(*this, std::move(inners));
        windings.visit(places, around);
        return thin;
    }

    /// Keeps the rings around the place at hand in the order of their ranks.
    class AroundPlaces : public PlaceWindings::Visitor {
    public:
        AroundPlaces(Nesting& nesting, std::vector<int> inners)
            : m_nesting(nesting), m_inners(std::move(inners)), m_windings(nesting.m_rings.size(), 0) {}

        bool isLeft(const GisShapePoint& a, const GisShapePoint& b,
                    const PlaceWindings::Place& place) override {
            return crossingWithLine(a, b, place.y) < place.x;
        }

        void change(int ring, int by) override {
            int& winding = m_windings[static_cast<std::size_t>(ring)];
            const bool wasAround = winding != 0;
            winding += by;
            if (wasAround != (winding != 0)) {
                if (wasAround) {
                    m_around.erase(keyOf(ring));
                } else {
                    m_around.insert(keyOf(ring));
                }
            }
        }

        void arrive(int place) override {
            const int number = m_inners[static_cast<std::size_t>(place)];
            const RankedRing& inner = m_nesting.m_rings[number];
            RingChords chords(*inner.ring, m_nesting.m_rings.scale());
            const auto first = m_around.upper_bound(std::pair(inner.rank, std::numeric_limits<int>::max()));
            const auto found = std::find_if(first, m_around.end(), [&](const std::pair<int, int>& key) {
                return m_nesting.isAround(key.second, inner, chords);
            });
            m_nesting.nestOf(number).innermost = found == m_around.end() ? -1 : found->second;
        }

    private:
        std::pair<int, int> keyOf(int ring) const { return {m_nesting.m_rings[ring].rank, ring}; }

        Nesting& m_nesting;
        std::vector<int> m_inners;
        std::vector<int> m_windings;
        std::set<std::pair<int, int>> m_around; ///< ranks and rings
    };

    /// From the largest on. What lies in equal rings lies in the islands among them, if there are any.
    void setDepths() {
        std::vector<std::pair<int, int>> fromLargest; // ranks and rings
        for (const RankedRing& ring : m_rings) {
            if (m_rings.size() > 1 && ring.size > 0.0) {
                fromLargest.emplace_back(-ring.rank, m_rings.numberOf(ring));
            }
        }
        std::sort(fromLargest.begin(), fromLargest.end());
        std::map<int, std::vector<DirectedRing>> holders; // equal rings around others, by the first
        for (auto begin = fromLargest.begin(); begin != fromLargest.end();) {
            std::vector<DirectedRing> equal;
            auto end = begin;
            for (; end != fromLargest.end() && end->first == begin->first; ++end) {
                equal.push_back(directedRing(end->second));
            }
            const int first = begin->second;
            if (const int outer = nestOf(first).innermost; outer >= 0) {
                const auto its = holders.find(outer);
                const auto shells = its != holders.end() ? its->second : std::vector{directedRing(outer)};
                place(equal, shells);
            }
            if (end - begin > 1) {
                holders.emplace(first, std::move(equal));
            }
            begin = end;
        }
    }

    /// Equal rings in equal ones. Leaves the islands among them, if there are any.
    void place(std::vector<DirectedRing>& equal, const std::vector<DirectedRing>& around) {
        const int depth = nestOf(around.front().number).depth + 1;
        if (depth % 2 == 0) {
            for (const DirectedRing& ring : equal) {
                nestOf(ring.number) = {depth, around.front().number};
            }
            return;
        }
        const std::vector<int> shells = dealHoles(equal, around);
        std::vector<DirectedRing> islands;
        int hole = -1;
        for (std::size_t i = equal.size(); i-- > 0;) {
            nestOf(equal[i].number) = {depth, shells[i]};
            hole = shells[i] >= 0 ? equal[i].number : hole;
        }
        for (std::size_t i = 0; i < equal.size(); ++i) {
            if (shells[i] < 0) {
                nestOf(equal[i].number) = {depth + 1, hole};
                islands.push_back(equal[i]);
            }
        }
        if (!islands.empty()) {
            equal = std::move(islands);
        }
    }

    DirectedRing directedRing(int number) const {
        const RankedRing& ring = m_rings[number];
        const double least = 1e-9 * ring.size; // of a bow tie rounding makes the sign
        return {number, (ring.area > least) - (ring.area < -least)};
    }

    /// `chords` are those of the inner ring.
    bool isAround(int outer, const RankedRing& inner, RingChords& chords) {
        std::unique_ptr<RingEdges>& edges = m_edges[static_cast<std::size_t>(outer)];
        if (edges == nullptr) {
            edges = std::make_unique<RingEdges>(*m_rings[outer].ring);
        }
        return chords.lieIn(*edges, std::max(m_rings[outer].largest(), inner.largest()));
    }

    RankedRings m_rings;
    std::vector<RingNest> m_nests; ///< by numbers among the ranked rings
    std::vector<std::unique_ptr<RingEdges>> m_edges;
    RingBoxTree m_tree;
};

Ring wound(const RankedRing& ranked, bool counterclockwise) {
    Ring ring = *ranked.ring;
    if (ranked.area != 0.0 && (ranked.area > 0.0) != counterclockwise) {
        std::reverse(ring.begin(), ring.end());
    }
    return ring;
}

int placeOf(const RankedRing& ranked, const QList<Ring>& rings) {
    return static_cast<int>(ranked.ring - rings.constData());
}

} // namespace

QList<RingNest> ringNests(const QList<Ring>& rings) {
    QList<RingNest> nests(rings.size());
    Nesting nesting(rings);
    nesting.find();
    for (const RankedRing& ring : nesting.rings()) {
        const RingNest& nest = nesting.nests()[static_cast<std::size_t>(nesting.rings().numberOf(ring))];
        nests[placeOf(ring, rings)] = {
            nest.depth, nest.innermost < 0 ? -1 : placeOf(nesting.rings()[nest.innermost], rings)};
    }
    return nests;
}

QList<int> nestingDepths(const QList<Ring>& rings) {
    QList<int> depths;
    depths.reserve(rings.size());
    for (const RingNest& nest : ringNests(rings)) {
        depths.append(nest.depth);
    }
    return depths;
}

QList<QList<Ring>> shellsWithHoles(const QList<Ring>& rings) {
    Nesting nesting(rings);
    nesting.find();
    const auto nestOf = [&nesting](const RankedRing& ring) {
        return nesting.nests()[static_cast<std::size_t>(nesting.rings().numberOf(ring))];
    };
    QList<QList<Ring>> polygons;
    std::vector<qsizetype> polygonOf(nesting.rings().size());
    for (const RankedRing& shell : nesting.rings()) {
        if (nestOf(shell).depth % 2 == 0) {
            polygonOf[static_cast<std::size_t>(nesting.rings().numberOf(shell))] = polygons.size();
            polygons.append(QList<Ring>{wound(shell, true)});
        }
    }
    for (const RankedRing& hole : nesting.rings()) {
        if (nestOf(hole).depth % 2 == 1) {
            polygons[polygonOf[static_cast<std::size_t>(nestOf(hole).innermost)]].append(wound(hole, false));
        }
    }
    return polygons;
}

QList<Ring> withRingsAround(const QList<Ring>& rings, const std::vector<int>& some) {
    Nesting nesting(rings);
    const RankedRings& ranked = nesting.rings();
    std::vector<int> numbers;
    for (const RankedRing& ring : ranked) {
        if (std::binary_search(some.begin(), some.end(), placeOf(ring, rings))) {
            numbers.push_back(ranked.numberOf(ring));
        }
    }
    const std::vector<bool> isFound = nesting.withAround(std::move(numbers));
    QList<Ring> found;
    for (const RankedRing& ring : ranked) {
        if (isFound[static_cast<std::size_t>(ranked.numberOf(ring))]) {
            found.append(*ring.ring);
        }
    }
    return found;
}

} // namespace Cartolith::Core::Shapes::Internal
