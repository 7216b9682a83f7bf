#include <Cartolith/Map/Raster/RingSignsInternal.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory_resource>
#include <numeric>

namespace Cartolith::Map::Raster::Internal {

using Map::Internal::Watch;

namespace {

double doubledArea(const std::vector<QPointF>& ring) {
    double area = 0.0;
    const QPointF origin = ring.front();
    for (std::size_t i = 0; i + 1 < ring.size(); ++i) {
        const QPointF a = ring[i] - origin;
        const QPointF b = ring[i + 1] - origin;
        area += a.x() * b.y() - a.y() * b.x();
    }
    return area;
}

struct Edge {
    QPointF a, b;

    bool spans(double y) const { return (a.y() <= y) != (b.y() <= y); }
    /// Rises or falls all the way from a to b, rounded as it is.
    double at(double y) const { return a.x() + (b.x() - a.x()) * ((y - a.y()) / (b.y() - a.y())); }
};

template <typename Function>
void forEachEdge(const std::vector<QPointF>& ring, Function function) {
    QPointF a = ring.back();
    for (const QPointF& b : ring) {
        function(Edge{a, b});
        a = b;
    }
}

bool isOddToTheRight(const std::vector<QPointF>& ring, QPointF place) {
    bool isOdd = false;
    forEachEdge(ring,
                [&](const Edge& edge) { isOdd ^= edge.spans(place.y()) && edge.at(place.y()) > place.x(); });
    return isOdd;
}

/// A place just inside the ring: so near to its outline that no other ring comes between, and not on it,
/// where another one may lie as well.
QPointF seatIn(const PixelRing& ring) {
    Edge steepest{};
    forEachEdge(ring.points, [&](const Edge& edge) {
        if (std::abs(edge.b.y() - edge.a.y()) > std::abs(steepest.b.y() - steepest.a.y())) {
            steepest = edge;
        }
    });
    if (steepest.a.y() == steepest.b.y()) { // a ring without an inside
        return ring.points.front();
    }
    const double y = (steepest.a.y() + steepest.b.y()) * 0.5;
    const double x = steepest.at(y);
    double left = -std::numeric_limits<double>::infinity();
    double right = -left;
    bool isInsideRight = false;
    forEachEdge(ring.points, [&](const Edge& edge) {
        if (edge.spans(y) && (edge.a != steepest.a || edge.b != steepest.b)) {
            const double other = edge.at(y);
            isInsideRight ^= other > x;
            (other > x ? right : left) = other > x ? std::min(right, other) : std::max(left, other);
        }
    });
    constexpr double little = 1e-6; // of the size
    const double step = little * std::max(ring.right - ring.left, ring.bottom - ring.top);
    return {isInsideRight ? x + std::min(step, (right - x) * 0.5) : x - std::min(step, (x - left) * 0.5), y};
}

/// Counts how many edges lie to the right of places: a tree over the heights of the places, in which each
/// edge stands in the nodes all of whose heights it passes.
class EdgeTree {
public:
    /// Heights in ascending order.
    explicit EdgeTree(const std::vector<double>& heights)
        : m_heights(heights), m_leaves(std::bit_ceil(std::max<std::size_t>(heights.size(), 1))),
          m_nodes(2 * m_leaves, &m_memory) {}

    void add(const Edge& edge) {
        const auto indexOf = [this](double y) {
            return static_cast<std::size_t>(std::lower_bound(m_heights.cbegin(), m_heights.cend(), y) -
                                            m_heights.cbegin());
        };
        std::size_t from = indexOf(std::min(edge.a.y(), edge.b.y())) + m_leaves;
        std::size_t to = indexOf(std::max(edge.a.y(), edge.b.y())) + m_leaves;
        for (; from < to; from /= 2, to /= 2) {
            if (from % 2 == 1) {
                addTo(from++, edge);
            }
            if (to % 2 == 1) {
                addTo(--to, edge);
            }
        }
    }

    void sort(const Watch& watch) {
        for (std::size_t i = 0; i < m_nodes.size(); ++i) {
            watch.every(std::size_t{1024}, i);
            std::sort(m_nodes[i].begin(), m_nodes[i].end(),
                      [](const Entry& a, const Entry& b) { return a.left < b.left; });
            double furthest = -std::numeric_limits<double>::infinity();
            for (Entry& entry : m_nodes[i]) {
                furthest = std::max(furthest, entry.right);
                entry.furthest = furthest;
            }
        }
    }

    /// Of a place at the height with that number.
    bool isOddToTheRight(std::size_t number, double x) const {
        bool isOdd = false;
        for (std::size_t node = number + m_leaves; node > 0; node /= 2) {
            const std::pmr::vector<Entry>& entries = m_nodes[node];
            auto right =
                std::upper_bound(entries.cbegin(), entries.cend(), x,
                                 [](double place, const Entry& entry) { return place < entry.left; });
            isOdd ^= (entries.cend() - right) % 2 != 0;
            while (right != entries.cbegin() && (--right)->furthest > x) {
                isOdd ^= right->edge.at(m_heights[number]) > x;
            }
        }
        return isOdd;
    }

private:
    struct Entry {
        Edge edge;
        double left, right; // between the node's heights
        double furthest;    // right of this and all before
    };

    void addTo(std::size_t node, const Edge& edge) {
        std::size_t first = node;
        std::size_t last = node;
        while (first < m_leaves) {
            first *= 2;
            last = 2 * last + 1;
        }
        const double top = edge.at(m_heights[first - m_leaves]);
        const double bottom = edge.at(m_heights[std::min(last - m_leaves, m_heights.size() - 1)]);
        m_nodes[node].push_back({edge, std::min(top, bottom), std::max(top, bottom), 0.0});
    }

