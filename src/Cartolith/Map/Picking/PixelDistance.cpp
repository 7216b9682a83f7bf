#include <Cartolith/Map/Picking/PixelDistanceInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Cartolith::Map::Picking::Internal {

Nearest nearestOnSegment(QPointF from, QPointF to, QPointF point) {
    const QPointF along = to - from;
    const double length = QPointF::dotProduct(along, along);
    const double share =
        length > 0.0 ? std::clamp(QPointF::dotProduct(point - from, along) / length, 0.0, 1.0) : 0.0;
    const QPointF place = share == 1.0 ? to : from + along * share;
    return {place, std::hypot(place.x() - point.x(), place.y() - point.y())};
}

double pixelDistance(LayerSnapshot::Kind kind, std::span<const double> coordinates,
                     std::span<const qsizetype> ends, const MapView& view, QPointF pixel) {
    double nearest = std::numeric_limits<double>::infinity();
    bool isInside = false;
    const auto vertex = [&](qsizetype i) {
        const auto at = static_cast<std::size_t>(2 * i);
        return view.toPixel(coordinates[at], coordinates[at + 1]) - pixel;
    };
    const auto look = [&](QPointF a, QPointF b) {
        const double distance = nearestOnSegment(a, b, {}).distance;
        if (distance < nearest) { // not NaN
            nearest = distance;
        }
        const bool isAcross = (a.y() > 0.0) != (b.y() > 0.0);
        if (isAcross && a.x() + (b.x() - a.x()) * (a.y() / (a.y() - b.y())) > 0.0) {
            isInside = !isInside;
        }
    };
    qsizetype first = 0;
    for (const qsizetype end : ends) {
        if (end > first) {
            QPointF before = vertex(kind == LayerSnapshot::Kind::Area ? end - 1 : first);
            for (qsizetype i = first; i < end; ++i) {
                const QPointF here = vertex(i);
                look(before, here);
                before = here;
            }
        }
        first = end;
    }
    return kind == LayerSnapshot::Kind::Area && isInside ? 0.0 : nearest;
}

} // namespace Cartolith::Map::Picking::Internal
