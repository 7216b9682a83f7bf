#include <Cartolith/Core/Shapes/PlaceWindingsInternal.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Cartolith::Core::Shapes::Internal {

class PlaceWindings::Walk {
public:
    Walk(const PlaceWindings& windings, const std::vector<Place>& places, Visitor& visitor)
        : m_edges(windings.m_edges), m_places(places), m_visitor(visitor), m_order(places.size()),
          m_rounding(windings.m_largest * 0x1p-40) {
        for (std::size_t i = 0; i < m_order.size(); ++i) {
            m_order[i] = static_cast<int>(i);
        }
    }

    void run() {
        std::vector<int> all(m_edges.size());
        for (std::size_t i = 0; i < all.size(); ++i) {
            all[i] = static_cast<int>(i);
        }
        if (!m_order.empty()) {
            go(0, m_order.size(), all, 0.0);
        }
    }

private:
    using Changes = std::vector<std::pair<int, int>>; ///< ring and by how much

    static constexpr std::size_t fewPlaces = 2;
    static constexpr std::size_t fewEdges = 8;
    static constexpr std::size_t sampleSize = 24;
    static constexpr double mostSlanted = 1e6;

    struct Range {
        double low = std::numeric_limits<double>::infinity();
        double high = -std::numeric_limits<double>::infinity();

        void add(double value) {
            low = std::min(low, value);
            high = std::max(high, value);
        }
    };

    /// Where places lie, also along the lines of one slant.
    struct Bounds {
        double slant;
        double margin; ///< beyond which rounding does not matter
        Range x;
        Range y;
        Range slanted;
    };

    enum class Side { Away, Left, Open };

    const Place& place(std::size_t i) const { return m_places[static_cast<std::size_t>(m_order[i])]; }

    Bounds boundsOf(std::size_t begin, std::size_t end, double slant) const {
        Bounds bounds{slant, m_rounding * (1 + std::fabs(slant)), {}, {}, {}};
        for (std::size_t i = begin; i < end; ++i) {
            const Place& p = place(i);
            bounds.x.add(p.x);
            bounds.y.add(p.y);
            bounds.slanted.add(p.x - slant * p.y);
        }
        return bounds;
    }

    /// Of the edge as seen from all places in the bounds.
    static Side sideOf(const Edge& edge, const Bounds& bounds) {
        if (edge.high <= bounds.y.low || edge.low > bounds.y.high) {
            return Side::Away;
        }
        if (!std::isfinite(edge.slope)) {
            return Side::Open;
        }
        const auto xAt = [&edge](double y) { return edge.a->x() + (y - edge.a->y()) * edge.slope; };
        const double from = std::max(edge.low, bounds.y.low);
        const double to = std::min(edge.high, bounds.y.high);
        const double x0 = xAt(from);
        const double x1 = xAt(to);
        const double slanted0 = x0 - bounds.slant * from;
        const double slanted1 = x1 - bounds.slant * to;
        if (std::min(x0, x1) > bounds.x.high + bounds.margin ||
            std::min(slanted0, slanted1) > bounds.slanted.high + bounds.margin) {
            return Side::Away;
        }
        const bool goesThrough = edge.low <= bounds.y.low && edge.high > bounds.y.high;
        if (goesThrough && (std::max(x0, x1) < bounds.x.low - bounds.margin ||
                            std::max(slanted0, slanted1) < bounds.slanted.low - bounds.margin)) {
            return Side::Left;
        }
        return Side::Open;
    }

    template <typename KeyOf>
    std::size_t halve(std::size_t begin, std::size_t end, KeyOf keyOf) {
        const std::size_t middle = begin + (end - begin) / 2;
        const auto at = [this](std::size_t i) { return m_order.begin() + static_cast<std::ptrdiff_t>(i); };
        std::nth_element(at(begin), at(middle), at(end), [&](int p, int q) {
            return keyOf(m_places[static_cast<std::size_t>(p)]) <
                   keyOf(m_places[static_cast<std::size_t>(q)]);
        });
        return middle;
    }

    enum class Cut { AlongX, Slanted, AlongY };

    std::size_t halve(std::size_t begin, std::size_t end, Cut cut, double slant) {
        switch (cut) {
        case Cut::AlongX:
            return halve(begin, end, [](const Place& p) { return p.x; });
        case Cut::Slanted:
            return halve(begin, end, [slant](const Place& p) { return p.x - slant * p.y; });
        case Cut::AlongY:
            break;
        }
        return halve(begin, end, [](const Place& p) { return p.y; });
    }

    /// How many of the sample stay open in either half.
    std::size_t leftOpen(std::size_t begin, std::size_t middle, std::size_t end, double slant,
                         const std::vector<int>& sample) const {
        std::size_t open = 0;
        for (const auto& [from, to] : {std::pair(begin, middle), std::pair(middle, end)}) {
            const Bounds bounds = boundsOf(from, to, slant);
            for (const int edge : sample) {
                open += sideOf(m_edges[static_cast<std::size_t>(edge)], bounds) == Side::Open ? 1U : 0U;
            }
        }
        return open;
    }

