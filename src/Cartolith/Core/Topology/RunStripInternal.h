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

/// The direction across the longest segment of a run.
inline Position acrossOf(const Boundary& boundary, const Boundary::Run& run) {
    Position across{0.0, 0.0};
    double longest = 0.0;
    for (qsizetype i = run.start; i < run.start + run.segments; ++i) {
        const double dx = boundary.vertex(i + 1).x - boundary.vertex(i).x;
        const double dy = boundary.vertex(i + 1).y - boundary.vertex(i).y;
        if (const double length = std::hypot(dx, dy); length > longest) {
            longest = length;
            across = {-dy, dx};
        }
    }
    return unitOf(across);
}

/// From where to where the vertices of a run lie along a direction. Rounding may move the ends by 2^-50 of
/// the largest coordinate.
inline std::pair<double, double> reachOf(const Boundary& boundary, const Boundary::Run& run, Position along) {
    std::pair reach(std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity());
    for (qsizetype i = run.start; i <= run.start + run.segments; ++i) {
        const double place = boundary.vertex(i).x * along.x + boundary.vertex(i).y * along.y;
        reach.first = std::min(reach.first, place);
        reach.second = std::max(reach.second, place);
    }
    return reach;
}

inline double largestCoordinate(const Box& box) {
    return std::max({std::abs(box.xMin), std::abs(box.yMin), std::abs(box.xMax), std::abs(box.yMax)});
}

/// Across each run of segments the strip that it lies in.
class RunStrips {
public:
    explicit RunStrips(const Boundary& boundary)
        : m_boundary(boundary),
          m_margin(boundary.hasRuns()
                       ? largestCoordinate(boundary.box()) * 0x1p-48 + std::numeric_limits<double>::min()
                       : 0.0) {
        m_strips.reserve(static_cast<std::size_t>(boundary.count(0)));
        for (qsizetype i = 0; i < boundary.count(0); ++i) {
            const Position across = acrossOf(boundary, boundary.run(i));
            const auto [low, high] = reachOf(boundary, boundary.run(i), across);
            m_strips.push_back({across, low, high});
        }
    }

    bool mayMeet(qsizetype a, qsizetype b) const { return !liesBeside(a, b) && !liesBeside(b, a); }

private:
    struct Strip {
        Position across;
        double low;
        double high;
    };

    /// Beyond what rounding may have moved; false where something is not a number.
    bool liesBeside(qsizetype a, qsizetype b) const {
        const Strip& strip = m_strips[static_cast<std::size_t>(b)];
        const auto [low, high] = reachOf(m_boundary, m_boundary.run(a), strip.across);
        return low - strip.high > m_margin || strip.low - high > m_margin;
    }

    const Boundary& m_boundary;
    double m_margin;
    std::vector<Strip> m_strips;
};

} // namespace Cartolith::Core::Topology::Internal
