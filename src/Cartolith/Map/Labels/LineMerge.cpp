#include <Cartolith/Map/Drawing/WatchInternal.h>
#include <Cartolith/Map/Labels/LineMerge.h>

#include <QPointF>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <tuple>

namespace Cartolith::Map::Labels {

using Map::Internal::Watch;

namespace {

struct PartEnd {
    int name;
    double x, y;
    qsizetype number; ///< twice that of the part; one more for its last vertex

    auto place() const { return std::tuple(name, x, y); }
};

/// The parts of a list, and which of their ends go on where.
class PartChain {
public:
    PartChain(std::span<const double> coordinates, std::span<const qsizetype> partEnds,
              std::span<const int> names, const Watch& watch)
        : m_coordinates(coordinates), m_next(2 * partEnds.size(), -1) {
        std::size_t from = 0;
        for (const qsizetype end : partEnds) {
            const std::size_t to = std::clamp(static_cast<std::size_t>(std::max<qsizetype>(end, 0)), from,
                                              coordinates.size() / 2);
            m_from.push_back(from);
            from = to;
        }
        m_from.push_back(from);
        std::vector<PartEnd> ends;
        for (std::size_t part = 0; part < partEnds.size(); ++part) {
            watch.every(std::size_t{256}, part);
            const auto vertices = verticesOf(part);
            if (names[part] >= 0 && vertices.size() >= 4 &&
                std::all_of(vertices.begin(), vertices.end(), [](double v) { return std::isfinite(v); })) {
                const auto number = 2 * static_cast<qsizetype>(part);
                ends.push_back({names[part], vertices[0], vertices[1], number});
                ends.push_back(
                    {names[part], vertices[vertices.size() - 2], vertices[vertices.size() - 1], number + 1});
            }
        }
        std::size_t compared = 0;
        std::stable_sort(ends.begin(), ends.end(), [&](const PartEnd& a, const PartEnd& b) {
            watch.every(std::size_t{1} << 16, compared++);
            return a.place() < b.place();
        });
        for (auto first = ends.begin(); first != ends.end();) {
            const auto last = std::find_if(first, ends.end(),
                                           [&](const PartEnd& end) { return end.place() != first->place(); });
            watch.every(std::ptrdiff_t{1024}, first - ends.begin());
            joinEnds({first, last});
            first = last;
        }
    }

    /// The end that goes on from there; below 0 for none.
    qsizetype next(qsizetype end) const { return m_next[static_cast<std::size_t>(end)]; }

    void append(std::size_t part, bool isReversed, std::vector<double>& to, std::size_t begin) const {
        const auto vertices = verticesOf(part);
        const std::size_t count = vertices.size() / 2;
        for (std::size_t i = to.size() > begin ? 1 : 0; i < count; ++i) { // without where they meet
            const std::size_t at = 2 * (isReversed ? count - 1 - i : i);
            to.push_back(vertices[at]);
            to.push_back(vertices[at + 1]);
        }
    }

private:
    std::span<const double> verticesOf(std::size_t part) const {
        return m_coordinates.subspan(2 * m_from[part], 2 * (m_from[part + 1] - m_from[part]));
    }

    /// Into the part, of length 1; nothing for a part without length.
    QPointF inwards(const PartEnd& end) const {
        const auto vertices = verticesOf(static_cast<std::size_t>(end.number / 2));
        const std::size_t count = vertices.size() / 2;
        for (std::size_t i = 1; i < count; ++i) {
            const std::size_t at = 2 * (end.number % 2 == 0 ? i : count - 1 - i);
            const QPointF way(vertices[at] - end.x, vertices[at + 1] - end.y);
            const double length = std::hypot(way.x(), way.y());
            if (length > 0.0 && std::isfinite(length)) {
                return way / length;
            }
        }
        return {};
    }

    void joinEnds(std::span<const PartEnd> ends) {
        constexpr std::size_t most = 16;
        constexpr double straight = -0.5; // the cosine between the two ways
        if (ends.size() < 2 || ends.size() > most) {
            return;
        }
        struct Pair {
            double cosine;
            qsizetype a, b;
        };
        std::vector<Pair> pairs;
        for (std::size_t i = 0; i < ends.size(); ++i) {
            for (std::size_t k = i + 1; k < ends.size(); ++k) {
                const double cosine = QPointF::dotProduct(inwards(ends[i]), inwards(ends[k]));
                if (ends[i].number / 2 != ends[k].number / 2 && (ends.size() == 2 || cosine <= straight)) {
                    pairs.push_back({cosine, ends[i].number, ends[k].number});
                }
            }
        }
        std::stable_sort(pairs.begin(), pairs.end(),
                         [](const Pair& a, const Pair& b) { return a.cosine < b.cosine; });
        for (const Pair& pair : pairs) {
            if (next(pair.a) < 0 && next(pair.b) < 0) {
                m_next[static_cast<std::size_t>(pair.a)] = pair.b;
                m_next[static_cast<std::size_t>(pair.b)] = pair.a;
            }
        }
    }

    std::span<const double> m_coordinates;
    std::vector<std::size_t> m_from; // the first vertex of each part
    std::vector<qsizetype> m_next;   // of each end
};

} // namespace

MergedLines mergeLines(std::span<const double> coordinates, std::span<const qsizetype> partEnds,
                       std::span<const int> names, const std::function<void()>& watch) {
    if (names.size() != partEnds.size()) {
        throw std::invalid_argument("lines are merged by one name for each");
    }
    const Watch look(watch);
    const PartChain chain(coordinates, partEnds, names, look);
    MergedLines merged;
    merged.coordinates.reserve(coordinates.size());
    merged.lineOf.assign(partEnds.size(), -1);
    for (std::size_t part = 0; part < partEnds.size(); ++part) {
        look.every(std::size_t{1024}, part);
        if (merged.lineOf[part] >= 0) {
            continue;
        }
        // Back to where the line begins, or once around.
        const auto start = 2 * static_cast<qsizetype>(part);
        qsizetype begin = start;
        while (chain.next(begin) >= 0 && (chain.next(begin) ^ 1) != start) {
            begin = chain.next(begin) ^ 1;
        }
        const std::size_t from = merged.coordinates.size();
        for (qsizetype end = begin; end >= 0; end = chain.next(end ^ 1)) {
            const auto here = static_cast<std::size_t>(end / 2);
            if (merged.lineOf[here] >= 0) {
                break;
            }
            merged.lineOf[here] = static_cast<qsizetype>(merged.lineEnds.size());
            chain.append(here, end % 2 == 1, merged.coordinates, from);
        }
        merged.lineEnds.push_back(static_cast<qsizetype>(merged.coordinates.size() / 2));
    }
    return merged;
}

} // namespace Cartolith::Map::Labels
