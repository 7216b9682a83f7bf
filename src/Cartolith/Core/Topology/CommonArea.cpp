#include <Cartolith/Core/Shapes/PlaceWindingsInternal.h>
#include <Cartolith/Core/Topology/BoundaryInternal.h>
#include <Cartolith/Core/Topology/CommonAreaInternal.h>
#include <Cartolith/Core/Topology/OrientationInternal.h>
#include <Cartolith/Core/Topology/RingOrderInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Cartolith::Core::Topology::Internal {

using Shapes::Internal::PlaceWindings;

namespace {

constexpr std::size_t fanOut = 8;

struct Edge {
    double x0;
    double y0;
    double x1;
    double y1;

    Box box() const noexcept {
        return {std::min(x0, x1), std::min(y0, y1), std::max(x0, x1), std::max(y0, y1)};
    }
};

enum class Which { A, B };

/// Where a vertex lies beside an edge of the other polygon, never on it: b is moved by (e, e²), e as small as
/// need be.
int sideOf(Which vertexIs, double x, double y, const Edge& edge) noexcept {
    // Told at once, as exact orientation of places on a line is slow
    const bool isOn = (x == edge.x0 && y == edge.y0) || (x == edge.x1 && y == edge.y1) ||
                      (y == edge.y0 && y == edge.y1) || (x == edge.x0 && x == edge.x1);
    if (const int side = isOn ? 0 : orientation(edge.x0, edge.y0, edge.x1, edge.y1, x, y); side != 0) {
        return side;
    }
    const bool isLeftWhenMoved = edge.y0 != edge.y1 ? edge.y1 < edge.y0 : edge.x0 < edge.x1;
    return isLeftWhenMoved == (vertexIs == Which::B) ? 1 : -1;
}

/// The edges of one polygon that meet the common extent, as chains, under boxes.
class Chains {
public:
    struct Chain {
        std::size_t begin; ///< of its edges
        std::size_t end;
        int factor;
    };

    Chains(const Outline& outline, const Box& extent) {
        for (const int number : alongCurve(placesOf(outline))) {
            const Outline::Ring& ring = outline.rings[static_cast<std::size_t>(number)];
            bool isConnected = false;
            for (std::size_t v = ring.begin + 1; ring.factor != 0 && v < ring.end; ++v) {
                const Edge edge{outline.x[v - 1], outline.y[v - 1], outline.x[v], outline.y[v]};
                if (!edge.box().meets(extent)) {
                    isConnected = false;
                    continue;
                }
                if (!isConnected) {
                    chains.push_back({edges.size(), edges.size(), ring.factor});
                    isConnected = true;
                }
                edges.push_back(edge);
                ++chains.back().end;
            }
        }
        steps.resize(edges.size());
        factors.reserve(edges.size());
        for (const Chain& chain : chains) {
            factors.insert(factors.end(), chain.end - chain.begin, chain.factor);
        }
        addBoxes();
    }

    std::vector<Edge> edges;
    std::vector<int> factors;
    std::vector<int> steps; ///< by how much the winding number of the other polygon changes along each
    std::vector<Chain> chains;
    std::vector<std::vector<Box>> levels; ///< the last one has one box

    std::size_t sizeBelow(std::size_t level) const noexcept {
        return level == 0 ? edges.size() : levels[level - 1].size();
    }

private:
    /// Middle vertices of the rings.
    static std::vector<Position> placesOf(const Outline& outline) {
        std::vector<Position> places;
        places.reserve(outline.rings.size());
        for (const Outline::Ring& ring : outline.rings) {
            const std::size_t middle = ring.begin / 2 + ring.end / 2;
            places.push_back({outline.x[middle], outline.y[middle]});
        }
        return places;
    }

    void addBoxes() {
        const auto around = [](const Box& p, const Box& q) {
            return Box{std::min(p.xMin, q.xMin), std::min(p.yMin, q.yMin), std::max(p.xMax, q.xMax),
                       std::max(p.yMax, q.yMax)};
        };
        do {
            const std::size_t below = sizeBelow(levels.size());
            std::vector<Box> boxes;
            boxes.reserve(below / fanOut + 1);
            for (std::size_t i = 0; i < below; ++i) {
                const Box box = levels.empty() ? edges[i].box() : levels.back()[i];
                if (i % fanOut == 0) {
                    boxes.push_back(box);
                } else {
                    boxes.back() = around(boxes.back(), box);
                }
            }
            levels.push_back(std::move(boxes));
        } while (levels.back().size() > 1);
    }
};

/// A vertex of a chain that never leaves the common extent.
struct Start {
    double x;
    double y;
    std::size_t chain;
    int winding; ///< of the other polygon around it
};

/// The winding numbers of the other polygon around some starts.
class WindAround : private PlaceWindings::Visitor {
public:
    WindAround(std::vector<Start>& starts, Which startsAre, const Outline& other, Work& work)
        : m_starts(starts), m_startsAre(startsAre), m_other(other), m_work(work),
          m_up(startsAre == Which::B ? 1.0 : -1.0) {}

