#include <Cartolith/Core/Serialization/RingsInternal.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Shapes/PartsInternal.h>
#include <Cartolith/Core/Shapes/PlaceWindingsInternal.h>
#include <Cartolith/Core/Topology/BoundaryInternal.h>
#include <Cartolith/Core/Topology/CoveredSidesInternal.h>
#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/OrientationInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/RingParityInternal.h>
#include <Cartolith/Core/Topology/RunStripInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>

#include <QVarLengthArray>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace Cartolith::Core::Topology {

using Internal::Boundary;
using Internal::Box;
using Internal::Position;
using Internal::Work;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;
using Shapes::Internal::PlaceWindings;
using Shapes::Internal::Ring;

namespace {

/// A vertex that is not finite ends a part, and the next one begins another.
std::unique_ptr<GisShapePolyline> cutAtGaps(const GisShapePolyline& line) {
    auto cut = std::make_unique<GisShapePolyline>();
    for (const QList<GisShapePoint>& part : line.parts()) {
        if (std::all_of(part.begin(), part.end(), Internal::isFinite)) {
            cut->parts().append(part);
            continue;
        }
        for (auto from = part.begin(); from != part.end();) {
            from = std::find_if(from, part.end(), Internal::isFinite);
            const auto to = std::find_if_not(from, part.end(), Internal::isFinite);
            cut->parts().append(QList<GisShapePoint>(from, to));
            from = to;
        }
    }
    return cut;
}

/// Finite, rings closed.
std::unique_ptr<GisShape> prepared(const GisShape& shape) {
    if (const auto* line = dynamic_cast<const GisShapePolyline*>(&shape)) {
        return cutAtGaps(*line);
    }
    std::unique_ptr<GisShape> copy = Internal::finiteCopy(shape);
    if (auto* polygon = dynamic_cast<GisShapePolygon*>(copy.get())) {
        for (qsizetype i = 0; i < polygon->parts().size(); ++i) {
            if (Serialization::Internal::isOpen(std::as_const(*polygon).parts()[i])) {
                QList<GisShapePoint>& ring = polygon->parts()[i];
                ring.append(GisShapePoint(ring.constFirst()));
            }
        }
    }
    return copy;
}

struct PairOfPoints {
    double distance = std::numeric_limits<double>::infinity();
    Position a{};
    Position b{};

    PairOfPoints swapped() const { return {distance, b, a}; }
    void takeIfNearer(const PairOfPoints& other) {
        if (other.distance < distance) {
            *this = other;
        }
    }
};

PairOfPoints fromPointToSegment(Position p, Position a, Position b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double t = ((p.x - a.x) * dx + (p.y - a.y) * dy) / (dx * dx + dy * dy);
    Position nearest = a; // also for a segment too short to square
    if (t >= 1.0) {
        nearest = b;
    } else if (t > 0.0) {
        nearest = {a.x + t * dx, a.y + t * dy};
    }
    return {std::hypot(p.x - nearest.x, p.y - nearest.y), p, nearest};
}

int side(Position a, Position b, Position c) {
    return Internal::orientation(a.x, a.y, b.x, b.y, c.x, c.y);
}

/// Of points on one line.
bool isBetween(Position p, Position a, Position b) {
    return p.x >= std::min(a.x, b.x) && p.x <= std::max(a.x, b.x) && p.y >= std::min(a.y, b.y) &&
           p.y <= std::max(a.y, b.y);
}

/// Where two segments meet, decided without rounding.
std::optional<Position> meetingOf(Position a, Position b, Position c, Position d) {
    if (std::max(a.x, b.x) < std::min(c.x, d.x) || std::max(c.x, d.x) < std::min(a.x, b.x) ||
        std::max(a.y, b.y) < std::min(c.y, d.y) || std::max(c.y, d.y) < std::min(a.y, b.y)) {
        return std::nullopt;
    }
    const int sideOfC = side(a, b, c);
    const int sideOfD = side(a, b, d);
    const int sideOfA = side(c, d, a);
    const int sideOfB = side(c, d, b);
    if (sideOfC * sideOfD < 0 && sideOfA * sideOfB < 0) {
        return Internal::crossingOf(a, b, c, d);
    }
    if (sideOfA == 0 && isBetween(a, c, d)) {
        return a;
    }
    if (sideOfB == 0 && isBetween(b, c, d)) {
        return b;
    }
    if (sideOfC == 0 && isBetween(c, a, b)) {
        return c;
    }
    return sideOfD == 0 && isBetween(d, a, b) ? std::optional(d) : std::nullopt;
}

PairOfPoints betweenSegments(Position a, Position b, Position c, Position d) {
    if (const std::optional<Position> meeting = meetingOf(a, b, c, d)) {
        return {0.0, *meeting, *meeting};
    }
    PairOfPoints nearest = fromPointToSegment(a, c, d);
    nearest.takeIfNearer(fromPointToSegment(b, c, d));
    nearest.takeIfNearer(fromPointToSegment(c, a, b).swapped());
    nearest.takeIfNearer(fromPointToSegment(d, a, b).swapped());
    return nearest;
}

/// Goes down two trees of boxes together, nearest pairs of nodes first, and leaves out what cannot hold
/// anything nearer than what was found. The answer is that of comparing each segment with each.
class NearestSearch {
public:
    NearestSearch(const Boundary& a, const Boundary& b, Work& work)
        : m_a(a), m_b(b), m_work(work), m_noise(0x1p-46 * std::max(Internal::largestCoordinate(a.box()),
                                                                   Internal::largestCoordinate(b.box()))) {}

