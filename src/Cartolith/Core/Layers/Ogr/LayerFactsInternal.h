#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

namespace Cartolith::Core::Layers::Internal {

/// The extent that the source keeps ready; empty when it would have to read everything to know.
Shapes::GisExtent storedExtent(OGRLayer& layer);

} // namespace Cartolith::Core::Layers::Internal
