#include <Cartolith/Core/Topology/GisTopology.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Cartolith::Core::Topology {

using Shapes::GisShapePoint;

bool GisTopology::CloseTo(double a, double b, double tolerance) noexcept {
    return tolerance >= std::abs(a - b);
}

bool GisTopology::SamePoint(const GisShapePoint& a, const GisShapePoint& b, double tolerance) noexcept {
    const double dx = a.x() - b.x();
    const double dy = a.y() - b.y();
    return tolerance * tolerance >= dx * dx + dy * dy;
}

double GisTopology::Cross(const GisShapePoint& o, const GisShapePoint& a, const GisShapePoint& b) noexcept {
    return (a.x() - o.x()) * (b.y() - o.y()) - (b.x() - o.x()) * (a.y() - o.y());
}

double GisTopology::DistancePointToSegment(const GisShapePoint& p, const GisShapePoint& a,
                                           const GisShapePoint& b) noexcept {
    const double dx = b.x() - a.x();
    const double dy = b.y() - a.y();
    const double square = dx * dx + dy * dy;
    double x = a.x();
    double y = a.y();
    // A NaN goes on to the other branch, and from there into the result.
    if (!(square <= std::numeric_limits<double>::epsilon())) {
        const double t = std::clamp(((p.x() - a.x()) * dx + (p.y() - a.y()) * dy) / square, 0.0, 1.0);
        x += t * dx;
        y += t * dy;
    }
    return std::sqrt((p.x() - x) * (p.x() - x) + (p.y() - y) * (p.y() - y));
}

bool GisTopology::PointOnSegment(const GisShapePoint& p, const GisShapePoint& a, const GisShapePoint& b,
                                 double tolerance) noexcept {
    return DistancePointToSegment(p, a, b) <= tolerance && p.x() >= std::min(a.x(), b.x()) - tolerance &&
           p.x() <= std::max(a.x(), b.x()) + tolerance && p.y() >= std::min(a.y(), b.y()) - tolerance &&
           p.y() <= std::max(a.y(), b.y()) + tolerance;
}

bool GisTopology::SegmentIntersectionPoint(const GisShapePoint& p1, const GisShapePoint& p2,
                                           const GisShapePoint& q1, const GisShapePoint& q2, double tolerance,
                                           GisShapePoint* out) {
    const double rx = p2.x() - p1.x();
    const double ry = p2.y() - p1.y();
    const double sx = q2.x() - q1.x();
    const double sy = q2.y() - q1.y();
    const double denominator = rx * sy - ry * sx;
    if (std::abs(denominator) > tolerance) {
        const double dx = q1.x() - p1.x();
        const double dy = q1.y() - p1.y();
        const double t = (dx * sy - sx * dy) / denominator;
        if (t < -tolerance || t > 1.0 + tolerance) {
            return false;
        }
        const double u = (dx * ry - dy * rx) / denominator;
        if (u < -tolerance || u > 1.0 + tolerance) {
            return false;
        }
        if (out != nullptr) {
            *out = GisShapePoint(p1.x() + t * rx, p1.y() + t * ry);
        }
        return true;
    }
    const auto meetAt = [out](const GisShapePoint& point) {
        if (out != nullptr) {
            *out = GisShapePoint(point.x(), point.y());
        }
        return true;
    };
    if (PointOnSegment(p1, q1, q2, tolerance)) {
        return meetAt(p1);
    }
    if (PointOnSegment(p2, q1, q2, tolerance)) {
        return meetAt(p2);
    }
    if (PointOnSegment(q1, p1, p2, tolerance)) {
        return meetAt(q1);
    }
    return PointOnSegment(q2, p1, p2, tolerance) && meetAt(q2);
}

bool GisTopology::ProperSegmentIntersection(const GisShapePoint& p1, const GisShapePoint& p2,
                                            const GisShapePoint& q1, const GisShapePoint& q2,
                                            double tolerance) {
    GisShapePoint point;
    return SegmentIntersectionPoint(p1, p2, q1, q2, tolerance, &point) && !SamePoint(point, p1, tolerance) &&
           !SamePoint(point, p2, tolerance) && !SamePoint(point, q1, tolerance) &&
           !SamePoint(point, q2, tolerance);
}

} // namespace Cartolith::Core::Topology
