#pragma once

#include <Cartolith/Map/LayerSnapshot.h>
#include <Cartolith/Map/MapView.h>

#include <span>

namespace Cartolith::Map::Picking::Internal {

/// A place and where it is on a line between two others.
struct Nearest {
    QPointF place;
    double distance = 0.0;
};
/// The place of a segment that is nearest to a point; NaN when one of the three is.
Nearest nearestOnSegment(QPointF from, QPointF to, QPointF point);

/// How far a shape in map units is from a pixel of the view, in pixels: of an area 0 inside, by the even-odd
/// rule. Infinite where nothing of it can be measured.
double pixelDistance(LayerSnapshot::Kind kind, std::span<const double> coordinates,
                     std::span<const qsizetype> ends, const MapView& view, QPointF pixel);

} // namespace Cartolith::Map::Picking::Internal
