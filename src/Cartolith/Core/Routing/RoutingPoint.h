#pragma once

#include <QTypeInfo>

#include <cmath>

namespace Cartolith::Core::Routing {

/// A planar position of a road network, in the network's coordinate units (metres, for travel times to mean
/// seconds).
struct RoutingPoint {
    constexpr RoutingPoint() noexcept = default;
    constexpr RoutingPoint(double px, double py) noexcept : x(px), y(py) {}

    /// The Euclidean distance; infinite when its square overflows, NaN when a coordinate is NaN.
    double distanceTo(const RoutingPoint& other) const noexcept {
        const double dx = x - other.x;
        const double dy = y - other.y;
        return std::sqrt(dx * dx + dy * dy);
    }

    /// True when both coordinates are exactly 0, of either sign.
    bool isNull() const noexcept { return x == 0.0 && y == 0.0; }

    /// Exact, without a tolerance; a NaN equals nothing.
    bool operator==(const RoutingPoint& other) const noexcept { return x == other.x && y == other.y; }
    bool operator!=(const RoutingPoint& other) const noexcept { return !(*this == other); }

    double x = 0.0;
    double y = 0.0;
};

} // namespace Cartolith::Core::Routing

Q_DECLARE_TYPEINFO(Cartolith::Core::Routing::RoutingPoint, Q_PRIMITIVE_TYPE);
