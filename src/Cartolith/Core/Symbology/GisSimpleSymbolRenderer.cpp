#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>

#include <utility>

namespace Cartolith::Core::Symbology {

GisSimpleSymbolRenderer::GisSimpleSymbolRenderer(Layers::GisLayerStyle style) : m_style(std::move(style)) {}

GisSymbolRendererType GisSimpleSymbolRenderer::type() const {
    return GisSymbolRendererType::Simple;
}

Layers::GisLayerStyle GisSimpleSymbolRenderer::styleForFeature(const GisSymbolContext& /*context*/) const {
    return m_style;
}

std::unique_ptr<GisSymbolRenderer> GisSimpleSymbolRenderer::clone() const {
    return std::make_unique<GisSimpleSymbolRenderer>(m_style);
}

QList<GisSymbolLegendItem> GisSimpleSymbolRenderer::legendItems() const {
    return {{QString(), m_style}};
}

qsizetype GisSimpleSymbolRenderer::legendIndexForFeature(const GisSymbolContext& /*context*/) const {
    return 0;
}

bool GisSimpleSymbolRenderer::usesFeatureAttributes() const {
    return false;
}

} // namespace Cartolith::Core::Symbology
