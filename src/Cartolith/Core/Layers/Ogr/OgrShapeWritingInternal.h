#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

namespace Cartolith::Core::Layers::Internal {

/// What a file keeps of a shape: null for an empty one, else its OGR geometry.
/// \throws std::runtime_error for a coordinate that is not finite, and for a part that the formats do not
/// have (a line of one vertex, a ring of two)
Common::Internal::GeometryPtr savedGeometryOf(const Shapes::GisShape& shape);

/// The geometry as a multi geometry when the type is that of several of its kind; else as it is.
Common::Internal::GeometryPtr promoted(Common::Internal::GeometryPtr geometry, OGRwkbGeometryType type);

/// Gives a feature its geometry. \throws std::runtime_error when its layer has none
void place(Common::Internal::GeometryPtr geometry, OGRFeature& feature);

/// Whether the shapes are of one class and have the same vertices in the same order.
bool haveSameGeometry(const Shapes::GisShape& a, const Shapes::GisShape& b);

} // namespace Cartolith::Core::Layers::Internal