    void run() {
        const auto [lowest, highest] = std::minmax_element(
            m_starts.begin(), m_starts.end(), [](const Start& p, const Start& q) { return p.y < q.y; });
        QList<QList<Shapes::GisShapePoint>> rings;
        std::vector<int> numbers;
        for (std::size_t i = 0; i < m_other.rings.size() && lowest != m_starts.end(); ++i) {
            const Outline::Ring& ring = m_other.rings[i];
            if (ring.factor != 0 && ring.high >= lowest->y && ring.low <= highest->y) {
                rings.append(QList<Shapes::GisShapePoint>());
                for (std::size_t v = ring.begin; v < ring.end; ++v) {
                    rings.last().append({m_other.x[v], m_up * m_other.y[v]});
                }
                numbers.push_back(static_cast<int>(i));
            }
        }
        if (rings.isEmpty()) {
            return;
        }
        PlaceWindings windings;
        for (qsizetype i = 0; i < rings.size(); ++i) {
            windings.addRing(rings.at(i), numbers[static_cast<std::size_t>(i)]);
        }
        std::vector<PlaceWindings::Place> places;
        for (const Start& start : m_starts) {
            places.push_back({start.x, m_up * start.y});
        }
        windings.visit(places, *this);
    }

private:
    bool isLeft(const Shapes::GisShapePoint& a, const Shapes::GisShapePoint& b,
                const PlaceWindings::Place& place) override {
        const Edge edge{a.x(), m_up * a.y(), b.x(), m_up * b.y()};
        return sideOf(m_startsAre, place.x, m_up * place.y, edge) == (edge.y1 > edge.y0 ? -1 : 1);
    }
    void change(int ring, int by) override {
        m_winding += by * m_other.rings[static_cast<std::size_t>(ring)].factor;
    }
    void arrive(int place) override {
        m_starts[static_cast<std::size_t>(place)].winding = m_up > 0.0 ? m_winding : -m_winding;
    }
    void look(qint64 edges) override { m_work.add(edges); }

    std::vector<Start>& m_starts;
    Which m_startsAre;
    const Outline& m_other;
    Work& m_work;
    /// A vertex as high as a place counts as below it. Where it is a vertex of b, which is moved up, all is
    /// turned upside down.
    double m_up;
    int m_winding = 0;
};

class Integral {
public:
    Integral(const Outline& a, const Outline& b, const Box& extent, Work& work)
        : m_outlineA(a), m_outlineB(b), m_work(work), m_extent(extent),
          m_x(extent.xMin / 2 + extent.xMax / 2), m_y(extent.yMin / 2 + extent.yMax / 2), m_a(a, extent),
          m_b(b, extent) {}

    CommonArea run() {
        if (!m_a.edges.empty() &&
            !m_b.edges.empty()) { // else the edges of one lie around the other, or apart
            join(m_a.levels.size() - 1, 0, m_b.levels.size() - 1, 0);
        }
        CommonArea common;
        common.area = m_crossings + along(m_a, Which::A, m_outlineB) + along(m_b, Which::B, m_outlineA);
        for (const Chains* chains : {&m_a, &m_b}) {
            for (const Edge& edge : chains->edges) {
                common.length += std::fabs(edge.x1 - edge.x0) + std::fabs(edge.y1 - edge.y0);
            }
        }
        return common;
    }

private:
    /// Every pair of nodes whose boxes meet.
    void join(std::size_t levelA, std::size_t i, std::size_t levelB, std::size_t j) {
        m_work.add(1);
        if (!m_a.levels[levelA][i].meets(m_b.levels[levelB][j])) {
            return;
        }
        if (levelA == 0 && levelB == 0) {
            cross(i, j);
        } else if (levelA >= levelB) {
            const std::size_t end = std::min(fanOut * (i + 1), m_a.sizeBelow(levelA));
            for (std::size_t k = fanOut * i; k < end; ++k) {
                join(levelA - 1, k, levelB, j);
            }
        } else {
            const std::size_t end = std::min(fanOut * (j + 1), m_b.sizeBelow(levelB));
            for (std::size_t k = fanOut * j; k < end; ++k) {
                join(levelA, i, levelB - 1, k);
            }
        }
    }

