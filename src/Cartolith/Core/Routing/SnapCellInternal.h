#pragma once

#include <Cartolith/Core/Routing/RoutingPoint.h>

#include <QHashFunctions>

#include <limits>

namespace Cartolith::Core::Routing::Internal {

/// The cell of the snapping grid in which a point lies; points in one cell are one node.
struct SnapCell {
    long long x;
    long long y;

    SnapCell(const RoutingPoint& point, double tolerance)
        : x(rounded(point.x / tolerance)), y(rounded(point.y / tolerance)) {}

    bool operator==(const SnapCell& other) const noexcept { return x == other.x && y == other.y; }

private:
    static long long rounded(double value) {
        using Limits = std::numeric_limits<long long>;
        constexpr double tooLarge = 9223372036854775808.0;
        if (std::isnan(value)) {
            return Limits::min();
        }
        if (value >= tooLarge) {
            return Limits::max();
        }
        return value <= -tooLarge ? Limits::min() + 1 : std::llround(value);
    }
};

inline std::size_t qHash(const SnapCell& cell, std::size_t seed = 0) noexcept {
    return qHashMulti(seed, cell.x, cell.y);
}

/// The tolerance that counts: what is not finite and greater than 0 stands for 1e-9.
inline double usableTolerance(double tolerance) {
    return tolerance > 0.0 && std::isfinite(tolerance) ? tolerance : 1e-9;
}

} // namespace Cartolith::Core::Routing::Internal
