#include <Cartolith/Core/Topology/EdgeMapInternal.h>
#include <Cartolith/Core/Topology/OrientationInternal.h>
#include <Cartolith/Core/Topology/SegmentMeetingInternal.h>

#include <algorithm>
#include <numeric>
#include <tuple>

namespace Cartolith::Core::Topology::Internal {

using Shapes::Internal::Ring;

namespace {

bool isLeftOf(const Position& p, const Position& q) {
    return std::tie(p.x, p.y) < std::tie(q.x, q.y);
}

bool isEqual(const Position& p, const Position& q) {
    return p.x == q.x && p.y == q.y;
}

} // namespace

EdgeMap::Fans::Fans(std::vector<std::uint32_t> halves, const std::vector<std::uint32_t>& tails,
                    std::size_t vertices)
    : m_halves(std::move(halves)), m_first(vertices + 1, 0), m_number(tails.size(), 0) {
    for (std::size_t i = 0; i < m_halves.size(); ++i) {
        m_number[m_halves[i]] = static_cast<std::uint32_t>(i);
        ++m_first[tails[m_halves[i]] + 1];
    }
    std::partial_sum(m_first.begin(), m_first.end(), m_first.begin());
}

std::size_t EdgeMap::Fans::before(std::size_t half, std::size_t vertex) const {
    const std::uint32_t number = m_number[half];
    return number == m_first[vertex] ? last(vertex) : m_halves[number - 1];
}

EdgeMap::EdgeMap(const QList<Ring>& noded, Work& work) {
    for (const Ring& ring : noded) {
        for (const Shapes::GisShapePoint& vertex : ring) {
            m_places.push_back(positionOf(vertex));
        }
    }
    std::sort(m_places.begin(), m_places.end(), isLeftOf);
    m_places.erase(std::unique(m_places.begin(), m_places.end(), isEqual), m_places.end());
    work.add(16 * static_cast<qint64>(m_places.size()));
    addEdges(noded, work);
    addFans(work);
}

void EdgeMap::addEdges(const QList<Ring>& rings, Work& work) {
    struct Edge {
        std::uint32_t left;
        std::uint32_t right;
        Change change;
    };
    std::vector<Edge> edges;
    const auto numberOf = [this](const Shapes::GisShapePoint& vertex) {
        const auto found = std::lower_bound(m_places.begin(), m_places.end(), positionOf(vertex), isLeftOf);
        return static_cast<std::uint32_t>(found - m_places.begin());
    };
    for (int ring = 0; ring < rings.size(); ++ring) {
        const Ring& vertices = rings[ring];
        for (qsizetype i = 1; i < vertices.size(); ++i) {
            const std::uint32_t from = numberOf(vertices[i - 1]);
            const std::uint32_t to = numberOf(vertices[i]);
            edges.push_back({std::min(from, to), std::max(from, to), {ring, from < to ? -1 : 1}});
        }
        work.add(16 * vertices.size());
    }
    std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) {
        return std::tie(a.left, a.right, a.change.ring) < std::tie(b.left, b.right, b.change.ring);
    });
    work.add(16 * static_cast<qint64>(edges.size()));
    for (std::size_t i = 0; i < edges.size();) {
        const Edge& edge = edges[i];
        const std::size_t begin = m_changes.size();
        while (i < edges.size() && edges[i].left == edge.left && edges[i].right == edge.right) {
            Change change{edges[i].change.ring, 0};
            for (; i < edges.size() && edges[i].left == edge.left && edges[i].right == edge.right &&
                   edges[i].change.ring == change.ring;
                 ++i) {
                change.by += edges[i].change.by;
            }
            if (change.by != 0) {
                m_changes.push_back(change);
            }
        }
        if (m_changes.size() > begin) {
            m_firstChanges.push_back(static_cast<std::uint32_t>(begin));
            m_tails.insert(m_tails.end(), {edge.left, edge.right});
        }
    }
    m_firstChanges.push_back(static_cast<std::uint32_t>(m_changes.size()));
}

