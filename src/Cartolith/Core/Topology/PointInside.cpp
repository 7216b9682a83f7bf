#include <Cartolith/Core/Shapes/EnclosedAreaInternal.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>
#include <Cartolith/Core/Topology/PointInsideInternal.h>
#include <Cartolith/Core/Topology/RingCrossingsInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/ShapeCheckInternal.h>
#include <Cartolith/Core/Topology/ValidAreaInternal.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShapePoint;
using Shapes::Internal::Ring;
using Shapes::Internal::RingEdges;

namespace {

/// A line across a polygon: of all pieces of it between two edges that are covered the longest, and its
/// middle.
struct Chord {
    double length = -1.0; ///< 0 where edges cross the line in one place, as far as numbers tell
    GisShapePoint middle;
};

/// A shell, which comes first, and its holes.
class ShellAndHoles {
public:
    explicit ShellAndHoles(const QList<Ring>& rings)
        : m_edges(rings.begin(), rings.end()), m_windings(m_edges.size(), 0) {}

    Chord longestAt(double y) {
        m_crossings.clear();
        for (std::size_t ring = 0; ring < m_edges.size(); ++ring) {
            for (const auto& [x, direction] : m_edges[ring].crossingsAt(y)) {
                m_crossings.push_back({x, direction, ring});
            }
        }
        m_crossingCount += m_crossings.size();
        std::sort(m_crossings.begin(), m_crossings.end(),
                  [](const Crossing& a, const Crossing& b) { return a.x < b.x; });
        std::fill(m_windings.begin(), m_windings.end(), 0);
        std::size_t holes = 0; // around the piece at hand
        Chord longest;
        for (std::size_t i = 0; i + 1 < m_crossings.size(); ++i) {
            const Crossing& crossing = m_crossings[i];
            int& winding = m_windings[crossing.ring];
            const bool wasAround = winding != 0;
            winding += crossing.direction;
            if (crossing.ring > 0 && wasAround != (winding != 0)) {
                holes += wasAround ? std::size_t(-1) : 1;
            }
            const double length = m_crossings[i + 1].x - crossing.x;
            if (m_windings[0] != 0 && holes == 0 && length > longest.length) {
                longest = {length, GisShapePoint(crossing.x / 2 + m_crossings[i + 1].x / 2, y)};
            }
        }
        return longest;
    }

    /// Of all lines so far.
    std::size_t crossingCount() const noexcept { return m_crossingCount; }

    bool covers(const GisShapePoint& place) {
        const auto sideOf = [&place](RingEdges& ring) { return ring.side(place.x(), place.y(), 1.0); };
        return sideOf(m_edges.front()) > 0 && std::all_of(m_edges.begin() + 1, m_edges.end(),
                                                          [&](RingEdges& hole) { return sideOf(hole) < 0; });
    }

private:
    struct Crossing {
        double x;
        int direction;
        std::size_t ring;
    };

    std::vector<RingEdges> m_edges;
    std::vector<int> m_windings;
    std::vector<Crossing> m_crossings;
    std::size_t m_crossingCount = 0;
};

struct Strip {
    double height;
    double middle;
    double beside; ///< another place in it, where symmetry puts no crossing
};

/// Between the heights of vertices, the highest first.
std::vector<Strip> stripsOf(const QList<Ring>& rings) {
    std::vector<double> heights;
    for (const Ring& ring : rings) {
        for (const GisShapePoint& vertex : ring) {
            heights.push_back(vertex.y());
        }
    }
    std::sort(heights.begin(), heights.end());
    std::vector<Strip> strips;
    for (std::size_t i = 1; i < heights.size(); ++i) {
        const double low = heights[i - 1];
        const double high = heights[i];
        strips.push_back({high - low, low / 2 + high / 2, std::lerp(low, high, 0.3819660112501051)});
    }
    std::sort(strips.begin(), strips.end(),
              [](const Strip& a, const Strip& b) { return a.height > b.height; });
    return strips;
}

double widthOf(const Ring& ring) {
    const auto [left, right] =
        std::minmax_element(ring.begin(), ring.end(),
                            [](const GisShapePoint& a, const GisShapePoint& b) { return a.x() < b.x(); });
    return right->x() - left->x();
}

/// Where edges cross in the middle, as two do of a bow tie with horizontal sides, rounding alone makes the
/// length of the chord there.
Chord chordIn(const Strip& strip, double width, ShellAndHoles& polygon) {
    constexpr double doubtful = 0x1p-10;
    Chord chord = polygon.longestAt(strip.middle);
    if (chord.length > doubtful * width) {
        return chord;
    }
    const Chord beside = polygon.longestAt(strip.beside);
    return beside.length > chord.length ? beside : chord;
}

/// Polygons made of rings, and the places in them.
class Places {
public:
    explicit Places(const QList<Ring>& rings) : m_polygons(Shapes::Internal::shellsWithHoles(rings)) {
        for (const QList<Ring>& polygon : std::as_const(m_polygons)) {
            double size = 0.0;
            for (const Ring& ring : polygon) {
                const double its = Shapes::Internal::enclosedArea(ring, signedArea(ring), 1.0);
                size += &ring == &polygon.constFirst() ? its : -its;
            }
            m_bySize.emplace_back(size, &polygon);
        }
        std::stable_sort(m_bySize.begin(), m_bySize.end(),
                         [](const auto& a, const auto& b) { return a.first > b.first; });
    }

