#pragma once

#include <Cartolith/Map/Drawing/WatchInternal.h>
#include <Cartolith/Map/MapView.h>

#include <QPointF>

#include <span>
#include <vector>

namespace Cartolith::Map::Raster::Internal {

/// One part of a feature in pixels of the canvas.
class FlatPath {
public:
    explicit FlatPath(const MapView& view);

    /// Reads a part; false when there is none, or one is not finite or a billion screens away. A last vertex
    /// that repeats the first is left out of closed ones.
    bool read(std::span<const double> coordinates, bool isClosed, const Map::Internal::Watch& watch);

    const std::vector<QPointF>& points() const { return m_points; }
    double left() const { return m_left; }
    double right() const { return m_right; }
    double top() const { return m_top; }
    double bottom() const { return m_bottom; }

private:
    QPointF m_center;        // of the view: map units
    QPointF m_middle;        // and its pixel
    double m_cosine, m_sine; // in pixels for a unit
    std::vector<QPointF> m_points;
    double m_left = 0.0, m_right = 0.0, m_top = 0.0, m_bottom = 0.0;
};

} // namespace Cartolith::Map::Raster::Internal
