#include <Cartolith/Core/CoordinateSystems/DomainCutInternal.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace Cartolith::Core::CoordinateSystems::Internal {

namespace {

constexpr int outside = std::numeric_limits<int>::min();

DomainCut::Vertex between(const DomainCut::Vertex& a, const DomainCut::Vertex& b, double at) {
    return {a.x + (b.x - a.x) * at, a.y + (b.y - a.y) * at};
}

MapDomain::Place between(const MapDomain::Place& a, const MapDomain::Place& b, double at) {
    return {a.u + (b.u - a.u) * at, a.v + (b.v - a.v) * at};
}

} // namespace

DomainCut::DomainCut(const MapDomain& domain, bool isLinear, double stepsPerUnit, ToChart toChart)
    : m_domain(domain), m_isLinear(isLinear), m_stepsPerUnit(stepsPerUnit), m_toChart(std::move(toChart)) {}

MapDomain::Place DomainCut::placeOf(const Vertex& vertex, const MapDomain::Place& before) const {
    MapDomain::Place place = m_toChart(vertex).value_or(before);
    if (!m_isLinear) {
        place.u = before.u + std::remainder(place.u - before.u, 360.0);
    }
    return place;
}

/// The turn in which the place is inside; the same as before on the line between two of them.
int DomainCut::copyOf(const MapDomain::Place& place, int preferred) const {
    const double near = MapDomain::closeness;
    if (m_domain.isCap()) {
        return place.v >= m_domain.vMin() - near ? 0 : outside;
    }
    if (place.v < m_domain.vMin() - near || place.v > m_domain.vMax() + near) {
        return outside;
    }
    const auto isIn = [&](int copy) {
        const double u = place.u - 360.0 * copy;
        return u >= m_domain.uMin() - near && u <= m_domain.uMax() + near;
    };
    if (preferred != outside && isIn(preferred)) {
        return preferred;
    }
    const int copy = static_cast<int>(std::floor((place.u - m_domain.uMin()) / 360.0));
    return isIn(copy) ? copy : outside;
}

void DomainCut::refine(Event& event, const Vertex& a, const Vertex& b, double before, double after, bool isU,
                       double line) const {
    const MapDomain::Place near = event.place;
    const auto distance = [&](double at) {
        event.at = at;
        event.place = placeOf(between(a, b, at), near);
        return (isU ? event.place.u : event.place.v) - line;
    };
    double atLeft = distance(before);
    double atRight = distance(after);
    if ((atLeft < 0.0) == (atRight < 0.0)) {
        return;
    }
    // Regula falsi with halving of the end that stays (Illinois).
    for (int i = 0; i < 60; ++i) {
        double at = (before * atRight - after * atLeft) / (atRight - atLeft);
        at = at > before && at < after ? at : (before + after) / 2;
        // Within rounding of a pole there may be no place: then the ends come nearer to it in turn.
        const bool isPlace = m_toChart(between(a, b, at)).has_value();
        at = isPlace ? at : (at + (i % 2 == 0 ? before : after)) / 2;
        const double here = distance(at);
        if (std::abs(here) < 1e-11 || after - before < 1e-15) {
            break;
        }
        if ((here < 0.0) == (atLeft < 0.0)) {
            before = at;
            atLeft = here;
            atRight /= 2;
        } else {
            after = at;
            atRight = here;
            atLeft /= 2;
        }
    }
    (isU ? event.place.u : event.place.v) = line;
}

/// Where an edge that is bent in the chart, with both ends on one side of a line, is beyond it; none where it
/// is not.
std::optional<double> DomainCut::beyond(const Vertex& a, const Vertex& b, const MapDomain::Place& from,
                                        const MapDomain::Place& to, bool isU, double line) const {
    const double side = (isU ? from.u : from.v) < line ? -1.0 : 1.0;
    const auto distance = [&](double at) {
        const MapDomain::Place place = placeOf(between(a, b, at), between(from, to, at));
        return side * ((isU ? place.u : place.v) - line);
    };
    // Golden section; a short edge is bent one way.
    constexpr double share = 0.6180339887498949;
    double least = 0.0;
    double most = 1.0;
    double lower = 1.0 - share;
    double upper = share;
    double atLower = distance(lower);
    double atUpper = distance(upper);
    for (int i = 0; i < 26; ++i) {
        if (std::min(atLower, atUpper) < 0.0) {
            return atLower < atUpper ? lower : upper;
        }
        if (atLower < atUpper) {
            most = std::exchange(upper, lower);
            atUpper = atLower;
            lower = most - share * (most - least);
            atLower = distance(lower);
        } else {
            least = std::exchange(lower, upper);
            atLower = atUpper;
            upper = least + share * (most - least);
            atUpper = distance(upper);
        }
    }
    return std::nullopt;
}

