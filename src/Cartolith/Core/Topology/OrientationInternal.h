#pragma once

#include <Cartolith/Core/Shapes/OrientationInternal.h>

namespace Cartolith::Core::Topology::Internal {

using Shapes::Internal::orientation;

} // namespace Cartolith::Core::Topology::Internal
