#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <QString>

#include <memory>
#include <vector>

namespace Cartolith::Core::Serialization::Ogr::Internal {

struct OgrShapes {
    std::vector<std::unique_ptr<Shapes::GisShape>> shapes;
    QString problem; ///< why something could not be taken; empty when everything was
};

/// The shapes that a geometry amounts to in a planar model of points, polylines and polygons: curves become
/// lines, Z and M go, each member of a multipoint is a point of its own, a collection gives its points, one
/// polyline and one polygon. Holes are wound opposite to their shell. Empty members give nothing.
OgrShapes shapesOf(Common::Internal::GeometryPtr geometry);

/// The shape as a point, a line string or a polygon, or the multi geometry of several; without a part, the
/// empty multi geometry, and for the empty point the empty point. Rings are told apart as shells and holes by
/// nesting, whichever way they run. Vertices with a NaN, line parts of fewer than two vertices and rings of
/// fewer than three are left out. Null for a shape of another class.
Common::Internal::GeometryPtr geometryOf(const Shapes::GisShape& shape);

} // namespace Cartolith::Core::Serialization::Ogr::Internal