/// Where a short edge meets the lines of the boundary, in order.
std::vector<DomainCut::Event> DomainCut::events(const Vertex& a, const Vertex& b,
                                                const MapDomain::Place& from,
                                                const MapDomain::Place& to) const {
    std::vector<Event> found;
    // A bent edge may also meet lines beside it, up to about its length away.
    const double reach = m_isLinear ? 0.0 : std::abs(to.u - from.u) + std::abs(to.v - from.v);
    const auto meet = [&](bool isU, double line) {
        const double start = (isU ? from.u : from.v) - line;
        const double end = (isU ? to.u : to.v) - line;
        if (start == end && (m_isLinear || start == 0.0)) {
            return;
        }
        const auto add = [&](double at, double before, double after) {
            Event event;
            event.at = at;
            event.place = between(from, to, at);
            if (!m_isLinear) {
                refine(event, a, b, before, after, isU, line);
            }
            found.push_back(event);
        };
        if ((start < 0.0) != (end < 0.0)) {
            add(std::clamp(start / (start - end), 0.0, 1.0), 0.0, 1.0);
        } else if (!m_isLinear && std::min(std::abs(start), std::abs(end)) <= reach) {
            if (const std::optional<double> middle = beyond(a, b, from, to, isU, line)) {
                add(*middle, 0.0, *middle);
                add(*middle, *middle, 1.0);
            }
        }
    };
    meet(false, m_domain.vMin());
    if (!m_domain.isCap()) {
        meet(false, m_domain.vMax());
        const auto [least, most] = std::minmax(from.u, to.u);
        for (const double bound : {m_domain.uMin(), m_domain.uMax()}) {
            const double first = bound + 360.0 * std::ceil((least - reach - bound) / 360.0);
            for (double line = first; line <= most + reach; line += 360.0) {
                meet(true, line);
            }
        }
    }
    std::sort(found.begin(), found.end(), [](const Event& x, const Event& y) { return x.at < y.at; });
    return found;
}

/// A path on its way through the domain.
class DomainCut::Walk {
public:
    explicit Walk(DomainCut& cut) : m_cut(cut) {}

    void start(const Vertex& vertex, const MapDomain::Place& place, int copy) {
        m_copy = copy;
        m_isWholeSoFar = copy != outside;
        if (m_isWholeSoFar) {
            append(vertex, place);
        }
    }
    int copy() const { return m_copy; }

    /// The path goes on in another copy, or outside, from a place on the boundary.
    void cross(int copy, const Vertex& vertex, const MapDomain::Place& place) {
        if (m_copy != outside) {
            append(vertex, place, true, copy);
            finish();
        }
        const int left = std::exchange(m_copy, copy);
        if (m_copy != outside) {
            append(vertex, place, true, left);
        }
        m_isWholeSoFar = false;
        m_cut.m_isCrossed = true;
    }

    void append(const Vertex& vertex, const MapDomain::Place& place, bool isCrossing = false,
                int other = outside) {
        Node node{vertex, place, std::numeric_limits<double>::quiet_NaN(), false};
        const MapDomain& domain = m_cut.m_domain;
        if (!domain.isCap()) {
            node.place.u -= 360.0 * m_copy;
        }
        if (isCrossing && other != outside) { // to the other side of the same line
            node.place.u = other > m_copy ? domain.uMax() : domain.uMin();
        }
        if (isCrossing || domain.isOnBoundary(node.place)) {
            node.boundary = domain.boundaryAt(node.place);
        }
        node.alongBoundary = !m_chain.empty() && isAlongBoundary(m_chain.back(), node);
        m_chain.push_back(node);
    }

    /// A ring ends where it began, maybe some turns on.
    void end(bool isRing, const Vertex& turn) {
        const bool isOpen = m_copy != outside;
        if (!isRing) {
            if (isOpen) {
                finish();
            }
            return;
        }
        if (isOpen && m_isWholeSoFar) {
            m_cut.m_rings.push_back(std::move(m_chain));
            return;
        }
        for (Node& node : m_head) {
            node.source = {node.source.x + turn.x, node.source.y + turn.y};
        }
        if (m_hasHead && isOpen) { // what the ring began with follows, in the chart also a turn on
            m_chain.insert(m_chain.end(), m_head.begin() + 1, m_head.end());
        } else if (m_hasHead) {
            m_head.front().boundary = m_cut.m_domain.boundaryAt(m_head.front().place);
            m_cut.m_chains.push_back(std::move(m_head));
        }
        if (isOpen) {
            m_chain.back().boundary = m_cut.m_domain.boundaryAt(m_chain.back().place);
            m_cut.m_chains.push_back(std::move(m_chain));
        }
    }