    /// Empty when none is found. `isTaken` has the last word.
    template <typename IsTaken>
    GisShapePoint find(IsTaken isTaken) {
        for (const auto& [size, polygon] : m_bySize) { // holes may cover all of one
            if (GisShapePoint place = findIn(*polygon, isTaken); !place.isEmpty()) {
                return place;
            }
        }
        return {};
    }

    bool cover(const GisShapePoint& place) const {
        return std::any_of(m_polygons.begin(), m_polygons.end(), [&place](const QList<Ring>& polygon) {
            return ShellAndHoles(polygon).covers(place);
        });
    }

    /// What the lines show, but of which rounding makes something at the edge.
    const Chord& nearest() const noexcept { return m_nearest; }

private:
    /// Tries the middle of the highest strips without a vertex: away from all edges that are not steep, and
    /// far from these by the length of the chord. Lower strips are for polygons whose highest ones hold but
    /// spikes, and as those may be as many as there are vertices, they are left off some time.
    template <typename IsTaken>
    GisShapePoint findIn(const QList<Ring>& shellAndHoles, IsTaken isTaken) {
        const std::vector<Strip> strips = stripsOf(shellAndHoles);
        const double width = widthOf(shellAndHoles.constFirst());
        ShellAndHoles polygon(shellAndHoles);
        GisShapePoint best;
        double room = 0.0;
        for (std::size_t i = 0; i < strips.size(); ++i) {
            if (i >= 16 && (room > 0.0 || polygon.crossingCount() > 64 * strips.size())) {
                break;
            }
            if (strips[i].height == 0.0) {
                break;
            }
            const Chord chord = chordIn(strips[i], width, polygon);
            const double its = std::min(chord.length, strips[i].height);
            if (its > room && polygon.covers(chord.middle) && isTaken(chord.middle)) {
                room = its;
                best = chord.middle;
            } else if (chord.length > m_nearest.length) {
                m_nearest = chord;
            }
        }
        return best;
    }

    QList<QList<Ring>> m_polygons;
    std::vector<std::pair<double, const QList<Ring>*>> m_bySize;
    Chord m_nearest;
};

/// Then they enclose something, however thin.
bool areApart(const QList<Ring>& rings) {
    ProblemList problems;
    findRingCrossings(rings, QList<int>(rings.size(), 0), GisTopology(), problems);
    return problems.problems().isEmpty();
}

} // namespace

GisShapePoint pointInside(const QList<Ring>& rings) {
    ProblemList unread;
    QList<Ring> clean;
    for (const Ring& ring : rings) {
        if (Ring its = cleanRing(ring, 0, unread); !its.isEmpty()) {
            clean.append(std::move(its));
        }
    }
    Places places(clean);
    if (GisShapePoint found = places.find([](const GisShapePoint& /*place*/) { return true; });
        !found.isEmpty()) {
        return found;
    }
    try {
        Work work(nullptr);
        Places apart(validArea(clean, {}, work));
        GisShapePoint found = apart.find([&](const GisShapePoint& place) { return places.cover(place); });
        if (!found.isEmpty()) {
            return found;
        }
        if (!apart.nearest().middle.isEmpty()) {
            return apart.nearest().middle;
        }
    } catch (const NotNoded&) { // the lines found something, or nothing
    }
    if (const Chord& nearest = places.nearest(); nearest.length > 0.0) {
        return nearest.middle;
    }
    if (clean.isEmpty() || !areApart(clean)) {
        return {};
    }
    return places.nearest().middle.isEmpty() ? clean.constFirst().constFirst() : places.nearest().middle;
}

} // namespace Cartolith::Core::Topology::Internal
