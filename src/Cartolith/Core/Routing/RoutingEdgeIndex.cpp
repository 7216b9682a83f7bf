#include <Cartolith/Core/Common/FloatsInternal.h>
#include <Cartolith/Core/Routing/RoutingEdgeIndex.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>

#include <queue>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

namespace Cartolith::Core::Routing {

namespace {

constexpr std::size_t fanOut = 8;
using Common::Internal::infinity;

/// The bits of a 16-bit number, a gap after each.
std::uint32_t spreadBits(std::uint32_t value) {
    value = (value | value << 8) & 0x00FF00FFU;
    value = (value | value << 4) & 0x0F0F0F0FU;
    value = (value | value << 2) & 0x33333333U;
    return (value | value << 1) & 0x55555555U;
}

} // namespace

RoutingEdgeIndex::Hit RoutingEdgeIndex::measure(const Segment& segment, const RoutingPoint& point) {
    const double dx = segment.b.x - segment.a.x;
    const double dy = segment.b.y - segment.a.y;
    const double square = dx * dx + dy * dy;
    double t = ((point.x - segment.a.x) * dx + (point.y - segment.a.y) * dy) / square;
    if (std::isinf(square)) {
        const double length = std::hypot(dx, dy);
        t = (point.x - segment.a.x) / length * (dx / length) +
            (point.y - segment.a.y) / length * (dy / length);
    }
    const double along = square > 0.0 ? std::clamp(t, 0.0, 1.0) : 0.0;
    // The end exactly, so that edges that meet there are equally near.
    const RoutingPoint nearest =
        along < 1.0 ? RoutingPoint(segment.a.x + along * dx, segment.a.y + along * dy) : segment.b;
    return {point.distanceTo(nearest), along, nearest, &segment};
}

double RoutingEdgeIndex::distanceTo(const Box& box, const RoutingPoint& point) {
    const double dx = std::max({box.min.x - point.x, 0.0, point.x - box.max.x});
    const double dy = std::max({box.min.y - point.y, 0.0, point.y - box.max.y});
    // Less by a hair than any measured distance to what is inside.
    return std::sqrt(dx * dx + dy * dy) * (1.0 - 1e-12);
}

void RoutingEdgeIndex::build(const RoutingGraph& graph) {
    RoutingEdgeIndex built;
    built.fill(graph);
    *this = std::move(built);
}

void RoutingEdgeIndex::fill(const RoutingGraph& graph) {
    Box all{{infinity, infinity}, {-infinity, -infinity}};
    const auto grow = [](Box& box, const Box& other) {
        box.min = {std::min(box.min.x, other.min.x), std::min(box.min.y, other.min.y)};
        box.max = {std::max(box.max.x, other.max.x), std::max(box.max.y, other.max.y)};
    };
    const auto boxOf = [](const Segment& segment) {
        return Box{{std::min(segment.a.x, segment.b.x), std::min(segment.a.y, segment.b.y)},
                   {std::max(segment.a.x, segment.b.x), std::max(segment.a.y, segment.b.y)}};
    };
    m_lines.reserve(static_cast<std::size_t>(graph.edgeCount()));
    for (const RoutingEdge& edge : graph.edges()) {
        for (int i = 1; i < edge.geometry.size(); ++i) {
            const Segment segment{edge.geometry.at(i - 1), edge.geometry.at(i),
                                  static_cast<int>(m_lines.size()), i - 1};
            if (std::isfinite(segment.a.x + segment.a.y + segment.b.x + segment.b.y)) {
                m_segments.push_back(segment);
                grow(all, boxOf(segment));
            }
        }
        m_lines.push_back(edge.geometry);
    }

    std::vector<std::pair<std::uint32_t, std::uint32_t>> order;
    order.reserve(m_segments.size());
    for (const Segment& segment : m_segments) {
        const auto step = [](double a, double b, double least, double greatest) {
            const double t = ((a / 2 + b / 2) - least) / (greatest - least) * 65535.0;
            return t > 0.0 && t <= 65535.0 ? static_cast<std::uint32_t>(t) : 0U;
        };
        const std::uint32_t x = step(segment.a.x, segment.b.x, all.min.x, all.max.x);
        const std::uint32_t y = step(segment.a.y, segment.b.y, all.min.y, all.max.y);
        order.emplace_back(spreadBits(x) | spreadBits(y) << 1, static_cast<std::uint32_t>(order.size()));
    }
    std::sort(order.begin(), order.end());
    std::vector<Segment> sorted;
    sorted.reserve(m_segments.size());
    for (const auto& entry : order) {
        sorted.push_back(m_segments[entry.second]);
    }
    m_segments = std::move(sorted);

    const auto addLevel = [&](std::size_t count, auto box) {
        std::vector<Box> level;
        for (std::size_t i = 0; i < count; ++i) {
            if (i % fanOut == 0) {
                level.push_back(box(i));
            } else {
                grow(level.back(), box(i));
            }
        }
        m_levels.push_back(std::move(level));
    };
    if (!m_segments.empty()) {
        addLevel(m_segments.size(), [&](std::size_t i) { return boxOf(m_segments[i]); });
        while (m_levels.back().size() > 1) {
            const std::size_t below = m_levels.size() - 1;
            addLevel(m_levels[below].size(), [&](std::size_t i) { return m_levels[below][i]; });
        }
    }
}

template <typename Limit, typename Visit>
void RoutingEdgeIndex::search(const RoutingPoint& point, Limit limit, Visit visit) const {
    struct Entry {
        double distance;
        std::size_t level;
        std::size_t box;
        bool operator<(const Entry& other) const { return distance > other.distance; }
    };
    std::priority_queue<Entry> open;
    if (!m_levels.empty()) {
        open.push({distanceTo(m_levels.back().front(), point), m_levels.size() - 1, 0});
    }
    while (!open.empty() && open.top().distance <= limit()) {
        const Entry entry = open.top();
        open.pop();
        const std::size_t first = entry.box * fanOut;
        if (entry.level == 0) {
            for (std::size_t i = first; i < std::min(first + fanOut, m_segments.size()); ++i) {
                visit(measure(m_segments[i], point));
            }
            continue;
        }
        const std::vector<Box>& below = m_levels[entry.level - 1];
        for (std::size_t i = first; i < std::min(first + fanOut, below.size()); ++i) {
            const double distance = distanceTo(below[i], point);
            if (distance <= limit()) {
                open.push({distance, entry.level - 1, i});
            }
        }
    }
}

RoutingPlace RoutingEdgeIndex::placeOf(const Hit& hit) const {
    const QList<RoutingPoint>& line = m_lines[static_cast<std::size_t>(hit.segment->edge)];
    const RoutingPoint& a = hit.segment->a;
    const RoutingPoint& b = hit.segment->b;
    RoutingPlace place;
    place.edge = hit.segment->edge;
    place.position = hit.position;
    place.distance = hit.distance;
    const double length = RoutingGraph::polylineLength(line);
    const double before = RoutingGraph::polylineLength(line.first(hit.segment->number + 1));
    if (place.position == line.constLast() && hit.segment->number + 2 == line.size()) {
        place.fraction = 1.0;
    } else if (length > 0.0) {
        place.fraction = std::min(1.0, (before + hit.along * a.distanceTo(b)) / length);
    }
    return place;
}

RoutingPlace RoutingEdgeIndex::nearestEdge(const RoutingPoint& point, double maxDistance) const {
    return nearestEdge(point, maxDistance, [](int) { return true; });
}

RoutingPlace RoutingEdgeIndex::nearestEdge(const RoutingPoint& point, double maxDistance,
                                           const std::function<bool(int edge)>& accepts) const {
    if (!(maxDistance >= 0.0)) {
        return {};
    }
    Hit best{infinity, 0.0, {}, nullptr};
    search(
        point, [&] { return std::min(best.distance, maxDistance); },
        [&](const Hit& hit) {
            const auto key = [](const Hit& h) { return std::pair(h.segment->edge, h.segment->number); };
            const bool isBetter =
                hit.distance < best.distance ||
                (hit.distance == best.distance && (best.segment == nullptr || key(hit) < key(best)));
            if (isBetter && accepts(hit.segment->edge)) {
                best = hit;
            }
        });
    if (best.segment == nullptr || !(best.distance <= maxDistance)) {
        return {};
    }
    return placeOf(best);
}

QList<RoutingPlace> RoutingEdgeIndex::edgesWithin(const RoutingPoint& point, double distance) const {
    std::vector<Hit> hits;
    if (distance >= 0.0) {
        search(
            point, [distance] { return distance; },
            [&](const Hit& hit) {
                if (hit.distance <= distance) {
                    hits.push_back(hit);
                }
            });
    }
    std::sort(hits.begin(), hits.end(), [](const Hit& a, const Hit& b) {
        return std::tuple(a.segment->edge, a.distance, a.segment->number) <
               std::tuple(b.segment->edge, b.distance, b.segment->number);
    });
    QList<RoutingPlace> places;
    for (const Hit& hit : hits) {
        if (places.isEmpty() || places.constLast().edge != hit.segment->edge) {
            places.append(placeOf(hit));
        }
    }
    return places;
}

} // namespace Cartolith::Core::Routing
