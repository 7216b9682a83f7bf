#include <Cartolith/Core/Shapes/CompensatedSumInternal.h>
#include <Cartolith/Core/Shapes/RingAreaInternal.h>

namespace Cartolith::Core::Shapes::Internal {

double signedArea(const QList<GisShapePoint>& ring, qsizetype from, double scale) {
    CompensatedSum twice;
    const qsizetype size = ring.size();
    if (size < 3) {
        return 0.0;
    }
    const double originX = ring[from].x() * scale;
    const double originY = ring[from].y() * scale;
    double ax = 0.0;
    double ay = 0.0;
    for (qsizetype i = 1; i < size; ++i) {
        const GisShapePoint& vertex = ring[i < size - from ? from + i : from + i - size];
        const double bx = vertex.x() * scale - originX;
        const double by = vertex.y() * scale - originY;
        twice.add(ax * by);
        twice.add(-ay * bx);
        ax = bx;
        ay = by;
    }
    return twice.value() / 2;
}

} // namespace Cartolith::Core::Shapes::Internal
