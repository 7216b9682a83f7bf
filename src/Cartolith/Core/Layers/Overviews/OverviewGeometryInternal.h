#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>

namespace Cartolith::Core::Layers::Internal {

/// Makes a geometry as coarse as can be seen in pixels of that size: no vertex left out is farther than half
/// a pixel from what is left, parts and holes that are not longer than half a pixel go, and a geometry that
/// is not longer than one becomes the box around it, or for lines its diagonal. Keeps at least one part.
/// Not empty; curves are made linear, Z and M go. Points stay, and so do kinds other than the simple ones
/// and their multi geometries.
Common::Internal::GeometryPtr coarsened(const OGRGeometry& given, double pixel);

} // namespace Cartolith::Core::Layers::Internal
