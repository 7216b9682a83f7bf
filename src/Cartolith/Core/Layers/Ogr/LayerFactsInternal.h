#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

#include <memory>

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

namespace Cartolith::Core::Layers::Internal {

/// The extent that the source keeps ready; empty when it would have to read everything to know.
Shapes::GisExtent storedExtent(OGRLayer& layer);
/// The coordinate system of a layer; null when it names none.
std::shared_ptr<CoordinateSystems::CoordinateSystem> coordinateSystemOf(OGRLayer& layer);

} // namespace Cartolith::Core::Layers::Internal
