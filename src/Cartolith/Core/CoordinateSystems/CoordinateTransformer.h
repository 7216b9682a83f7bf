#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

#include <memory>

namespace Cartolith::Core::CoordinateSystems {

class CoordinateSystem;

/// Takes points and shapes from one coordinate system to another, through PROJ.
///
/// x is easting or longitude (degrees), y northing or latitude, on both sides. Edges are not densified: a
/// long straight edge stays straight between its transformed ends. Not for use by several threads at once;
/// give each its own transformer. Making one costs far more than using it.
class CARTOLITH_CORE_EXPORT CoordinateTransformer {
public:
    /// \throws std::runtime_error "Unable to initialize CRS '...' (EPSG:...) with GDAL/PROJ." or "GDAL/PROJ
    /// could not create transformation from '...' to '...'."
    CoordinateTransformer(const CoordinateSystem& source, const CoordinateSystem& target);
    ~CoordinateTransformer();
    CoordinateTransformer(const CoordinateTransformer&) = delete;
    CoordinateTransformer& operator=(const CoordinateTransformer&) = delete;

    /// A new point without id and attributes.
    /// \throws std::runtime_error "GDAL/PROJ coordinate transformation failed." where the target has no
    /// value, and for an x beyond 1e11, which is no coordinate
    Shapes::GisShapePoint transform(const Shapes::GisShapePoint& point) const;

    /// All points in one call of PROJ: same order, same results, without ids and attributes. One point that
    /// cannot be transformed fails the whole list with the exception above.
    QList<Shapes::GisShapePoint> transformPoints(const QList<Shapes::GisShapePoint>& points) const;

    /// A new shape of the same class with the same id and attributes; all vertices go in one call of PROJ.
    /// Throws as transformPoints() does when a vertex cannot be transformed; an empty point stays empty.
    /// \throws std::invalid_argument for a class other than point, polyline and polygon
    std::unique_ptr<Shapes::GisShape> transformShape(const Shapes::GisShape& shape) const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace Cartolith::Core::CoordinateSystems