    PairOfPoints run() {
        offer({0.0, 0, 0, m_a.topLevel(), m_b.topLevel()});
        while (!m_pending.isEmpty() && m_nearest.distance > 0.0) {
            const Pair pair = m_pending.last();
            m_pending.removeLast();
            if (!isWorthwhile(pair.gap)) {
                continue;
            }
            if (pair.levelA == 0 && pair.levelB == 0) {
                compareRuns(m_a.run(pair.a), m_b.run(pair.b));
                continue;
            }
            m_work.add(8);
            const qsizetype firstChild = m_pending.size();
            if (pair.levelA >= pair.levelB) {
                const int level = pair.levelA - 1;
                for (qsizetype i = 8 * pair.a; i < std::min(8 * pair.a + 8, m_a.count(level)); ++i) {
                    offer({0.0, i, pair.b, level, pair.levelB});
                }
            } else {
                const int level = pair.levelB - 1;
                for (qsizetype i = 8 * pair.b; i < std::min(8 * pair.b + 8, m_b.count(level)); ++i) {
                    offer({0.0, pair.a, i, pair.levelA, level});
                }
            }
            std::stable_sort(m_pending.begin() + firstChild, m_pending.end(),
                             [](const Pair& x, const Pair& y) { return x.gap > y.gap; });
        }
        return m_nearest;
    }

private:
    struct Pair {
        double gap;
        qsizetype a;
        qsizetype b;
        int levelA;
        int levelB;
    };

    /// A distance as it is computed may be smaller than the true one, and so than the gap, by the noise.
    bool isWorthwhile(double gap) const { return !(gap - m_noise >= m_nearest.distance); }

    void offer(Pair pair) {
        const Box& a = m_a.box(pair.levelA, pair.a);
        const Box& b = m_b.box(pair.levelB, pair.b);
        pair.gap = std::hypot(std::max({0.0, a.xMin - b.xMax, b.xMin - a.xMax}),
                              std::max({0.0, a.yMin - b.yMax, b.yMin - a.yMax}));
        if (isWorthwhile(pair.gap)) {
            m_pending.append(pair);
        }
    }

    /// No two points of the runs are nearer than they are apart in any direction. Boxes of long slanted runs
    /// meet although these lie side by side, and those of runs face to face stand nearer than the runs do.
    bool areApart(const Boundary::Run& runA, const Boundary::Run& runB) const {
        const auto isApart = [&](Position along) {
            const auto [lowA, highA] = Internal::reachOf(m_a, runA, along);
            const auto [lowB, highB] = Internal::reachOf(m_b, runB, along);
            return !isWorthwhile(std::max(lowA - highB, lowB - highA));
        };
        return isApart(Internal::acrossOf(m_a, runA).direction) ||
               isApart(Internal::acrossOf(m_b, runB).direction) ||
               isApart(Internal::unitOf({m_b.vertex(runB.start).x - m_a.vertex(runA.start).x,
                                         m_b.vertex(runB.start).y - m_a.vertex(runA.start).y}));
    }

    void compareRuns(const Boundary::Run& runA, const Boundary::Run& runB) {
        m_work.add(16);
        if (areApart(runA, runB)) {
            return;
        }
        m_work.add(64);
        // A part of one vertex is a segment without length.
        for (qsizetype i = runA.start; i < runA.start + std::max<int>(runA.segments, 1); ++i) {
            for (qsizetype j = runB.start; j < runB.start + std::max<int>(runB.segments, 1); ++j) {
                m_nearest.takeIfNearer(
                    betweenSegments(m_a.vertex(i), m_a.vertex(runA.segments > 0 ? i + 1 : i), m_b.vertex(j),
                                    m_b.vertex(runB.segments > 0 ? j + 1 : j)));
            }
        }
    }

    const Boundary& m_a;
    const Boundary& m_b;
    Work& m_work;
    double m_noise;
    PairOfPoints m_nearest;
    QVarLengthArray<Pair, 128> m_pending; ///< at most eight siblings on each level of either tree
};

using Places = std::vector<PlaceWindings::Place>;

/// Which rings go round places.
class RingsAround : private PlaceWindings::Visitor {
public:
    RingsAround(const QList<Ring>& rings, Work& work)
        : m_work(work), m_windings(static_cast<std::size_t>(rings.size()), 0) {
        for (qsizetype i = 0; i < rings.size(); ++i) {
            m_edges.addRing(rings[i], static_cast<int>(i));
        }
    }

