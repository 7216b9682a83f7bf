#pragma once

#include <Cartolith/Map/Export.h>

#include <memory>

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
class CoordinateTransformer;
} // namespace Cartolith::Core::CoordinateSystems

namespace Cartolith::Map {

/// How long a unit of a map is on the ground, at a place: what scales, scale bars and lengths in metres are
/// made of.
///
/// Measured along the map's x axis, as a scale bar lies: a degree of longitude at 60 degrees north is half as
/// long as one at the equator, and a metre of Web Mercator too. Where x leads nowhere (the poles of a map in
/// degrees), along y. Lengths are on the ellipsoid WGS 84, to a few millionths, whatever datum the system
/// has.
///
/// Making one makes two transformations of PROJ, which is slow; keep it with the map. Not for use by several
/// threads at once.
class CARTOLITH_MAP_EXPORT GroundScale {
public:
    /// Of a system that may be null: then a unit is a metre everywhere.
    /// \throws std::runtime_error when PROJ does not know the system
    explicit GroundScale(std::shared_ptr<const Core::CoordinateSystems::CoordinateSystem> system);
    ~GroundScale();
    GroundScale(GroundScale&& other) noexcept;
    GroundScale& operator=(GroundScale&& other) noexcept;

    /// NaN where the map has no place on the ground, and for NaN.
    double metersPerUnitAt(double x, double y) const;
    /// In another direction than x: so many degrees counterclockwise from it.
    double metersPerUnitAlong(double x, double y, double degrees) const;

private:
    std::shared_ptr<const Core::CoordinateSystems::CoordinateSystem> m_system;
    std::unique_ptr<Core::CoordinateSystems::CoordinateTransformer>
        m_toDegrees; // null when there is no system
};

} // namespace Cartolith::Map
