#pragma once

#include <cmath>

/// The two formulas behind contains() of lines and areas, on plain numbers, so that whoever keeps vertices in
/// another form gives the same answers to the last bit.
namespace Cartolith::Core::Shapes::Internal {

inline double distance(double ax, double ay, double bx, double by) noexcept {
    const double dx = ax - bx;
    const double dy = ay - by;
    return std::sqrt(dx * dx + dy * dy);
}

/// From (px, py) to the closed segment from (ax, ay) to (bx, by).
inline double distanceToSegment(double px, double py, double ax, double ay, double bx, double by) noexcept {
    const double dx = bx - ax;
    const double dy = by - ay;
    if (dx == 0.0 && dy == 0.0) {
        return distance(px, py, ax, ay);
    }
    double t = ((px - ax) * dx + (py - ay) * dy) / (dx * dx + dy * dy);
    if (!(t < 1.0)) { // also a NaN, from a segment too short to square
        t = 1.0;
    } else if (!(t > 0.0)) {
        t = 0.0;
    }
    return distance(px, py, ax + t * dx, ay + t * dy);
}

/// Whether the ray from (px, py) to the right crosses the edge that ends at (ax, ay) and comes from (bx, by).
/// The direction matters to the last bit.
inline bool crossesToTheRight(double px, double py, double ax, double ay, double bx, double by) noexcept {
    return (ay > py) != (by > py) && ax + (bx - ax) * (py - ay) / (by - ay) > px;
}

} // namespace Cartolith::Core::Shapes::Internal
