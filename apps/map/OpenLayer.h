#pragma once

#include <QString>

namespace Cartolith::Core::Layers {
class GisLayerGdalRaster;
class GisLayerOgrVector;
class GisLayerVector;
} // namespace Cartolith::Core::Layers

/// Opens the layer with a progress bar on the terminal. \throws std::runtime_error as the layer's open() does
void openWithProgress(Cartolith::Core::Layers::GisLayerOgrVector& layer);

/// Whether to read the source as a raster: it is one, and holds no vector layers. False when GDAL knows it as
/// neither; opening it says why.
bool isRasterFile(const QString& path);

/// "177 shapes (Polygon), 10 fields, 2 without a usable geometry".
QString summary(const Cartolith::Core::Layers::GisLayerOgrVector& layer);

/// "111 x 111 pixels, 1 band (Int16)".
QString summary(const Cartolith::Core::Layers::GisLayerGdalRaster& layer);

/// "Polygon", "mixed", ...
QString kindName(const Cartolith::Core::Layers::GisLayerVector& layer);
