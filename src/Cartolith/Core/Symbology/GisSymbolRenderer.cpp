#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

namespace Cartolith::Core::Symbology {

GisSymbolRenderer::~GisSymbolRenderer() = default;

QList<GisSymbolLegendItem> GisSymbolRenderer::legendItems() const {
    return {};
}

bool GisSymbolRenderer::usesFeatureAttributes() const {
    return true;
}

qsizetype GisSymbolRenderer::legendIndexForFeature(const GisSymbolContext& /*context*/) const {
    return -1;
}

QList<GisSymbolLegendItem>
GisSymbolRenderer::countedLegendItems(const QList<Shapes::GisShape*>& features) const {
    QList<GisSymbolLegendItem> items = legendItems();
    for (GisSymbolLegendItem& item : items) {
        item.count = 0;
    }
    for (const Shapes::GisShape* feature : features) {
        const qsizetype index =
            feature != nullptr ? legendIndexForFeature(GisSymbolContext(*feature)) : qsizetype(-1);
        if (index >= 0 && index < items.size()) {
            ++items[index].count;
        }
    }
    return items;
}

} // namespace Cartolith::Core::Symbology
