#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <limits>

namespace Cartolith::Core::Topology {

/// Where two shapes come closest.
struct GisNearestPoints {
    double distance = std::numeric_limits<double>::infinity();
    Shapes::GisShapePoint onFirst;  ///< empty when there is no distance
    Shapes::GisShapePoint onSecond; ///< the same point as onFirst when the shapes meet
};

} // namespace Cartolith::Core::Topology
