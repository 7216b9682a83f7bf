#include <Cartolith/Core/Shapes/EnclosedAreaInternal.h>
#include <Cartolith/Core/Shapes/HoleDealingInternal.h>
#include <Cartolith/Core/Shapes/PlaceWindingsInternal.h>
#include <Cartolith/Core/Shapes/RingAreaInternal.h>
#include <Cartolith/Core/Shapes/RingBoxTreeInternal.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>
#include <Cartolith/Core/Shapes/RingKeyInternal.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

namespace {

struct Candidate {
    const Ring* ring;
    RingBox box{};
    double area = 0.0;  ///< signed: positive when the ring runs counterclockwise; its unit is anybody's
    double size = 0.0;  ///< what it goes round, in the same unit; 0 for one that goes round nothing
    int rank = 0;       ///< by size, the smallest first; only equal rings share one
    int first = -1;     ///< of the rings equal to it, itself included
    int depth = 0;      ///< how many rings are around it
    int innermost = -1; ///< the smallest of these
    std::unique_ptr<RingEdges> edges{};
};

/// The vertex from which the area is computed is that of a corner of the box: so the area of the same ring
/// started elsewhere has the same bits.
qsizetype firstInOrder(const Ring& ring) {
    const auto first =
        std::min_element(ring.begin(), ring.end(), [](const GisShapePoint& a, const GisShapePoint& b) {
            return a.x() < b.x() || (a.x() == b.x() && a.y() < b.y());
        });
    return first - ring.begin();
}

RingBox boxOf(const Ring& ring) {
    const GisShapePoint& first = ring.constFirst();
    RingBox box{first.x(), first.y(), first.x(), first.y()};
    for (const GisShapePoint& vertex : ring) {
        box = {std::min(box.xMin, vertex.x()), std::min(box.yMin, vertex.y()), std::max(box.xMax, vertex.x()),
               std::max(box.yMax, vertex.y())};
    }
    return box;
}

double largestOf(const RingBox& box) {
    return std::max({std::fabs(box.xMin), std::fabs(box.yMin), std::fabs(box.xMax), std::fabs(box.yMax)});
}

/// The rings that have a vertex, with what is around them.
class Nesting {
public:
    explicit Nesting(const QList<Ring>& rings) {
        m_candidates.reserve(static_cast<std::size_t>(rings.size()));
        double largest = 0.0;
        for (const Ring& ring : rings) {
            if (!ring.isEmpty()) {
                m_candidates.push_back({&ring, boxOf(ring)});
                largest = std::max(largest, largestOf(m_candidates.back().box));
            }
        }
        if (largest > 0.0 && std::isfinite(largest)) {
            m_scale = std::ldexp(1.0, std::clamp(-std::ilogb(largest), -1000, 1000));
        }
        if (m_candidates.size() > 1) {
            measure();
            findEqual();
            rank();
            nest(largest);
        } else if (!m_candidates.empty()) {
            m_candidates[0].area = areaOf(m_candidates[0]);
        }
    }

    const std::vector<Candidate>& candidates() const noexcept { return m_candidates; }

private:
    /// In looks at boxes, for each ring; those that take more are looked at together.
    static constexpr std::size_t mostAlone = 160;
    static constexpr std::size_t fewPlaces = 32;
    static constexpr std::size_t anyNumber = std::numeric_limits<std::size_t>::max();

    double areaOf(const Candidate& candidate) const {
        const double area = signedArea(*candidate.ring, firstInOrder(*candidate.ring), m_scale);
        return std::isfinite(area) ? area : 0.0;
    }

    void measure() {
        for (Candidate& candidate : m_candidates) {
            candidate.area = areaOf(candidate);
            const double size = enclosedArea(*candidate.ring, candidate.area, m_scale);
            candidate.size = std::isfinite(size) ? size : 0.0;
        }
    }

    /// Rounding makes two areas of one when it has other vertices; equal rings have the first one's size.
    void findEqual() {
        std::vector<std::pair<RingBox, int>> byBox;
        for (const Candidate& candidate : m_candidates) {
            byBox.emplace_back(candidate.box, numberOf(candidate));
        }
        const auto corners = [](const RingBox& box) {
            return std::tie(box.xMin, box.yMin, box.xMax, box.yMax);
        };
        std::erase_if(byBox, [this](const auto& entry) { return candidateAt(entry.second).size == 0.0; });
        std::sort(byBox.begin(), byBox.end(), [&corners](const auto& a, const auto& b) {
            return std::tuple(corners(a.first), a.second) < std::tuple(corners(b.first), b.second);
        });
        for (auto begin = byBox.begin(); begin != byBox.end();) {
            const auto end = std::find_if(
                begin, byBox.end(), [begin](const auto& entry) { return !(entry.first == begin->first); });
            std::map<RingKey, int> firsts;
            for (auto it = begin; end - begin > 1 && it != end; ++it) {
                Candidate& candidate = candidateAt(it->second);
                candidate.first = firsts.emplace(cornerKey(*candidate.ring), it->second).first->second;
                candidate.size = candidateAt(candidate.first).size;
            }
            begin = end;
        }
        for (Candidate& candidate : m_candidates) {
            candidate.first = candidate.first < 0 ? numberOf(candidate) : candidate.first;
        }
    }

