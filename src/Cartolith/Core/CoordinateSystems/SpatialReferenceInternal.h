#pragma once

#include <memory>

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

/// Whether what GDAL found in a source is a system: not where it is null, nor where its name says that it is
/// undefined, as those of a GeoPackage's numbers 0 and -1 and of .prj files made from them.
bool isDefined(const OGRSpatialReference* found);

/// The system that GDAL found in a source; null where that is none, or none that the factory takes.
std::shared_ptr<CoordinateSystem> systemFound(const OGRSpatialReference* found);

} // namespace Internal
} // namespace Cartolith::Core::CoordinateSystems
