#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>

#include <memory>

namespace Cartolith::Core::Topology::Internal {

/// A power of two that brings the coordinates of a line or an area to a size whose products neither overflow
/// nor underflow; 1 when they are of one.
double workingScale(const Shapes::GisShape& shape);

/// A copy, the coordinates of a line or an area multiplied.
std::unique_ptr<Shapes::GisShape> scaledCopy(const Shapes::GisShape& shape, double scale);

} // namespace Cartolith::Core::Topology::Internal
