#pragma once

#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Shapes/GisExtent.h>

namespace Cartolith::Core::Layers::Internal {

/// The extent that the source keeps ready; empty when it would have to read everything to know, and where
/// there is no shape: an empty Shapefile says zero, a table that was emptied what it was before.
Shapes::GisExtent storedExtent(OGRLayer& layer, bool hasShapes);

} // namespace Cartolith::Core::Layers::Internal
