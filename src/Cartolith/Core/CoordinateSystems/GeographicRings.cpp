#include <Cartolith/Core/CoordinateSystems/GeographicRingsInternal.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace Cartolith::Core::CoordinateSystems::Internal {

using Vertex = DomainCut::Vertex;
using Ring = std::vector<Vertex>;

namespace {

bool isNear(double a, double b) {
    return std::abs(a - b) <= MapDomain::closeness;
}

bool isAtSeam(double a, double b) {
    return std::abs(a - b) <= seamCloseness;
}

/// Which end of the map a vertex is on: -1 the western, 1 the eastern, 0 none.
int endOf(const Vertex& vertex, double seam) {
    return isAtSeam(vertex.x, seam) ? -1 : isAtSeam(vertex.x, seam + 360.0) ? 1 : 0;
}

/// Along an end of the map, or along a pole; from end to end, also a little before the pole.
bool isSeamEdge(const Vertex& a, const Vertex& b, double seam) {
    constexpr double polarLatitude = 89.8;
    const int first = endOf(a, seam);
    const int second = endOf(b, seam);
    if (first != 0 && second != 0) {
        return first == second || std::min(a.y, b.y) >= polarLatitude || std::max(a.y, b.y) <= -polarLatitude;
    }
    return isNear(std::abs(a.y), 90.0) && isNear(a.y, b.y);
}

/// What is left of the rings between edges along the ends and the poles.
std::vector<Ring> chainsOf(const std::vector<Ring>& rings, double seam, std::vector<Ring>& whole) {
    std::vector<Ring> chains;
    for (const Ring& ring : rings) {
        const std::size_t edges = ring.size() - 1;
        std::size_t first = 0;
        while (first < edges && !isSeamEdge(ring[first], ring[first + 1], seam)) {
            ++first;
        }
        if (first == edges) {
            whole.push_back(ring);
            continue;
        }
        Ring chain;
        for (std::size_t i = 1; i <= edges; ++i) {
            const Vertex& a = ring[(first + i) % edges];
            const Vertex& b = ring[(first + i) % edges + 1];
            if (!isSeamEdge(a, b, seam)) {
                if (chain.empty()) {
                    chain.push_back(a);
                }
                chain.push_back(b);
            } else if (!chain.empty()) {
                chains.push_back(std::exchange(chain, {}));
            }
        }
        if (!chain.empty()) {
            chains.push_back(std::move(chain));
        }
    }
    return chains;
}

} // namespace

void goShortWay(Ring& path) {
    // Each turn away from 0 is looked at later on, so none begins far away.
    constexpr double far = 720.0;
    double before = path.empty() ? 0.0 : path.front().x;
    double turn = std::abs(before) > far ? -360.0 * std::round(before / 360.0) : 0.0;
    for (Vertex& vertex : path) {
        const double step = vertex.x - before;
        before = vertex.x;
        if (std::abs(step) > 350.0 && std::abs(std::abs(step) - 360.0) > 2.0 * seamCloseness) {
            turn -= 360.0 * std::round(step / 360.0);
        }
        vertex.x += turn;
    }
}

void closeOverPole(Ring& ring) {
    if (ring.size() < 2 || std::abs(ring.back().x - ring.front().x) < 180.0) {
        return;
    }
    const double sum =
        std::accumulate(ring.begin(), ring.end(), 0.0, [](double s, const Vertex& v) { return s + v.y; });
    const double pole = sum < 0.0 ? -90.0 : 90.0;
    ring.insert(ring.end(), {{ring.back().x, pole}, {ring.front().x, pole}, ring.front()});
}

std::vector<Ring> joinedAcross(double seam, const std::vector<Ring>& rings) {
    std::vector<Ring> result;
    const std::vector<Ring> chains = chainsOf(rings, seam, result);
    struct End {
        double latitude;
        std::size_t chain;
        bool isLast;
    };
    std::vector<End> ends;
    for (std::size_t i = 0; i < chains.size(); ++i) {
        ends.push_back({chains[i].front().y, i, false});
        ends.push_back({chains[i].back().y, i, true});
    }
    std::stable_sort(ends.begin(), ends.end(),
                     [](const End& a, const End& b) { return a.latitude < b.latitude; });
    std::vector<std::size_t> placeOfFirst(chains.size());
    std::vector<std::size_t> placeOfLast(chains.size());
    for (std::size_t i = 0; i < ends.size(); ++i) {
        (ends[i].isLast ? placeOfLast : placeOfFirst)[ends[i].chain] = i;
    }
    std::vector<bool> isUsed(chains.size(), false);
    for (std::size_t first = 0; first < chains.size(); ++first) {
        Ring ring;
        std::size_t chain = first;
        bool isForward = true;
        const auto append = [&ring](const Vertex& vertex) { // as the neighbour that it is on the earth
            Vertex next = vertex;
            const bool isPole = !ring.empty() && isNear(std::abs(vertex.y), 90.0);
            if (!ring.empty() && !isPole) {
                next.x += 360.0 * std::round((ring.back().x - vertex.x) / 360.0);
            }
            ring.push_back(next);
        };
        while (!isUsed[chain]) {
            isUsed[chain] = true;
            const Ring& nodes = chains[chain];
            const Vertex start = isForward ? nodes.front() : nodes.back();
            // The turn by which this chain is moved to follow the last one.
            const double turn = ring.empty() ? 0.0 : 360.0 * std::round((ring.back().x - start.x) / 360.0);
            for (std::size_t i = 0; i < nodes.size(); ++i) {
                const Vertex& node = nodes[isForward ? i : nodes.size() - 1 - i];
                ring.push_back({node.x + turn, node.y});
            }
            const std::size_t here = isForward ? placeOfLast[chain] : placeOfFirst[chain];
            const End& next = ends[here ^ 1U];
            if (!isAtSeam(ring.back().y, next.latitude)) { // an edge that nothing meets
                append({seam, ring.back().y});
                append({ring.back().x, next.latitude});
            }
            chain = next.chain;
            isForward = !next.isLast;
        }
        if (!ring.empty()) {
            Vertex last = ring.front();
            last.x += 360.0 * std::round((ring.back().x - last.x) / 360.0);
            ring.push_back(last);
            result.push_back(std::move(ring));
        }
    }
    return result;
}

bool isInOdd(const std::vector<Ring>& rings, const Vertex& place) {
    bool isIn = false;
    for (const Ring& ring : rings) {
        for (std::size_t i = 1; i < ring.size(); ++i) {
            const Vertex& a = ring[i - 1];
            const Vertex& b = ring[i];
            if ((a.y > place.y) != (b.y > place.y) &&
                place.x < a.x + (b.x - a.x) * ((place.y - a.y) / (b.y - a.y))) {
                isIn = !isIn;
            }
        }
    }
    return isIn;
}

} // namespace Cartolith::Core::CoordinateSystems::Internal