    const std::vector<double>& m_heights;
    std::size_t m_leaves;
    std::pmr::monotonic_buffer_resource m_memory; // given back at once: nobody looks up meanwhile
    std::pmr::vector<std::pmr::vector<Entry>> m_nodes;
};

/// A place in each ring.
struct Seat {
    QPointF place;
    std::size_t ring;
};

/// Which rings may have others in them: in real maps hardly any.
class SeatGrid {
public:
    explicit SeatGrid(const std::vector<Seat>& seats) : m_seats(seats) {
        constexpr double all = std::numeric_limits<double>::infinity();
        double right = -all;
        double bottom = -all;
        m_left = m_top = all;
        for (const Seat& seat : seats) {
            m_left = std::min(m_left, seat.place.x());
            right = std::max(right, seat.place.x());
            m_top = std::min(m_top, seat.place.y());
            bottom = std::max(bottom, seat.place.y());
        }
        m_side = static_cast<std::size_t>(std::sqrt(static_cast<double>(seats.size()))) + 1;
        m_perX = static_cast<double>(m_side) / (right - m_left);
        m_perY = static_cast<double>(m_side) / (bottom - m_top);
        m_ends.assign(m_side * m_side + 1, 0);
        for (const Seat& seat : seats) {
            ++m_ends[cellOf(seat.place) + 1];
        }
        std::partial_sum(m_ends.begin(), m_ends.end(), m_ends.begin());
        m_numbers.assign(seats.size(), 0);
        std::vector<std::size_t> next(m_ends.begin(), m_ends.end() - 1);
        for (std::size_t i = 0; i < seats.size(); ++i) {
            m_numbers[next[cellOf(seats[i].place)]++] = i;
        }
    }

    /// By the box around the ring; also yes where finding out takes long.
    bool mayHoldOthers(const PixelRing& ring, std::size_t i) const {
        constexpr std::size_t most = 64; // looks
        const std::size_t left = indexOf((ring.left - m_left) * m_perX);
        const std::size_t right = indexOf((ring.right - m_left) * m_perX);
        const std::size_t bottom = indexOf((ring.bottom - m_top) * m_perY);
        std::size_t looks = 0;
        for (std::size_t row = indexOf((ring.top - m_top) * m_perY); row <= bottom; ++row) {
            looks += right - left + 1;
            for (std::size_t k = m_ends[row * m_side + left]; k < m_ends[row * m_side + right + 1]; ++k) {
                const Seat& seat = m_seats[m_numbers[k]];
                if (++looks > most ||
                    (seat.ring != i && seat.place.x() >= ring.left && seat.place.x() <= ring.right &&
                     seat.place.y() >= ring.top && seat.place.y() <= ring.bottom)) {
                    return true;
                }
            }
            if (looks > most) {
                return true;
            }
        }
        return false;
    }

private:
    std::size_t indexOf(double place) const { // NaN, where all are in one place, is the first
        return place > 0.0 ? static_cast<std::size_t>(std::min(place, static_cast<double>(m_side - 1))) : 0;
    }
    std::size_t cellOf(QPointF place) const {
        return indexOf((place.y() - m_top) * m_perY) * m_side + indexOf((place.x() - m_left) * m_perX);
    }

    const std::vector<Seat>& m_seats;
    double m_left, m_top, m_perX, m_perY;
    std::size_t m_side;
    std::vector<std::size_t> m_ends;    // of the cells, among the numbers
    std::vector<std::size_t> m_numbers; // of seats, cell by cell
};

} // namespace

std::vector<float> ringSigns(const std::vector<PixelRing>& rings, std::size_t count, const Watch& watch) {
    std::vector<Seat> seats;
    for (std::size_t i = 0; i < count; ++i) {
        watch.every(std::size_t{64}, i);
        seats.push_back({seatIn(rings[i]), i});
    }
    std::size_t compared = 0;
    std::sort(seats.begin(), seats.end(), [&](const Seat& a, const Seat& b) {
        watch.every(std::size_t{1} << 16, compared++);
        return a.place.y() < b.place.y();
    });
    std::vector<double> heights;
    heights.reserve(seats.size());
    for (const Seat& seat : seats) {
        heights.push_back(seat.place.y());
    }
    // Most rings have no other one in them, so that nobody needs their edges.
    const SeatGrid grid(seats);
    EdgeTree tree(heights);
    std::vector<bool> isInTree(count);
    for (std::size_t i = 0; i < count; ++i) {
        watch.every(std::size_t{64}, i);
        isInTree[i] = grid.mayHoldOthers(rings[i], i);
        if (isInTree[i]) {
            std::size_t edges = 0;
            forEachEdge(rings[i].points, [&](const Edge& edge) {
                watch.every(std::size_t{1024}, edges++);
                tree.add(edge);
            });
        }
    }
    tree.sort(watch);
    std::vector<float> signs(count);
    for (std::size_t number = 0; number < count; ++number) {
        watch.every(std::size_t{64}, number);
        const auto& [place, i] = seats[number];
        const bool isOwnCounted = isInTree[i] && isOddToTheRight(rings[i].points, place);
        const bool isHole = tree.isOddToTheRight(number, place.x()) != isOwnCounted;
        signs[i] = (doubledArea(rings[i].points) < 0.0) != isHole ? -1.0F : 1.0F;
    }
    return signs;
}

} // namespace Cartolith::Map::Raster::Internal
