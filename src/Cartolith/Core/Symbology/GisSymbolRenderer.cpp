#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

namespace Cartolith::Core::Symbology {

GisSymbolRenderer::~GisSymbolRenderer() = default;

QList<GisSymbolLegendItem> GisSymbolRenderer::legendItems() const {
    return {};
}

bool GisSymbolRenderer::usesFeatureAttributes() const {
    return true;
}

} // namespace Cartolith::Core::Symbology