    void cross(std::size_t i, std::size_t j) {
        m_work.add(static_cast<qint64>(fanOut) * static_cast<qint64>(fanOut));
        const std::size_t endA = std::min(fanOut * (i + 1), m_a.edges.size());
        const std::size_t endB = std::min(fanOut * (j + 1), m_b.edges.size());
        const Box& boxB = m_b.levels[0][j];
        for (std::size_t e = fanOut * i; e < endA; ++e) {
            const Box box = m_a.edges[e].box();
            for (std::size_t f = fanOut * j; box.meets(boxB) && f < endB; ++f) {
                if (box.meets(m_b.edges[f].box())) {
                    crossEdges(e, f);
                }
            }
        }
    }

    void crossEdges(std::size_t indexA, std::size_t indexB) {
        const Edge& e = m_a.edges[indexA];
        const Edge& f = m_b.edges[indexB];
        const int from = sideOf(Which::A, e.x0, e.y0, f);
        if (from == sideOf(Which::A, e.x1, e.y1, f) ||
            sideOf(Which::B, f.x0, f.y0, e) == sideOf(Which::B, f.x1, f.y1, e)) {
            return;
        }
        // The edge of a goes to the left of that of b, or the other way round
        m_a.steps[indexA] -= from * m_b.factors[indexB];
        m_b.steps[indexB] += from * m_a.factors[indexA];

        const auto beside = [&f](long double x, long double y) {
            return (static_cast<long double>(f.x1) - f.x0) * (y - f.y0) -
                   (static_cast<long double>(f.y1) - f.y0) * (x - f.x0);
        };
        const long double start = beside(e.x0, e.y0);
        const long double end = beside(e.x1, e.y1);
        const long double share = start == end ? 0.5L : std::clamp(start / (start - end), 0.0L, 1.0L);
        const long double x = e.x0 - m_x + share * (e.x1 - static_cast<long double>(e.x0));
        const long double y = e.y0 - m_y + share * (e.y1 - static_cast<long double>(e.y0));
        // From the crossing to the end of the edge of a and back to it from the end of that of b, each with
        // the origin half a cross product
        const long double area =
            (x * (static_cast<long double>(e.y1) - f.y1) - y * (static_cast<long double>(e.x1) - f.x1)) / 2;
        m_crossings -= from * m_a.factors[indexA] * m_b.factors[indexB] * area;
    }

    /// The rest of the integral: each edge as if the winding number stayed what it is at its start.
    long double along(const Chains& chains, Which which, const Outline& other) {
        std::vector<Start> starts;
        std::vector<int> windings(chains.chains.size(), 0);
        for (std::size_t c = 0; c < windings.size(); ++c) {
            // Outside of the common extent it is 0
            const Chains::Chain& chain = chains.chains[c];
            int sum = 0;
            std::size_t i = chain.begin;
            for (; i < chain.end && m_extent.holds({chains.edges[i].x0, chains.edges[i].y0}); ++i) {
                sum += chains.steps[i];
            }
            const Edge& last = chains.edges[chain.end - 1];
            if (i < chain.end || !m_extent.holds({last.x1, last.y1})) {
                windings[c] = -sum;
            } else {
                starts.push_back({chains.edges[chain.begin].x0, chains.edges[chain.begin].y0, c, 0});
            }
        }
        WindAround(starts, which, other, m_work).run();
        for (const Start& start : starts) {
            windings[start.chain] = start.winding;
        }
        long double sum = 0.0L;
        for (std::size_t c = 0; c < windings.size(); ++c) {
            const Chains::Chain& chain = chains.chains[c];
            int winding = windings[c];
            for (std::size_t i = chain.begin; i < chain.end; ++i) {
                const Edge& edge = chains.edges[i];
                if (winding != 0) {
                    sum += winding * chain.factor *
                           ((edge.x0 - m_x) * (edge.y1 - m_y) - (edge.y0 - m_y) * (edge.x1 - m_x)) / 2;
                }
                winding += chains.steps[i];
                if (winding != 0 && !m_extent.holds({edge.x1, edge.y1})) {
                    return std::numeric_limits<long double>::quiet_NaN();
                }
            }
        }
        return sum;
    }

    const Outline& m_outlineA;
    const Outline& m_outlineB;
    Work& m_work;
    const Box m_extent;
    const long double m_x; ///< the origin; of this type, and so is all that is computed with it
    const long double m_y;
    Chains m_a;
    Chains m_b;
    long double m_crossings = 0.0L;
};

} // namespace

CommonArea commonArea(const Outline& a, const Outline& b, Work& work) {
    if (a.rings.empty() || b.rings.empty() || !a.extent.intersects(b.extent)) {
        return {};
    }
    return Integral(a, b,
                    {std::max(a.extent.xMin(), b.extent.xMin()), std::max(a.extent.yMin(), b.extent.yMin()),
                     std::min(a.extent.xMax(), b.extent.xMax()), std::min(a.extent.yMax(), b.extent.yMax())},
                    work)
        .run();
}

} // namespace Cartolith::Core::Topology::Internal
