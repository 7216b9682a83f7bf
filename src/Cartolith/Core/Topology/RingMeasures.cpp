#include <Cartolith/Core/Topology/RingMeasuresInternal.h>

#include <cmath>

namespace Cartolith::Core::Topology::Internal {

double lengthOf(const QList<Shapes::GisShapePoint>& part) {
    CompensatedSum sum;
    for (qsizetype i = 1; i < part.size(); ++i) {
        sum.add(std::hypot(part[i].x() - part[i - 1].x(), part[i].y() - part[i - 1].y()));
    }
    return sum.value();
}

} // namespace Cartolith::Core::Topology::Internal