    /// \throws Stopped
    void find(const Places& places) { m_edges.visit(places, *this); }

    /// The numbers of those that any goes round.
    const std::vector<int>& places() const { return m_found; }
    /// Round the first of these.
    const std::vector<int>& rings() const { return m_rings; }

private:
    bool isLeft(const GisShapePoint& a, const GisShapePoint& b, const PlaceWindings::Place& place) override {
        return Internal::passesLeftOf(a, b, place);
    }
    void look(qint64 edges) override { m_work.add(edges); }
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

    Work& m_work;
    PlaceWindings m_edges;
    std::vector<int> m_windings;
    int m_count = 0;
    std::vector<int> m_found;
    std::vector<int> m_rings;
};

/// Some rings and those that may be around them, which meet them and are larger; all for many rings.
QList<Ring> withRingsAround(const std::vector<int>& some, const QList<Ring>& rings) {
    constexpr std::size_t many = 16;
    if (some.size() > many) {
        return rings;
    }
    QList<Ring> found;
    for (qsizetype i = 0; i < rings.size(); ++i) {
        const Shapes::GisExtent extent = Shapes::Internal::extentOfParts({rings[i]});
        const bool isAround = std::any_of(some.begin(), some.end(), [&](int ring) {
            return ring == i ||
                   (Shapes::Internal::extentOfParts({rings[ring]}).intersects(extent) &&
                    extent.width() * extent.height() >= std::fabs(Internal::signedArea(rings[ring])));
        });
        if (isAround) {
            found.append(rings[i]);
        }
    }
    return found;
}

/// A vertex of the shape that lies in the area, which is found if the boundaries do not meet and any does.
std::optional<Position> vertexInArea(const Boundary& shape, const GisShape& area, const Boundary& rings,
                                     Work& work) {
    const auto* const polygon = dynamic_cast<const GisShapePolygon*>(&area);
    if (polygon == nullptr) {
        return std::nullopt;
    }
    const bool isRegular = Internal::largestCoordinate(rings.box()) < 1e200;
    const bool isTold = polygon->parts().size() == 1 || !isRegular; // by parity, where it says inside
    Places places;
    for (qsizetype i = 0; i < shape.partCount(); ++i) {
        const Position first = shape.vertex(shape.part(i).begin);
        if (isTold && Internal::isInOddNumberOfRings(rings, first, work)) {
            return first;
        }
        if (isRegular && rings.box().holds(first)) {
            places.push_back({first.x, first.y});
        }
    }
    if (places.empty()) {
        return std::nullopt;
    }
    RingsAround around(polygon->parts(), work);
    around.find(places);
    if (around.places().empty()) {
        return std::nullopt;
    }
    Places unclear;
    for (const int place : around.places()) {
        unclear.push_back(places[static_cast<std::size_t>(place)]);
    }
    const QList<Ring> nested =
        unclear.size() == 1 ? withRingsAround(around.rings(), polygon->parts()) : polygon->parts();
    const auto covered = Internal::coveredPlace(Internal::coverOf(nested), unclear, work);
    return covered ? std::optional<Position>({unclear[*covered].x, unclear[*covered].y}) : std::nullopt;
}

GisNearestPoints nearestPoints(const GisShape& first, const GisShape& second, Work& work) {
    const auto a = prepared(first);
    const auto b = prepared(second);
    const Boundary boundaryA(*a, a->extent(), 0.0, nullptr, Boundary::Boxes::Bare);
    const Boundary boundaryB(*b, b->extent(), 0.0, nullptr, Boundary::Boxes::Bare);
    if (!boundaryA.hasRuns() || !boundaryB.hasRuns()) {
        return {};
    }
    auto inside = vertexInArea(boundaryA, *b, boundaryB, work);
    if (!inside.has_value()) {
        inside = vertexInArea(boundaryB, *a, boundaryA, work);
    }
    if (inside.has_value()) {
        return {0.0, {inside->x, inside->y}, {inside->x, inside->y}};
    }
    const PairOfPoints nearest = NearestSearch(boundaryA, boundaryB, work).run();
    return {nearest.distance, {nearest.a.x, nearest.a.y}, {nearest.b.x, nearest.b.y}};
}

} // namespace

GisNearestPoints GisTopology::NearestPoints(const GisShape& a, const GisShape& b) const {
    Work work(this);
    return Internal::unlessStopped([&] { return nearestPoints(a, b, work); });
}

double GisTopology::Distance(const GisShape& a, const GisShape& b) const {
    return NearestPoints(a, b).distance;
}

} // namespace Cartolith::Core::Topology
