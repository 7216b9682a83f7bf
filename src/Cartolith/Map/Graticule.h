#pragma once

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/MapView.h>

#include <QList>
#include <QPolygonF>

namespace Cartolith::Map {

/// The lines of longitude and latitude of a map, and the outline of a whole-world map, in pixels of a view.
///
/// Lines are cut where the map ends (at its antimeridian, its horizon) and bent as the projection bends them,
/// to a quarter of a pixel.
class CARTOLITH_MAP_EXPORT Graticule {
public:
    /// A piece of a line; one that is cut has several.
    struct Line {
        bool isMeridian = false;
        double degrees = 0.0; ///< longitude or latitude, from -180 to 180
        QPolygonF pixels;
    };

    /// Lines every so many degrees, chosen for the view when the step is 0 or leads to more than a thousand
    /// lines: round numbers of degrees, minutes or seconds. No lines in a view that cannot be used, and where
    /// the map has no place in degrees. Makes transformations of PROJ, which is slow.
    Graticule(const Core::CoordinateSystems::CoordinateSystem& map, const MapView& view,
              double stepDegrees = 0.0);

    const QList<Line>& degreeLines() const { return m_degreeLines; }
    /// The same without their degrees.
    QList<QPolygonF> lines() const;

    /// Between two meridians, and between two parallels, in degrees.
    double meridianStep() const { return m_meridianStep; }
    double parallelStep() const { return m_parallelStep; }

    /// The edge of the area the coordinate system is made for, if that goes all around the world or PROJ does
    /// not say; else empty.
    const QPolygonF& worldOutline() const { return m_outline; }

private:
    QList<Line> m_degreeLines;
    QPolygonF m_outline;
    double m_meridianStep = 0.0;
    double m_parallelStep = 0.0;
};

} // namespace Cartolith::Map
