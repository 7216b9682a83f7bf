#pragma once

#include <Cartolith/Core/Layers/GisFeatureRequest.h>

#include <QString>

namespace Cartolith::Core::Layers::Internal {

/// The text by which OGR connects to a PostgreSQL server, with the limits that it does not name itself; any
/// other source as it is.
QString withServerLimits(const QString& source, const GisFeatureRequest::ServerLimits& limits);

} // namespace Cartolith::Core::Layers::Internal
