#pragma once

#include <Cartolith/Map/Export.h>
#include <Cartolith/Map/SheetColours.h>

#include <QString>

#include <optional>

class QPainter;
class QRectF;

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

namespace Cartolith::Map {
class MapView;
}

namespace Cartolith::Map::Furniture {

/// Where true north is at the middle of a map, by its projection and its rotation, as an arrow.
///
/// Elsewhere on the map north is somewhere else, unless meridians are straight and parallel. It is nowhere at
/// the poles, outside of the projection, and on a map without a coordinate system: then there is no arrow,
/// and problem() says why.
class CARTOLITH_MAP_EXPORT NorthArrow {
public:
    /// The system may be null. Makes transformations of PROJ, which is slow.
    NorthArrow(const Core::CoordinateSystems::CoordinateSystem* system, const MapView& view);

    /// Clockwise from the top of the picture, in degrees, above -180 to 180.
    std::optional<double> angle() const { return m_angle; }
    /// Empty when there is an angle.
    const QString& problem() const { return m_problem; }

    /// In the middle of the place, as large as it allows. Nothing where north is undefined.
    void draw(QPainter& painter, const QRectF& place, const SheetColours& colours) const;

private:
    std::optional<double> m_angle;
    QString m_problem;
};

} // namespace Cartolith::Map::Furniture
