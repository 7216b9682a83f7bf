#pragma once

#include <QString>

namespace Cartolith::Core::Layers {
class GisLayerOgrVector;
class GisLayerVector;
} // namespace Cartolith::Core::Layers

/// Opens the layer with a progress bar on the terminal. \throws std::runtime_error as the layer's open() does
void openWithProgress(Cartolith::Core::Layers::GisLayerOgrVector& layer);

/// "177 shapes (Polygon), 10 fields, 2 without a usable geometry".
QString summary(const Cartolith::Core::Layers::GisLayerOgrVector& layer);

/// "Polygon", "mixed", ...
QString kindName(const Cartolith::Core::Layers::GisLayerVector& layer);
