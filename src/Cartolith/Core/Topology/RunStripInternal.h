#pragma once

#include <Cartolith/Core/Topology/BoundaryInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

/// Strips across runs of a boundary: boxes of long slanted runs meet although these lie side by side.
namespace Cartolith::Core::Topology::Internal {

/// The vector with length 1; without a direction (0, 0).
inline Position unitOf(Position vector) {
    const double length = std::hypot(vector.x, vector.y);
    return length > 0.0 ? Position{vector.x / length, vector.y / length} : Position{0.0, 0.0};
}

/// The direction across the longest of consecutive segments, and their length.
struct Across {
    Position direction{0.0, 0.0};
    double length = 0.0;
};
inline Across acrossOf(const Boundary& boundary, const Boundary::Run& run) {
    Across across;
    for (qsizetype i = run.start; i < run.start + run.segments; ++i) {
        const double dx = boundary.vertex(i + 1).x - boundary.vertex(i).x;
        const double dy = boundary.vertex(i + 1).y - boundary.vertex(i).y;
        if (const double length = std::hypot(dx, dy); length > across.length) {
            across = {{-dy, dx}, length};
        }
    }
    across.direction = unitOf(across.direction);
    return across;
}

/// From where to where consecutive vertices lie along a direction. Rounding may move the ends by 2^-50 of the
/// largest coordinate.
inline std::pair<double, double> reachOf(const Boundary& boundary, qsizetype first, qsizetype last,
                                         Position along) {
    std::pair reach(std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity());
    for (qsizetype i = first; i <= last; ++i) {
        const double place = boundary.vertex(i).x * along.x + boundary.vertex(i).y * along.y;
        reach.first = std::min(reach.first, place);
        reach.second = std::max(reach.second, place);
    }
    return reach;
}

inline std::pair<double, double> reachOf(const Boundary& boundary, const Boundary::Run& run, Position along) {
    return reachOf(boundary, run.start, run.start + run.segments, along);
}

inline double largestCoordinate(const Box& box) {
    return std::max({std::abs(box.xMin), std::abs(box.yMin), std::abs(box.xMax), std::abs(box.yMax)});
}

/// Across each node of a boundary the strip that it lies in.
class RunStrips {
public:
    explicit RunStrips(const Boundary& boundary)
        : m_boundary(boundary),
          m_margin(boundary.hasRuns()
                       ? largestCoordinate(boundary.box()) * 0x1p-48 + std::numeric_limits<double>::min()
                       : 0.0) {
        std::vector<Across> across;
        for (qsizetype i = 0; i < boundary.count(0); ++i) {
            across.push_back(acrossOf(boundary, boundary.run(i)));
        }
        addLevel(across);
        for (int level = 1; level <= boundary.topLevel(); ++level) {
            std::vector<Across> parents;
            for (std::size_t i = 0; i < across.size(); ++i) {
                if (i % 8 == 0) {
                    parents.push_back(across[i]);
                } else if (across[i].length > parents.back().length) {
                    parents.back() = across[i];
                }
            }
            across = std::move(parents);
            addLevel(across);
        }
    }

    /// Whether a run may meet one of a node.
    bool mayMeet(qsizetype run, int level, qsizetype node) const {
        return !liesBeside(run, level, node) && (level > 0 || !liesBeside(node, 0, run));
    }

private:
    struct Strip {
        Position across;
        double low;
        double high;
    };

    void addLevel(const std::vector<Across>& across) {
        const int level = static_cast<int>(m_strips.size());
        std::vector<Strip> strips;
        for (qsizetype first = 0; first < m_boundary.count(0); first += qsizetype(1) << (3 * level)) {
            const qsizetype end = std::min(first + (qsizetype(1) << (3 * level)), m_boundary.count(0));
            const Boundary::Run& last = m_boundary.run(end - 1);
            const Position direction = across[strips.size()].direction;
            const auto [low, high] =
                reachOf(m_boundary, m_boundary.run(first).start, last.start + last.segments, direction);
            strips.push_back({direction, low, high});
        }
        m_strips.push_back(std::move(strips));
    }

    /// Beyond what rounding may have moved; false where something is not a number.
    bool liesBeside(qsizetype run, int level, qsizetype node) const {
        const Strip& strip = m_strips[static_cast<std::size_t>(level)][static_cast<std::size_t>(node)];
        const auto [low, high] = reachOf(m_boundary, m_boundary.run(run), strip.across);
        return low - strip.high > m_margin || strip.low - high > m_margin;
    }

    const Boundary& m_boundary;
    double m_margin;
    std::vector<std::vector<Strip>> m_strips; ///< by level
};

} // namespace Cartolith::Core::Topology::Internal
