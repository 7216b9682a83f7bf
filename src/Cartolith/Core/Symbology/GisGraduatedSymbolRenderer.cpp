#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/LegendInternal.h>
#include <Cartolith/Core/Symbology/RangeSearchInternal.h>

#include <cmath>

namespace Cartolith::Core::Symbology {

GisGraduatedSymbolRenderer::GisGraduatedSymbolRenderer() : GisGraduatedSymbolRenderer(QString()) {}

GisGraduatedSymbolRenderer::GisGraduatedSymbolRenderer(const QString& fieldName)
    : m_fieldName(fieldName), m_search(new Internal::RangeSearch) {}

GisGraduatedSymbolRenderer::GisGraduatedSymbolRenderer(const GisGraduatedSymbolRenderer& other) = default;
GisGraduatedSymbolRenderer&
GisGraduatedSymbolRenderer::operator=(const GisGraduatedSymbolRenderer& other) = default;
GisGraduatedSymbolRenderer::~GisGraduatedSymbolRenderer() = default;

void GisGraduatedSymbolRenderer::addRange(const GisGraduatedSymbolRange& range) {
    m_ranges.append(range);
    const GisGraduatedSymbolRange& added = m_ranges.constLast(); // the other may have been one that moved
    if (!added.enabled) {
        return;
    }
    try {
        m_search->append(added, m_ranges.size() - 1);
    } catch (...) {
        m_ranges.removeLast();
        throw;
    }
}

void GisGraduatedSymbolRenderer::clearRanges() {
    m_search = new Internal::RangeSearch;
    m_ranges = {};
}

GisSymbolRendererType GisGraduatedSymbolRenderer::type() const {
    return GisSymbolRendererType::Graduated;
}

qsizetype GisGraduatedSymbolRenderer::rangeIndex(const GisSymbolContext& context) const {
    bool ok = false;
    const double value = context.attribute(m_fieldName).toDouble(&ok);
    return ok && std::isfinite(value) ? m_search->find(value) : -1;
}

Layers::GisLayerStyle GisGraduatedSymbolRenderer::styleForFeature(const GisSymbolContext& context) const {
    const qsizetype index = rangeIndex(context);
    return index < 0 ? m_defaultStyle : m_ranges.at(index).style;
}

std::unique_ptr<GisSymbolRenderer> GisGraduatedSymbolRenderer::clone() const {
    return std::make_unique<GisGraduatedSymbolRenderer>(*this);
}

QList<GisSymbolLegendItem> GisGraduatedSymbolRenderer::legendItems() const {
    QList<GisSymbolLegendItem> items;
    items.reserve(m_ranges.size() + 1);
    for (const GisGraduatedSymbolRange& range : m_ranges) {
        items.append(
            {range.label.isEmpty() ? GisClassificationEngine::label(range.lower, range.upper) : range.label,
             range.style, range.enabled});
    }
    items.append(Internal::defaultLegendItem(m_defaultStyle));
    return items;
}

qsizetype GisGraduatedSymbolRenderer::legendIndexForFeature(const GisSymbolContext& context) const {
    const qsizetype index = rangeIndex(context);
    return index < 0 ? m_ranges.size() : index;
}

bool GisGraduatedSymbolRenderer::rangeContains(const GisGraduatedSymbolRange& range, double value) {
    return (range.includeLower ? value >= range.lower : value > range.lower) &&
           (range.includeUpper ? value <= range.upper : value < range.upper);
}

} // namespace Cartolith::Core::Symbology
