#pragma once

class OGRSpatialReference;

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

namespace Cartolith::Core::Shapes {
class GisExtent;
}

namespace Cartolith::Core::Layers::Internal {

struct OgrFormat;

/// Tries with a file in memory, of two points, that what is read again of a coordinate system puts positions
/// where they were, to a millimetre on WGS 84, and has the same ellipsoid: names and codes may be others. The
/// extent, which may be empty, says which positions. A format that writes codes keeps a system that has one;
/// any other is tried once in a process.
/// \throws std::runtime_error with the reason alone, where it does not
void requireSystemKept(const OgrFormat& format, const OGRSpatialReference& system,
                       const Shapes::GisExtent& extent);
/// The same of what was read again, null for nothing.
void requireSameSystem(const OGRSpatialReference& system, const CoordinateSystems::CoordinateSystem* kept,
                       const Shapes::GisExtent& extent);

/// Whether it is longitude and latitude on WGS 84, under whatever name, with or without heights.
bool isLongLatOfWgs84(const OGRSpatialReference& system);

} // namespace Cartolith::Core::Layers::Internal
