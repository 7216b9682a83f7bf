#pragma once

class OGRSpatialReference;

namespace Cartolith::Core::Shapes {
class GisExtent;
}

namespace Cartolith::Core::Layers::Internal {

struct OgrFormat;

/// Tries with a file in memory, of one point, that what is read again of a coordinate system puts positions
/// where they were, to a millimetre on WGS 84, and has the same ellipsoid: names and codes may be others. The
/// extent, which may be empty, says which positions.
/// \throws std::runtime_error with the reason alone, where it does not
void requireSystemKept(const OgrFormat& format, const OGRSpatialReference& system,
                       const Shapes::GisExtent& extent);

} // namespace Cartolith::Core::Layers::Internal
