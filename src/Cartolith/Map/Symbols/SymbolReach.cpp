#include <Cartolith/Core/Layers/GisLayer.h>
#include <Cartolith/Core/Symbology/GisFeatureSymbol.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>
#include <Cartolith/Map/Symbol.h>
#include <Cartolith/Map/Symbols/SaneSizeInternal.h>
#include <Cartolith/Map/Symbols/SymbolReachInternal.h>

#include <algorithm>

namespace Cartolith::Map::Internal {

using Core::Layers::GisLayerStyle;

namespace {

/// Of any feature with the style.
double farthestReachOf(const GisLayerStyle& style) {
    const double sizes = Core::Symbology::GisFeatureSymbol::fieldsOf(style).isEmpty()
                             ? 0.0
                             : saneSize(std::max(style.sizeFrom(), style.sizeTo()));
    constexpr double mitre = 2.0; // widths
    return Symbol(style).reach() + mitre * sizes;
}

} // namespace

double farthestReach(const Core::Layers::GisLayer& layer) {
    double reach = farthestReachOf(layer.style());
    if (const Core::Symbology::GisSymbolRenderer* const renderer = layer.symbolRenderer()) {
        constexpr double unknown = 64.0;
        reach = std::max(reach, unknown);
        for (const Core::Symbology::GisSymbolLegendItem& item : renderer->legendItems()) {
            reach = std::max(reach, farthestReachOf(item.style));
        }
    }
    return reach;
}

} // namespace Cartolith::Map::Internal