void EdgeMap::addFans(Work& work) {
    std::vector<std::uint32_t> halves(m_tails.size());
    std::iota(halves.begin(), halves.end(), 0U);
    std::sort(halves.begin(), halves.end(), [this](std::uint32_t a, std::uint32_t b) {
        if (m_tails[a] != m_tails[b]) {
            return m_tails[a] < m_tails[b];
        }
        const std::uint32_t headA = m_tails[twin(a)];
        const std::uint32_t headB = m_tails[twin(b)];
        // Numbers grow to the right and straight up.
        const bool isRightA = headA > m_tails[a];
        const bool isRightB = headB > m_tails[b];
        if (isRightA != isRightB) {
            return isRightA;
        }
        const Position& at = m_places[m_tails[a]];
        return orientation(at.x, at.y, m_places[headA].x, m_places[headA].y, m_places[headB].x,
                           m_places[headB].y) > 0;
    });
    work.add(64 * static_cast<qint64>(halves.size()));
    m_fans = Fans(std::move(halves), m_tails, m_places.size());
}

std::vector<std::size_t> EdgeMap::outermostHalves() const {
    std::vector<std::uint32_t> towards(m_places.size()); // a vertex of the same piece not farther right
    std::iota(towards.begin(), towards.end(), 0U);
    const auto endOf = [&towards](std::uint32_t vertex) {
        while (towards[vertex] != vertex) {
            towards[vertex] = towards[towards[vertex]];
            vertex = towards[vertex];
        }
        return vertex;
    };
    std::vector<bool> isUsed(m_places.size(), false);
    for (std::size_t half = 0; half < m_tails.size(); half += 2) {
        const std::uint32_t a = endOf(m_tails[half]);
        const std::uint32_t b = endOf(m_tails[half + 1]);
        towards[std::max(a, b)] = std::min(a, b);
        isUsed[m_tails[half]] = true;
    }
    std::vector<std::size_t> found;
    for (std::uint32_t vertex = 0; vertex < towards.size(); ++vertex) {
        if (isUsed[vertex] && towards[vertex] == vertex) {
            found.push_back(m_fans.last(vertex));
        }
    }
    return found;
}

std::vector<int> EdgeMap::faces() const {
    std::vector<int> faces(m_tails.size(), noArea);
    int count = 0;
    for (std::size_t start = 0; start < faces.size(); ++start) {
        for (std::size_t half = start; faces[half] == noArea; half = next(half)) {
            faces[half] = count;
        }
        count += faces[start] == count ? 1 : 0;
    }
    return faces;
}

QList<AreaRing> EdgeMap::ringsAround(const std::vector<int>& areas, Work& work) const {
    const auto isAround = [&areas](std::size_t half) {
        return areas[half] != noArea && areas[half] != areas[twin(half)];
    };
    std::vector<std::uint32_t> halves;
    for (const std::uint32_t half : m_fans.halves()) {
        if (areas[half] != areas[twin(half)]) {
            halves.push_back(half);
        }
    }
    const Fans fans(std::move(halves), m_tails, m_places.size());
    QList<AreaRing> rings;
    std::vector<bool> isDone(m_tails.size(), false);
    std::vector<std::int64_t> numberOnWay(m_places.size(), -1);
    std::vector<std::uint32_t> way; // vertices
    for (std::size_t start = 0; start < m_tails.size(); ++start) {
        if (isDone[start] || !isAround(start)) {
            continue;
        }
        qint64 steps = 0;
        for (std::size_t half = start; !isDone[half]; half = fans.before(twin(half), m_tails[twin(half)])) {
            isDone[half] = true;
            ++steps;
            const std::uint32_t vertex = m_tails[half];
            numberOnWay[vertex] = static_cast<std::int64_t>(way.size());
            way.push_back(vertex);
            // Where the way comes to a vertex again, it has gone round a ring.
            const std::int64_t again = numberOnWay[m_tails[twin(half)]];
            if (again < 0) {
                continue;
            }
            Ring ring;
            for (auto at = static_cast<std::size_t>(again); at < way.size(); ++at) {
                ring.append(pointOf(m_places[way[at]]));
                numberOnWay[way[at]] = -1;
            }
            way.resize(static_cast<std::size_t>(again));
            ring.append(ring.constFirst());
            if (ring.size() > 3) {
                rings.append({std::move(ring), areas[start]});
            }
        }
        work.add(16 * steps);
    }
    return rings;
}

} // namespace Cartolith::Core::Topology::Internal
