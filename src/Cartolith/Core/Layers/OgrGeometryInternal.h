#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Shapes/GisShape.h>

#include <QString>

#include <memory>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

struct OgrShapes {
    std::vector<std::unique_ptr<Shapes::GisShape>> shapes;
    QString problem; ///< why something could not be taken; empty when everything was
};

/// The shapes that a geometry amounts to in a planar model of points, polylines and polygons: curves become
/// lines, Z and M go, each member of a multipoint is a point of its own, a collection gives its points, one
/// polyline and one polygon. Holes are wound opposite to their shell. Empty members give nothing.
OgrShapes shapesOf(Common::Internal::GeometryPtr geometry);

} // namespace Cartolith::Core::Layers::Internal
