#pragma once

class OGRSpatialReference;

namespace Cartolith::Core::CoordinateSystems {

class CoordinateSystem;

namespace Internal {

/// Fills `target` from the EPSG code, or from the definition when there is no code; x before y. False when
/// GDAL cannot make a system of it.
bool toSpatialReference(const CoordinateSystem& system, OGRSpatialReference& target);

} // namespace Internal
} // namespace Cartolith::Core::CoordinateSystems
