#include <Cartolith/Core/Topology/GisTopology.h>
#include <Cartolith/Core/Topology/RelationInternal.h>

#include <algorithm>
#include <iterator>

namespace Cartolith::Core::Topology {

using Internal::Passing;
using Internal::Relation;
using Internal::Work;
using Shapes::GisShape;
using Shapes::GisShapePoint;

QList<QList<GisShapePoint>> GisTopology::BoundaryPartsOf(const GisShape& shape) {
    if (const auto* parts = Internal::partsOf(shape)) {
        return *parts;
    }
    const auto* point = dynamic_cast<const GisShapePoint*>(&shape);
    return point != nullptr && !point->isEmpty() ? QList<QList<GisShapePoint>>{{*point}}
                                                 : QList<QList<GisShapePoint>>();
}

QList<GisShapePoint> GisTopology::VerticesOf(const GisShape& shape) {
    QList<GisShapePoint> vertices;
    const QList<QList<GisShapePoint>> parts = BoundaryPartsOf(shape);
    for (const QList<GisShapePoint>& part : parts) {
        std::copy_if(part.begin(), part.end(), std::back_inserter(vertices),
                     [](const GisShapePoint& vertex) { return !vertex.isEmpty(); });
    }
    return vertices;
}

bool GisTopology::ContainsPoint(const GisShape& shape, const GisShapePoint& p, double tolerance) {
    return shape.contains(p, tolerance) || PointOnBoundary(shape, p, tolerance);
}

bool GisTopology::PointOnBoundary(const GisShape& shape, const GisShapePoint& p, double tolerance) {
    const Internal::Position position = Internal::positionOf(p);
    const auto* parts = Internal::partsOf(shape);
    if (parts == nullptr) {
        const auto* point = dynamic_cast<const GisShapePoint*>(&shape);
        return point != nullptr && !point->isEmpty() && SamePoint(*point, p, tolerance);
    }
    return std::any_of(parts->begin(), parts->end(), [&](const QList<GisShapePoint>& part) {
        if (part.size() == 1) {
            return SamePoint(part.first(), p, tolerance);
        }
        for (qsizetype i = 1; i < part.size(); ++i) {
            if (Internal::onSegment(position, Internal::positionOf(part[i - 1]),
                                    Internal::positionOf(part[i]), tolerance)) {
                return true;
            }
        }
        return false;
    });
}

bool GisTopology::BoundariesIntersect(const GisShape& a, const GisShape& b, double tolerance,
                                      bool properOnly) {
    const Passing operandA(a, tolerance);
    const Passing operandB(b, tolerance);
    Work work(nullptr);
    Relation relation(operandA, operandB, work);
    return properOnly ? relation.boundariesMeetProperly() : relation.boundariesMeet();
}

bool GisTopology::ShapeWithin(const GisShape& a, const GisShape& b, double tolerance) {
    const Passing operandA(a, tolerance);
    const Passing operandB(b, tolerance);
    Work work(nullptr);
    return Relation(operandA, operandB, work).aInB();
}

bool GisTopology::HasInteriorPointInOther(const GisShape& a, const GisShape& b, double tolerance) {
    const Passing operandA(a, tolerance);
    const Passing operandB(b, tolerance);
    Work work(nullptr);
    return Relation(operandA, operandB, work).aInsideB();
}

bool GisTopology::SameGeometry(const GisShape& a, const GisShape& b, double tolerance) {
    const Passing operandA(a, tolerance);
    const Passing operandB(b, tolerance);
    Work work(nullptr);
    return Relation(operandA, operandB, work).equal();
}

} // namespace Cartolith::Core::Topology
