#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/SegmentTestsInternal.h>

namespace Cartolith::Core::Topology {

using Internal::positionOf;
using Shapes::GisShapePoint;

bool GisTopology::CloseTo(double a, double b, double tolerance) noexcept {
    return tolerance >= std::abs(a - b);
}

bool GisTopology::SamePoint(const GisShapePoint& a, const GisShapePoint& b, double tolerance) noexcept {
    return Internal::samePoint(positionOf(a), positionOf(b), tolerance);
}

double GisTopology::Cross(const GisShapePoint& o, const GisShapePoint& a, const GisShapePoint& b) noexcept {
    return (a.x() - o.x()) * (b.y() - o.y()) - (b.x() - o.x()) * (a.y() - o.y());
}

double GisTopology::DistancePointToSegment(const GisShapePoint& p, const GisShapePoint& a,
                                           const GisShapePoint& b) noexcept {
    return Internal::distanceToSegment(positionOf(p), positionOf(a), positionOf(b));
}

bool GisTopology::PointOnSegment(const GisShapePoint& p, const GisShapePoint& a, const GisShapePoint& b,
                                 double tolerance) noexcept {
    return Internal::onSegment(positionOf(p), positionOf(a), positionOf(b), tolerance);
}

bool GisTopology::SegmentIntersectionPoint(const GisShapePoint& p1, const GisShapePoint& p2,
                                           const GisShapePoint& q1, const GisShapePoint& q2, double tolerance,
                                           GisShapePoint* out) {
    Internal::Position point{};
    if (!Internal::segmentsMeet(positionOf(p1), positionOf(p2), positionOf(q1), positionOf(q2), tolerance,
                                &point)) {
        return false;
    }
    if (out != nullptr) {
        out->setX(point.x);
        out->setY(point.y);
    }
    return true;
}

bool GisTopology::ProperSegmentIntersection(const GisShapePoint& p1, const GisShapePoint& p2,
                                            const GisShapePoint& q1, const GisShapePoint& q2,
                                            double tolerance) {
    return Internal::segmentsMeetProperly(positionOf(p1), positionOf(p2), positionOf(q1), positionOf(q2),
                                          tolerance);
}

} // namespace Cartolith::Core::Topology
