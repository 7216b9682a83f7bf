#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

namespace Cartolith::Core::Layers::Internal {

/// What a file keeps of a shape: null for an empty one, else its OGR geometry.
/// \throws std::runtime_error for a coordinate that is not finite, and for a part that the formats do not
/// have (a line of one vertex, a ring of two)
Common::Internal::GeometryPtr savedGeometryOf(const Shapes::GisShape& shape);

/// The geometry as a type says that is not narrower: one as a multi geometry of one.
Common::Internal::GeometryPtr promoted(Common::Internal::GeometryPtr geometry, OGRwkbGeometryType type);

} // namespace Cartolith::Core::Layers::Internal
