#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

namespace Cartolith::Core::Symbology {

/// One style for everything.
class CARTOLITH_CORE_EXPORT GisSimpleSymbolRenderer : public GisSymbolRenderer {
public:
    GisSimpleSymbolRenderer() = default;
    explicit GisSimpleSymbolRenderer(Layers::GisLayerStyle style);

    const Layers::GisLayerStyle& style() const noexcept { return m_style; }
    void setStyle(const Layers::GisLayerStyle& style) { m_style = style; }

    GisSymbolRendererType type() const override;
    Layers::GisLayerStyle styleForFeature(const GisSymbolContext& context) const override;
    std::unique_ptr<GisSymbolRenderer> clone() const override;
    /// The one style, without a label: a host puts the layer's name there.
    QList<GisSymbolLegendItem> legendItems() const override;
    bool usesFeatureAttributes() const override;
    qsizetype legendIndexForFeature(const GisSymbolContext& context) const override;

private:
    Layers::GisLayerStyle m_style;
};

} // namespace Cartolith::Core::Symbology
