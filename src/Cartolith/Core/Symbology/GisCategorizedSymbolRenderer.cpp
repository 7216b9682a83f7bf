#include <Cartolith/Core/Symbology/CategoryLookupInternal.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/LegendInternal.h>

namespace Cartolith::Core::Symbology {

GisCategorizedSymbolRenderer::GisCategorizedSymbolRenderer() : GisCategorizedSymbolRenderer(QString()) {}

GisCategorizedSymbolRenderer::GisCategorizedSymbolRenderer(const QString& fieldName)
    : m_fieldName(fieldName), m_lookup(new Internal::CategoryLookup) {}

GisCategorizedSymbolRenderer::GisCategorizedSymbolRenderer(const GisCategorizedSymbolRenderer& other) =
    default;
GisCategorizedSymbolRenderer&
GisCategorizedSymbolRenderer::operator=(const GisCategorizedSymbolRenderer& other) = default;
GisCategorizedSymbolRenderer::~GisCategorizedSymbolRenderer() = default;

void GisCategorizedSymbolRenderer::addClass(const GisCategorizedSymbolClass& symbolClass) {
    m_classes.append(symbolClass);
    const GisCategorizedSymbolClass& added = m_classes.constLast(); // the other may have been one that moved
    try {
        m_lookup->append(added.value, added.enabled);
    } catch (...) {
        m_classes.removeLast();
        throw;
    }
}

void GisCategorizedSymbolRenderer::clearClasses() {
    m_lookup = new Internal::CategoryLookup;
    m_classes = {};
}

GisSymbolRendererType GisCategorizedSymbolRenderer::type() const {
    return GisSymbolRendererType::Categorized;
}

qsizetype GisCategorizedSymbolRenderer::classIndex(const GisSymbolContext& context) const {
    return m_lookup->find(context.attribute(m_fieldName));
}

Layers::GisLayerStyle GisCategorizedSymbolRenderer::styleForFeature(const GisSymbolContext& context) const {
    const qsizetype index = classIndex(context);
    return index < 0 ? m_defaultStyle : m_classes.at(index).style;
}

std::unique_ptr<GisSymbolRenderer> GisCategorizedSymbolRenderer::clone() const {
    return std::make_unique<GisCategorizedSymbolRenderer>(*this);
}

QList<GisSymbolLegendItem> GisCategorizedSymbolRenderer::legendItems() const {
    QList<GisSymbolLegendItem> items;
    items.reserve(m_classes.size() + 1);
    for (const GisCategorizedSymbolClass& symbolClass : m_classes) {
        items.append(
            {symbolClass.label.isEmpty() ? Internal::legendText(symbolClass.value) : symbolClass.label,
             symbolClass.style, symbolClass.enabled});
    }
    items.append(Internal::defaultLegendItem(m_defaultStyle));
    return items;
}

qsizetype GisCategorizedSymbolRenderer::legendIndexForFeature(const GisSymbolContext& context) const {
    const qsizetype index = classIndex(context);
    return index < 0 ? m_classes.size() : index;
}

QString GisCategorizedSymbolRenderer::normalizedValue(const QVariant& value) {
    return Internal::SymbolValue(value).text();
}

bool GisCategorizedSymbolRenderer::valuesEqual(const QVariant& a, const QVariant& b) {
    return Internal::equal(Internal::StoredSymbolValue(a), Internal::SymbolValue(b));
}

} // namespace Cartolith::Core::Symbology
