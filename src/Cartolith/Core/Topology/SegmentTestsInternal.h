#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <algorithm>
#include <cmath>
#include <limits>

/// The tests of GisTopology on points and segments, on plain numbers. Everything that answers faster ends in
/// these, and the library is compiled without contraction of products and sums, so that the answers do not
/// depend on the way there.
namespace Cartolith::Core::Topology::Internal {

struct Position {
    double x;
    double y;
};

inline Position positionOf(const Shapes::GisShapePoint& point) noexcept {
    return {point.x(), point.y()};
}

inline bool samePoint(Position a, Position b, double tolerance) noexcept {
    const double dx = a.x - b.x;
    const double dy = a.y - b.y;
    return tolerance * tolerance >= dx * dx + dy * dy;
}

inline double distanceToSegment(Position p, Position a, Position b) noexcept {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double square = dx * dx + dy * dy;
    // A NaN goes on to the other branch, and from there into the result.
    if (!(square <= std::numeric_limits<double>::epsilon())) {
        const double t = std::clamp(((p.x - a.x) * dx + (p.y - a.y) * dy) / square, 0.0, 1.0);
        a.x += t * dx;
        a.y += t * dy;
    }
    return std::sqrt((p.x - a.x) * (p.x - a.x) + (p.y - a.y) * (p.y - a.y));
}

/// The cheap conditions come first; all of them have to hold.
inline bool onSegment(Position p, Position a, Position b, double tolerance) noexcept {
    return p.x >= std::min(a.x, b.x) - tolerance && p.x <= std::max(a.x, b.x) + tolerance &&
           p.y >= std::min(a.y, b.y) - tolerance && p.y <= std::max(a.y, b.y) + tolerance &&
           distanceToSegment(p, a, b) <= tolerance;
}

/// `out` may be null.
inline bool segmentsMeet(Position p1, Position p2, Position q1, Position q2, double tolerance,
                         Position* out) noexcept {
    const double rx = p2.x - p1.x;
    const double ry = p2.y - p1.y;
    const double sx = q2.x - q1.x;
    const double sy = q2.y - q1.y;
    const double denominator = rx * sy - ry * sx;
    if (std::abs(denominator) > tolerance) {
        const double dx = q1.x - p1.x;
        const double dy = q1.y - p1.y;
        const double t = (dx * sy - sx * dy) / denominator;
        if (t < -tolerance || t > 1.0 + tolerance) {
            return false;
        }
        const double u = (dx * ry - dy * rx) / denominator;
        if (u < -tolerance || u > 1.0 + tolerance) {
            return false;
        }
        if (out != nullptr) {
            *out = {p1.x + t * rx, p1.y + t * ry};
        }
        return true;
    }
    const auto meetAt = [out](Position point) {
        if (out != nullptr) {
            *out = point;
        }
        return true;
    };
    return (onSegment(p1, q1, q2, tolerance) && meetAt(p1)) ||
           (onSegment(p2, q1, q2, tolerance) && meetAt(p2)) ||
           (onSegment(q1, p1, p2, tolerance) && meetAt(q1)) ||
           (onSegment(q2, p1, p2, tolerance) && meetAt(q2));
}

inline bool segmentsMeetProperly(Position p1, Position p2, Position q1, Position q2,
                                 double tolerance) noexcept {
    Position point{};
    return segmentsMeet(p1, p2, q1, q2, tolerance, &point) && !samePoint(point, p1, tolerance) &&
           !samePoint(point, p2, tolerance) && !samePoint(point, q1, tolerance) &&
           !samePoint(point, q2, tolerance);
}

/// About where two segments meet that are known to cross. Of nearly collinear ones rounding may leave any
/// quotient, or none; so the place is put into what the true one cannot be outside of, the segment and both
/// boxes, which brings it only nearer.
inline Position crossingOf(Position p1, Position p2, Position q1, Position q2) noexcept {
    const double rx = p2.x - p1.x;
    const double ry = p2.y - p1.y;
    const double sx = q2.x - q1.x;
    const double sy = q2.y - q1.y;
    const double quotient = ((q1.x - p1.x) * sy - (q1.y - p1.y) * sx) / (rx * sy - ry * sx);
    const double t = quotient >= 0.0 ? std::min(quotient, 1.0) : 0.0; // not a number: 0
    const auto within = [](double at, double p, double pOther, double q, double qOther) {
        const double low = std::max(std::min(p, pOther), std::min(q, qOther));
        const double high = std::min(std::max(p, pOther), std::max(q, qOther));
        return std::min(std::max(at, low), high);
    };
    return {within(p1.x + t * rx, p1.x, p2.x, q1.x, q2.x), within(p1.y + t * ry, p1.y, p2.y, q1.y, q2.y)};
}

} // namespace Cartolith::Core::Topology::Internal