    /// The middle one of the slants of some edges.
    double slantOf(const std::vector<int>& sample) const {
        std::vector<double> slants;
        for (const int edge : sample) {
            const double slope = m_edges[static_cast<std::size_t>(edge)].slope;
            if (std::fabs(slope) <= mostSlanted) {
                slants.push_back(slope);
            }
        }
        const auto middle = slants.begin() + static_cast<std::ptrdiff_t>(slants.size() / 2);
        std::nth_element(slants.begin(), middle, slants.end());
        return slants.empty() ? 0.0 : *middle;
    }

    void change(const Changes& changes, int sign) {
        for (const auto& [ring, by] : changes) {
            m_visitor.change(ring, sign * by);
        }
    }

    static void note(Changes& changes, const Edge& edge) {
        if (!changes.empty() && changes.back().first == edge.ring) {
            changes.back().second += edge.direction();
        } else {
            changes.emplace_back(edge.ring, edge.direction());
        }
    }

    static void dropZeros(Changes& changes) {
        changes.erase(std::remove_if(changes.begin(), changes.end(),
                                     [](const std::pair<int, int>& change) { return change.second == 0; }),
                      changes.end());
    }

    /// One by one.
    void askAll(std::size_t begin, std::size_t end, const std::vector<int>& edges) {
        Changes changes;
        for (std::size_t i = begin; i < end; ++i) {
            const Place& p = place(i);
            changes.clear();
            for (const int index : edges) {
                const Edge& edge = m_edges[static_cast<std::size_t>(index)];
                if (edge.low <= p.y && p.y < edge.high && m_visitor.isLeft(*edge.a, *edge.b, p)) {
                    note(changes, edge);
                }
            }
            m_visitor.look(static_cast<qint64>(edges.size()) + 1);
            dropZeros(changes);
            change(changes, 1);
            m_visitor.arrive(m_order[i]);
            change(changes, -1);
        }
    }

    /// As deep as the logarithm of the number of places.
    void go(std::size_t begin, std::size_t end, const std::vector<int>& edges, double slant) {
        const Bounds bounds = boundsOf(begin, end, slant);
        std::vector<int> open;
        Changes changes;
        for (const int index : edges) {
            const Edge& edge = m_edges[static_cast<std::size_t>(index)];
            const Side side = sideOf(edge, bounds);
            if (side == Side::Open) {
                open.push_back(index);
            } else if (side == Side::Left) {
                note(changes, edge);
            }
        }
        m_visitor.look(static_cast<qint64>(edges.size() + end - begin));
        dropZeros(changes);
        change(changes, 1);
        if (end - begin <= fewPlaces || open.size() <= fewEdges) {
            askAll(begin, end, open);
        } else {
            std::vector<int> sample;
            for (std::size_t i = 0; i < sampleSize; ++i) {
                sample.push_back(open[i * open.size() / sampleSize]);
            }
            const double edgeSlant = slantOf(sample);
            Cut best = Cut::AlongX;
            std::size_t least = std::numeric_limits<std::size_t>::max();
            for (const Cut cut : {Cut::AlongX, Cut::AlongY, Cut::Slanted}) {
                const std::size_t middle = halve(begin, end, cut, edgeSlant);
                const std::size_t its = leftOpen(begin, middle, end, edgeSlant, sample);
                if (its < least) {
                    least = its;
                    best = cut;
                }
            }
            const std::size_t middle = halve(begin, end, best, edgeSlant);
            go(begin, middle, open, edgeSlant);
            go(middle, end, open, edgeSlant);
        }
        change(changes, -1);
    }

    const std::vector<Edge>& m_edges;
    const std::vector<Place>& m_places;
    Visitor& m_visitor;
    std::vector<int> m_order; ///< of places, so that those of a half are together
    double m_rounding;
};

void PlaceWindings::addRing(const QList<GisShapePoint>& ring, int number) {
    if (ring.isEmpty()) {
        return;
    }
    const GisShapePoint* a = &ring.constLast();
    for (const GisShapePoint& b : ring) {
        m_largest = std::max({m_largest, std::fabs(b.x()), std::fabs(b.y())});
        if (a->y() != b.y()) {
            m_edges.push_back({a, &b, std::min(a->y(), b.y()), std::max(a->y(), b.y()),
                               (b.x() - a->x()) / (b.y() - a->y()), number});
        }
        a = &b;
    }
}

void PlaceWindings::visit(const std::vector<Place>& places, Visitor& visitor) const {
    Walk(*this, places, visitor).run();
}

} // namespace Cartolith::Core::Shapes::Internal
