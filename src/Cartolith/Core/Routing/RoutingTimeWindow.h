#pragma once

#include <QTypeInfo>

#include <limits>

namespace Cartolith::Core::Routing {

/// When a stop may be served, both ends included. Seconds from whatever moment the caller counts from.
struct RoutingTimeWindow {
    /// The latest time that stands for "never closes".
    static constexpr double noClosing = std::numeric_limits<double>::max();

    constexpr RoutingTimeWindow() noexcept = default;
    constexpr RoutingTimeWindow(double from, double to) noexcept : earliest(from), latest(to) {}

    /// True when there is no closing time, whatever the opening time is.
    bool isOpen() const noexcept { return latest == noClosing; }
    /// earliest <= t <= latest; false for NaN.
    bool contains(double t) const noexcept { return earliest <= t && t <= latest; }

    double earliest = 0.0;
    double latest = noClosing;
};

} // namespace Cartolith::Core::Routing

Q_DECLARE_TYPEINFO(Cartolith::Core::Routing::RoutingTimeWindow, Q_PRIMITIVE_TYPE);
