#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>

#include <numeric>

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
    QList<qsizetype> counts(items.size(), 0);
    qsizetype untold = 0;
    for (const Shapes::GisShape* feature : features) {
        if (feature == nullptr) {
            continue;
        }
        const qsizetype index = legendIndexForFeature(GisSymbolContext(*feature));
        if (index >= 0 && index < counts.size()) {
            ++counts[index];
        } else {
            ++untold;
        }
    }
    const bool isTold = untold == 0 || std::accumulate(counts.cbegin(), counts.cend(), qsizetype(0)) > 0;
    for (qsizetype i = 0; i < items.size(); ++i) {
        items[i].count = isTold ? counts[i] : -1; // nobody takes it for none then
    }
    return items;
}

} // namespace Cartolith::Core::Symbology