    /// Of rings of one size that are not equal the later one counts as smaller.
    void rank() {
        std::vector<Candidate*> bySize;
        bySize.reserve(m_candidates.size());
        for (Candidate& candidate : m_candidates) {
            bySize.push_back(&candidate);
        }
        std::stable_sort(bySize.begin(), bySize.end(),
                         [](const Candidate* a, const Candidate* b) { return a->size < b->size; });
        int smaller = 0; // ranks given
        for (auto first = bySize.begin(); first != bySize.end();) {
            const auto end = std::find_if(first, bySize.end(), [first](const Candidate* candidate) {
                return candidate->size != (*first)->size;
            });
            smaller += rankOfOneSize(first, end, smaller);
            first = end;
        }
    }

    using CandidateIterator = std::vector<Candidate*>::iterator;

    /// Returns how many ranks.
    static int rankOfOneSize(CandidateIterator first, CandidateIterator end, int smaller) {
        if (end - first == 1 || (*first)->size == 0.0) {
            (*first)->rank = smaller;
            return 1;
        }
        std::map<int, int> numbers;
        for (auto it = first; it != end; ++it) {
            (*it)->rank = numbers.emplace((*it)->first, static_cast<int>(numbers.size())).first->second;
        }
        const int count = static_cast<int>(numbers.size());
        for (auto it = first; it != end; ++it) {
            (*it)->rank = smaller + count - 1 - (*it)->rank;
        }
        return count;
    }

    void nest(double largest) {
        std::vector<RingBoxTree::Item> items;
        items.reserve(m_candidates.size());
        for (std::size_t i = 0; i < m_candidates.size(); ++i) {
            if (isAsked(m_candidates[i])) {
                items.push_back({m_candidates[i].box, m_candidates[i].rank, static_cast<int>(i)});
            }
        }
        const RingBoxTree tree(std::move(items));
        std::vector<Candidate*> open;
        for (Candidate& inner : m_candidates) {
            if (isAsked(inner) && !findInnermost(inner, tree, mostAlone, largest)) {
                open.push_back(&inner);
            }
        }
        constexpr double mostForPlaces = 1e200;
        if (open.size() > fewPlaces && largest < mostForPlaces) {
            open = findTogether(open, largest);
        }
        for (Candidate* inner : open) {
            findInnermost(*inner, tree, anyNumber, largest);
        }
        setDepths();
    }

    /// One of equal rings is asked for all.
    bool isAsked(const Candidate& candidate) const {
        return candidate.size > 0.0 && candidate.first == numberOf(candidate);
    }
    int numberOf(const Candidate& candidate) const {
        return static_cast<int>(&candidate - m_candidates.data());
    }
    Candidate& candidateAt(int number) { return m_candidates[static_cast<std::size_t>(number)]; }

    /// False when it takes more effort.
    bool findInnermost(Candidate& inner, const RingBoxTree& tree, std::size_t effort, double largest) {
        const RingChords chords(*inner.ring, m_scale);
        const std::optional<int> found =
            tree.smallestAround(chords.middles(largest), inner.rank, effort, [&](int outer) {
                return isAround(m_candidates[static_cast<std::size_t>(outer)], inner, chords);
            });
        inner.innermost = found.value_or(-1);
        return found.has_value();
    }

    /// The rings around the middle of a long chord of each, of which the smallest is looked for. Returns
    /// those of which the chords do not decide.
    std::vector<Candidate*> findTogether(const std::vector<Candidate*>& all, double largest) {
        std::vector<Candidate*> thin;
        std::vector<Candidate*> inners;
        std::vector<PlaceWindings::Place> places;
        for (Candidate* inner : all) {
            const RingChords chords(*inner->ring, m_scale);
            if (chords.areLong(largest)) {
                const GisShapePoint middle = chords.middle();
                inners.push_back(inner);
                places.push_back({middle.x(), middle.y()});
            } else {
                thin.push_back(inner);
            }
        }
        PlaceWindings windings;
        for (const Candidate& candidate : m_candidates) {
            if (isAsked(candidate)) {
                windings.addRing(*candidate.ring, numberOf(candidate));
            }
        }
        AroundPlaces around(*this, std::move(inners));
        windings.visit(places, around);
        return thin;
    }

