#include <Cartolith/Core/Topology/CompensatedSumInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>

#include <cmath>

namespace Cartolith::Core::Topology::Internal {

using Shapes::GisShapePoint;

double signedArea(const QList<GisShapePoint>& ring) {
    CompensatedSum twice;
    for (qsizetype i = 2; i < ring.size(); ++i) {
        const GisShapePoint& origin = ring.constFirst();
        const double ax = ring[i - 1].x() - origin.x();
        const double ay = ring[i - 1].y() - origin.y();
        const double bx = ring[i].x() - origin.x();
        const double by = ring[i].y() - origin.y();
        twice.add(ax * by);
        twice.add(-ay * bx);
    }
    return twice.value() / 2;
}

double lengthOf(const QList<GisShapePoint>& part) {
    CompensatedSum sum;
    for (qsizetype i = 1; i < part.size(); ++i) {
        sum.add(std::hypot(part[i].x() - part[i - 1].x(), part[i].y() - part[i - 1].y()));
    }
    return sum.value();
}

} // namespace Cartolith::Core::Topology::Internal