    void holdHead() { m_holdsHead = true; }

private:
    /// An edge that is bent in the chart may leave a side and come back to it.
    bool isAlongBoundary(const Node& a, const Node& b) const {
        const MapDomain& domain = m_cut.m_domain;
        if (!domain.areOnOneSide(a.place, b.place)) {
            return false;
        }
        if (m_cut.m_isLinear) {
            return true;
        }
        const MapDomain::Place middle = m_cut.placeOf(between(a.source, b.source, 0.5), b.place);
        return domain.areOnOneSide(a.place, middle) && domain.areOnOneSide(middle, b.place);
    }
    void finish() {
        if (m_holdsHead && m_isWholeSoFar) {
            m_head = std::exchange(m_chain, {});
            m_hasHead = true;
        } else {
            m_cut.m_chains.push_back(std::exchange(m_chain, {}));
        }
    }

    DomainCut& m_cut;
    Path m_chain;
    Path m_head; // of a ring that begins inside, up to where it leaves
    int m_copy = outside;
    bool m_isWholeSoFar = false;
    bool m_holdsHead = false;
    bool m_hasHead = false;
};

void DomainCut::add(std::span<const Vertex> vertices, bool isRing) {
    // What goes round once may be a single edge.
    const bool isClosed = vertices.size() > 1 && vertices.front().x == vertices.back().x &&
                          vertices.front().y == vertices.back().y;
    if (vertices.size() < (isRing && isClosed ? 4U : 2U)) {
        return;
    }
    const auto isAtSide = [this](const MapDomain::Place& place) {
        const auto isAt = [&place](double u) {
            return std::abs(std::remainder(place.u - u, 360.0)) <= MapDomain::closeness;
        };
        return !m_domain.isCap() && (isAt(m_domain.uMin()) || isAt(m_domain.uMax()));
    };
    // A ring begins at a vertex of which it is plain on which side of the boundary it lies, if it has one.
    const auto isPlain = [&](const Vertex& vertex) {
        const MapDomain::Place place = m_toChart(vertex).value_or(MapDomain::Place());
        const auto isNear = [&place](double v) { return std::abs(place.v - v) <= MapDomain::closeness; };
        return !isAtSide(place) && !isNear(m_domain.vMin()) && !isNear(m_domain.vMax());
    };
    std::size_t first = 0;
    while (isRing && first + 1 < vertices.size() && !isPlain(vertices[first])) {
        ++first;
    }
    const std::size_t edges = vertices.size() - 1;
    first = first < edges ? first : 0;
    const Vertex turn{vertices.back().x - vertices.front().x, vertices.back().y - vertices.front().y};
    const auto vertexAt = [&](std::size_t i) {
        const std::size_t at = first + i;
        if (at <= edges) {
            return vertices[at];
        }
        const Vertex& vertex = vertices[at - edges];
        return Vertex{vertex.x + turn.x, vertex.y + turn.y};
    };

    Walk walk(*this);
    if (isRing) {
        walk.holdHead();
    }
    Vertex a = vertexAt(0);
    MapDomain::Place from = placeOf(a, {});
    int start = copyOf(from, outside);
    for (std::size_t i = 1; i <= edges && isAtSide(from); ++i) { // it belongs to where the path goes
        const MapDomain::Place middle = placeOf(between(vertexAt(i - 1), vertexAt(i), 0.5), from);
        if (!isAtSide(middle)) {
            start = copyOf(from, copyOf(middle, outside));
            break;
        }
    }
    walk.start(a, from, start);
    for (std::size_t i = 1; i <= edges; ++i) {
        const Vertex b = vertexAt(i);
        const double length = std::max(std::abs(b.x - a.x), std::abs(b.y - a.y)) * m_stepsPerUnit;
        const int steps = m_isLinear || !(length > 1.0) ? 1 : static_cast<int>(std::min(length + 1.0, 720.0));
        Vertex before = a;
        for (int step = 1; step <= steps; ++step) {
            const Vertex after = step == steps ? b : between(a, b, static_cast<double>(step) / steps);
            const MapDomain::Place to = placeOf(after, from);
            std::vector<Event> stops = events(before, after, from, to);
            stops.push_back({1.0, to});
            Event last{0.0, from};
            for (const Event& stop : stops) {
                const double at = (last.at + stop.at) / 2;
                MapDomain::Place middle = between(last.place, stop.place, 0.5);
                if (!m_isLinear) { // where a pole is passed, u leaps by half a turn
                    middle = placeOf(between(before, after, at), between(from, to, at));
                }
                const int copy = copyOf(middle, walk.copy());
                if (copy != walk.copy()) {
                    walk.cross(copy, between(before, after, last.at), last.place);
                }
                last = stop;
            }
            before = after;
            from = to;
        }
        if (walk.copy() != outside) {
            walk.append(b, from);
        }
        a = b;
    }
    walk.end(isRing, turn);
}

