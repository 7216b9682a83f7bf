#pragma once

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/MapView.h>

#include <QList>
#include <QPolygonF>

namespace Cartolith::Map {

/// The lines of longitude and latitude of a map, and the outline of a whole-world map, in pixels of a view.
class CARTOLITH_MAP_EXPORT Graticule {
public:
    /// Lines every so many degrees, chosen for the view when the step is 0.
    Graticule(const Core::CoordinateSystems::CoordinateSystem& map, const MapView& view,
              double stepDegrees = 0.0);

    /// Broken where the projection has no value.
    const QList<QPolygonF>& lines() const { return m_lines; }

    /// The edge of the area the coordinate system is made for, if that goes all around the world; else empty.
    const QPolygonF& worldOutline() const { return m_outline; }

private:
    QList<QPolygonF> m_lines;
    QPolygonF m_outline;
};

} // namespace Cartolith::Map
