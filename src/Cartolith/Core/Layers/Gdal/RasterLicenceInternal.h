#pragma once

class GDALDataset;
class QString;

namespace Cartolith::Core::Layers::Internal {

/// Throws when the raster, or a source of a virtual raster at any depth, is read by a driver for which the
/// licence has no permission. \throws std::runtime_error with the path, the reason and the way out
void requireLicence(GDALDataset& raster, const QString& path);

} // namespace Cartolith::Core::Layers::Internal