std::vector<DomainCut::Path> DomainCut::takeLines() {
    return std::exchange(m_chains, {});
}

void DomainCut::walk(Path& path, double from, double to) const {
    m_domain.walk(from, to, [&](double boundary) {
        path.push_back({{}, m_domain.placeAt(boundary), boundary, true});
    });
}

DomainCut::Path DomainCut::wholeBoundary() const {
    Path ring{{{}, m_domain.placeAt(0.0), 0.0, true}};
    walk(ring, 0.0, m_domain.perimeter());
    ring.push_back(ring.front());
    return ring;
}

std::vector<DomainCut::Path>
DomainCut::takeRings(const std::function<bool(const MapDomain::Place&)>& isInside) {
    std::vector<Path> rings = std::exchange(m_rings, {});
    const std::vector<Path> chains = std::exchange(m_chains, {});
    if (chains.empty()) {
        return rings;
    }
    struct End {
        double boundary;
        std::size_t chain;
        bool isLast;
    };
    std::vector<End> ends;
    ends.reserve(2 * chains.size());
    for (std::size_t i = 0; i < chains.size(); ++i) {
        ends.push_back({chains[i].front().boundary, i, false});
        ends.push_back({chains[i].back().boundary, i, true});
    }
    std::stable_sort(ends.begin(), ends.end(),
                     [](const End& a, const End& b) { return a.boundary < b.boundary; });
    const std::size_t count = ends.size();
    const double perimeter = m_domain.perimeter();
    const auto lengthAfter = [&](std::size_t i) {
        return i + 1 < count ? ends[i + 1].boundary - ends[i].boundary
                             : ends[0].boundary + perimeter - ends[i].boundary;
    };
    std::size_t longest = 0;
    for (std::size_t i = 1; i < count; ++i) {
        longest = lengthAfter(i) > lengthAfter(longest) ? i : longest;
    }
    const bool isIn = isInside(m_domain.placeAt(ends[longest].boundary + lengthAfter(longest) / 2));
    const bool evenAreIn = isIn == (longest % 2 == 0); // the stretches after ends 0, 2, 4, ...

    std::vector<std::size_t> placeOfFirst(chains.size());
    std::vector<std::size_t> placeOfLast(chains.size());
    for (std::size_t i = 0; i < count; ++i) {
        (ends[i].isLast ? placeOfLast : placeOfFirst)[ends[i].chain] = i;
    }
    std::vector<bool> isUsed(chains.size(), false);
    for (std::size_t first = 0; first < chains.size(); ++first) {
        Path ring;
        std::size_t chain = first;
        bool isForward = true;
        while (!isUsed[chain]) {
            isUsed[chain] = true;
            const Path& nodes = chains[chain];
            const bool isJoined = !ring.empty();
            for (std::size_t i = 0; i < nodes.size(); ++i) {
                Node node = nodes[isForward ? i : nodes.size() - 1 - i];
                if (i == 0) {
                    node.alongBoundary = isJoined;
                } else if (!isForward) {
                    node.alongBoundary = nodes[nodes.size() - i].alongBoundary;
                }
                ring.push_back(node);
            }
            const std::size_t here = isForward ? placeOfLast[chain] : placeOfFirst[chain];
            const bool isNextAfter = (here % 2 == 0) == evenAreIn;
            const std::size_t next = isNextAfter ? (here + 1) % count : (here + count - 1) % count;
            const double from = ends[here].boundary;
            double to = ends[next].boundary;
            to += isNextAfter && next < here ? perimeter : 0.0;
            to -= !isNextAfter && next > here ? perimeter : 0.0;
            walk(ring, from, to);
            chain = ends[next].chain;
            isForward = !ends[next].isLast;
        }
        if (!ring.empty()) {
            ring.push_back(ring.front());
            ring.back().alongBoundary = true;
            rings.push_back(std::move(ring));
        }
    }
    return rings;
}

} // namespace Cartolith::Core::CoordinateSystems::Internal
