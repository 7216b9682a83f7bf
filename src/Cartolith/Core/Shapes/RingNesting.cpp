#include <Cartolith/Core/Shapes/OrientationInternal.h>
#include <Cartolith/Core/Shapes/RingAreaInternal.h>
#include <Cartolith/Core/Shapes/RingBoxTreeInternal.h>
#include <Cartolith/Core/Shapes/RingChordsInternal.h>
#include <Cartolith/Core/Shapes/RingNestingInternal.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace Cartolith::Core::Shapes::Internal {

namespace {

struct Candidate {
    const Ring* ring;
    RingBox box{};
    double area = 0.0;  ///< signed: positive when the ring runs counterclockwise; its unit is anybody's
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

/// The vertices in which the ring turns, from the first in order on towards the smaller of its neighbours:
/// the same for every way to store the same area.
std::vector<std::pair<double, double>> cornersOf(const Ring& ring) {
    using Corner = std::pair<double, double>;
    std::vector<Corner> vertices;
    for (const GisShapePoint& vertex : ring) {
        vertices.emplace_back(vertex.x(), vertex.y());
    }
    std::rotate(vertices.begin(), std::min_element(vertices.begin(), vertices.end()), vertices.end());
    std::vector<Corner> corners;
    const auto isStraight = [&corners](const Corner& next) {
        const std::size_t size = corners.size();
        return corners.back() == next ||
               (size > 1 &&
                orientation(corners[size - 2].first, corners[size - 2].second, corners.back().first,
                            corners.back().second, next.first, next.second) == 0);
    };
    for (const Corner& vertex : vertices) {
        while (!corners.empty() && isStraight(vertex)) {
            corners.pop_back();
        }
        corners.push_back(vertex);
    }
    while (corners.size() > 1 && isStraight(corners.front())) {
        corners.pop_back();
    }
    if (corners.size() > 1 && corners.back() < corners[1]) {
        std::reverse(corners.begin() + 1, corners.end());
    }
    return corners;
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
        measure();
        if (m_candidates.size() > 1) {
            nest();
        }
    }

    const std::vector<Candidate>& candidates() const noexcept { return m_candidates; }

private:
    void measure() {
        for (Candidate& candidate : m_candidates) {
            const double area = signedArea(*candidate.ring, firstInOrder(*candidate.ring), m_scale);
            candidate.area = std::isfinite(area) ? area : 0.0;
        }
    }

    void nest() {
        std::vector<RingBoxTree::Item> items;
        items.reserve(m_candidates.size());
        for (std::size_t i = 0; i < m_candidates.size(); ++i) {
            if (m_candidates[i].area != 0.0) {
                items.push_back({m_candidates[i].box, std::fabs(m_candidates[i].area), static_cast<int>(i)});
            }
        }
        std::vector<std::size_t> nested;
        const RingBoxTree tree(std::move(items));
        for (std::size_t i = 0; i < m_candidates.size(); ++i) {
            Candidate& inner = m_candidates[i];
            if (inner.area == 0.0) {
                continue;
            }
            std::optional<RingChords> chords;
            inner.innermost = tree.smallestAround(
                inner.box.middleX(), inner.box.middleY(), std::fabs(inner.area), [&](int outer) {
                    return isAround(m_candidates[static_cast<std::size_t>(outer)], inner, chords);
                });
            if (inner.innermost >= 0) {
                nested.push_back(i);
            }
        }
        std::sort(nested.begin(), nested.end(), [this](std::size_t a, std::size_t b) {
            return std::fabs(m_candidates[a].area) > std::fabs(m_candidates[b].area);
        });
        for (const std::size_t i : nested) {
            m_candidates[i].depth =
                m_candidates[static_cast<std::size_t>(m_candidates[i].innermost)].depth + 1;
        }
    }

    /// `chords` are those of the inner ring, made when first needed.
    bool isAround(Candidate& outer, const Candidate& inner, std::optional<RingChords>& chords) const {
        if (areEqual(outer, inner)) {
            return false;
        }
        if (!chords) {
            chords.emplace(*inner.ring, m_scale);
        }
        if (outer.edges == nullptr) {
            outer.edges = std::make_unique<RingEdges>(*outer.ring);
        }
        return chords->lieIn(*outer.edges, std::max(largestOf(outer.box), largestOf(inner.box)));
    }

    /// The same area, of which rounding makes two when it has other vertices.
    static bool areEqual(const Candidate& a, const Candidate& b) {
        return a.box == b.box &&
               std::fabs(std::fabs(a.area) - std::fabs(b.area)) < 1e-12 * std::fabs(a.area) &&
               cornersOf(*a.ring) == cornersOf(*b.ring);
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

QList<int> nestingDepths(const QList<Ring>& rings) {
    QList<int> depths(rings.size(), 0);
    const Nesting nesting(rings);
    for (const Candidate& candidate : nesting.candidates()) {
        depths[candidate.ring - &rings.constFirst()] = candidate.depth;
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
