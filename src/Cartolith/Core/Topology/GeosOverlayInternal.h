#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Topology/GisTopologyCombineType.h>

#include <memory>
#include <vector>

/// Overlay by GEOS, reached through OGR. What GEOS refuses is made valid and tried again;
/// std::runtime_error with GEOS's reason when that does not help either.
namespace Cartolith::Core::Topology::Internal {

/// How the text of each failure begins.
inline constexpr const char* overlayFailing = "Overlay failed: ";

/// A line of parts without length, which is how overlay returns several points.
bool isSeveralPoints(const Shapes::GisShape& shape);

/// What GEOS can work with: vertices it cannot take are left out, several points are these points. Null for a
/// class of shape that is not ours.
Common::Internal::GeometryPtr operandOf(const Shapes::GisShape& shape);

/// By structure, a ring covers what it encloses; by lines, an edge has area on one side only, so that what is
/// covered twice is not covered.
enum class ValidMethod { Structure, Lines };

class GeosInterrupt;

/// `interrupt` may be null; when not, it is one that lives around the call. \throws what its check() throws
Common::Internal::GeometryPtr geosOverlay(const OGRGeometry& a, const OGRGeometry& b,
                                          GisTopologyCombineType type, const GeosInterrupt* interrupt);

/// The same of inputs made valid first: GEOS takes some shapes that cross themselves, and gets them wrong.
Common::Internal::GeometryPtr geosOverlayMadeValid(const OGRGeometry& a, const OGRGeometry& b,
                                                   GisTopologyCombineType type, ValidMethod method,
                                                   const GeosInterrupt* interrupt);

/// The union of polygons and multipolygons, by a tree of unions of neighbours.
Common::Internal::GeometryPtr geosUnion(std::vector<Common::Internal::GeometryPtr> polygons,
                                        const GeosInterrupt& interrupt);

/// One shape for a result: its parts of the highest dimension, lower ones dropped, and only areas if those
/// are asked for. Several points are a line with a part of two equal vertices for each. Without any part,
/// null.
std::unique_ptr<Shapes::GisShape> overlayShapeOf(Common::Internal::GeometryPtr geometry, bool areasOnly);

} // namespace Cartolith::Core::Topology::Internal