    /// Keeps the rings around the place at hand in the order of their ranks.
    class AroundPlaces : public PlaceWindings::Visitor {
    public:
        AroundPlaces(Nesting& nesting, std::vector<Candidate*> inners)
            : m_nesting(nesting), m_inners(std::move(inners)), m_windings(nesting.m_candidates.size(), 0) {}

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
            Candidate& inner = *m_inners[static_cast<std::size_t>(place)];
            const RingChords chords(*inner.ring, m_nesting.m_scale);
            const auto first = m_around.upper_bound(std::pair(inner.rank, std::numeric_limits<int>::max()));
            const auto found = std::find_if(first, m_around.end(), [&](const std::pair<int, int>& key) {
                return m_nesting.isAround(m_nesting.m_candidates[static_cast<std::size_t>(key.second)], inner,
                                          chords);
            });
            inner.innermost = found == m_around.end() ? -1 : found->second;
        }

    private:
        std::pair<int, int> keyOf(int ring) const {
            return {m_nesting.m_candidates[static_cast<std::size_t>(ring)].rank, ring};
        }

        Nesting& m_nesting;
        std::vector<Candidate*> m_inners;
        std::vector<int> m_windings;
        std::set<std::pair<int, int>> m_around; ///< ranks and rings
    };

    /// From the largest on. What lies in equal rings lies in the islands among them, if there are any.
    void setDepths() {
        std::vector<std::pair<int, int>> fromLargest; // ranks and rings
        for (const Candidate& candidate : m_candidates) {
            if (candidate.size > 0.0) {
                fromLargest.emplace_back(-candidate.rank, numberOf(candidate));
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
            if (const int outer = candidateAt(first).innermost; outer >= 0) {
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
        const int depth = candidateAt(around.front().number).depth + 1;
        if (depth % 2 == 0) {
            for (const DirectedRing& ring : equal) {
                candidateAt(ring.number).depth = depth;
                candidateAt(ring.number).innermost = around.front().number;
            }
            return;
        }
        const std::vector<int> shells = dealHoles(equal, around);
        std::vector<DirectedRing> islands;
        int hole = -1;
        for (std::size_t i = equal.size(); i-- > 0;) {
            Candidate& candidate = candidateAt(equal[i].number);
            candidate.depth = depth;
            candidate.innermost = shells[i];
            hole = shells[i] >= 0 ? equal[i].number : hole;
        }
        for (std::size_t i = 0; i < equal.size(); ++i) {
            if (shells[i] < 0) {
                Candidate& island = candidateAt(equal[i].number);
                island.depth = depth + 1;
                island.innermost = hole;
                islands.push_back(equal[i]);
            }
        }
        if (!islands.empty()) {
            equal = std::move(islands);
        }
    }

    DirectedRing directedRing(int number) {
        const Candidate& ring = candidateAt(number);
        const double least = 1e-9 * ring.size; // of a bow tie rounding makes the sign
        return {number, (ring.area > least) - (ring.area < -least)};
    }

    /// `chords` are those of the inner ring.
    bool isAround(Candidate& outer, const Candidate& inner, const RingChords& chords) const {
        if (outer.edges == nullptr) {
            outer.edges = std::make_unique<RingEdges>(*outer.ring);
        }
        return chords.lieIn(*outer.edges, std::max(largestOf(outer.box), largestOf(inner.box)));
    }

    std::vector<Candidate> m_candidates;
    double m_scale = 1.0; ///< a power of two that brings the coordinates near 1
};

Ring wound(const Candidate& candidate, bool counterclockwise) {
    Ring ring = *candidate.ring;
    if (candidate.area != 0.0 && (candidate.area > 0.0) != counterclockwise) {
        std::reverse(ring.begin(), ring.end());
    }
    return ring;
}

} // namespace

QList<RingNest> ringNests(const QList<Ring>& rings) {
    QList<RingNest> nests(rings.size());
    const Nesting nesting(rings);
    const std::vector<Candidate>& all = nesting.candidates();
    const auto placeOf = [&rings](const Candidate& candidate) {
        return static_cast<int>(candidate.ring - rings.constData());
    };
    for (const Candidate& candidate : all) {
        nests[placeOf(candidate)] = {
            candidate.depth,
            candidate.innermost < 0 ? -1 : placeOf(all[static_cast<std::size_t>(candidate.innermost)])};
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
    const Nesting nesting(rings);
    const std::vector<Candidate>& all = nesting.candidates();
    QList<QList<Ring>> polygons;
    std::vector<qsizetype> polygonOf(all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].depth % 2 == 0) {
            polygonOf[i] = polygons.size();
            polygons.append(QList<Ring>{wound(all[i], true)});
        }
    }
    for (const Candidate& hole : all) {
        if (hole.depth % 2 == 1) {
            polygons[polygonOf[static_cast<std::size_t>(hole.innermost)]].append(wound(hole, false));
        }
    }
    return polygons;
}

} // namespace Cartolith::Core::Shapes::Internal
