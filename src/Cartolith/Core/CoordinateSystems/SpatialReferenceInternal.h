#pragma once

class OGRSpatialReference;
class QString;

namespace Cartolith::Core::CoordinateSystems {

class CoordinateSystem;

namespace Internal {

/// Fills `target` from the EPSG code, or from the definition when there is no code; x before y. False when
/// GDAL cannot make a system of it.
bool toSpatialReference(const CoordinateSystem& system, OGRSpatialReference& target);

/// Fills `target` from any text that OGR takes as user input, but for a text that names a file or a place in
/// the network to read the system from. False when GDAL cannot make a system of it.
bool setFromText(OGRSpatialReference& target, const QString& text);

} // namespace Internal
} // namespace Cartolith::Core::CoordinateSystems
