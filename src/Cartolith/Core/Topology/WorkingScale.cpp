#include <Cartolith/Core/Topology/BoundaryInternal.h>
#include <Cartolith/Core/Topology/RingMeasuresInternal.h>
#include <Cartolith/Core/Topology/SegmentListInternal.h>
#include <Cartolith/Core/Topology/WorkingScaleInternal.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Topology::Internal {

double workingScale(const Shapes::GisShape& shape) {
    const QList<QList<Shapes::GisShapePoint>>* const parts = partsOf(shape);
    double largest = 0.0;
    for (qsizetype i = 0; parts != nullptr && i < parts->size(); ++i) {
        for (const Shapes::GisShapePoint& vertex : parts->at(i)) {
            if (isFinite(vertex)) {
                largest = std::max({largest, std::fabs(vertex.x()), std::fabs(vertex.y())});
            }
        }
    }
    if (largest == 0.0 || (largest >= 1e-100 && largest <= 1e100)) {
        return 1.0;
    }
    // Small ones beside large ones keep their bits as far as that goes.
    return std::ldexp(1.0, std::clamp((largest > 1.0 ? 100 : 0) - std::ilogb(largest), -1000, 1000));
}

std::unique_ptr<Shapes::GisShape> scaledCopy(const Shapes::GisShape& shape, double scale) {
    std::unique_ptr<Shapes::GisShape> copy = shape.clone();
    if (QList<QList<Shapes::GisShapePoint>>* const parts = mutablePartsOf(*copy)) {
        for (QList<Shapes::GisShapePoint>& part : *parts) {
            for (Shapes::GisShapePoint& vertex : part) {
                vertex = Shapes::GisShapePoint(vertex.x() * scale, vertex.y() * scale);
            }
        }
    }
    return copy;
}

} // namespace Cartolith::Core::Topology::Internal
