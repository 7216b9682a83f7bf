#include "LegendContent.h"

#include "NumberText.h"
#include "RendererFields.h"

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>

#include <algorithm>
#include <cmath>

using namespace Cartolith::Core;
using Layers::GisLayerVector;
using Symbology::GisClassificationEngine;
using Symbology::GisGraduatedSymbolRange;
using Symbology::GisGraduatedSymbolRenderer;
using Symbology::GisSymbolContext;
using Symbology::GisSymbolLegendItem;
using Symbology::GisSymbolRenderer;

namespace {

/// What to call the features that are drawn with the default style, which has that place in the legend.
QString defaultLabel(const GisLayerVector& layer, const QString& field, qsizetype place) {
    qsizetype with = 0;
    qsizetype without = 0;
    for (const auto& shape : layer.items()) {
        const GisSymbolContext context(*shape);
        if (layer.symbolRenderer()->legendIndexForFeature(context) == place) {
            const QVariant& value = context.attribute(field);
            ++(value.isNull() || value.toString().trimmed().isEmpty() ? without : with);
        }
    }
    if (field.isEmpty() || without == 0) {
        return QStringLiteral("Other");
    }
    return with == 0 ? QStringLiteral("No value") : QStringLiteral("Other or no value");
}

/// The bounds of the ranges as text, rounded no further than they can be told apart.
class BoundTexts {
public:
    /// Bounds that somebody gave, and single values, read as they are.
    template <typename Ranges>
    BoundTexts(const Ranges& ranges, bool areGiven) {
        QList<double> bounds;
        bool hasPoint = false;
        for (const auto& range : ranges) {
            bounds << range.lower << range.upper;
            hasPoint = hasPoint || range.lower == range.upper;
        }
        bounds = GisClassificationEngine::sortedUniqueValues(bounds);
        m_negative = !bounds.isEmpty() && bounds.constFirst() < 0.0;
        m_digits = std::max(NumberText::digitsFor(bounds), areGiven || hasPoint ? 12 : 1);
    }

    QString label(double lower, double upper) const {
        QString from = NumberText::rounded(lower, m_digits);
        if (lower == upper) {
            return from;
        }
        return (m_negative ? QStringLiteral("%1 to %2") : QStringLiteral("%1 \u2013 %2"))
            .arg(from, NumberText::rounded(upper, m_digits));
    }

private:
    int m_digits = 3;
    bool m_negative = false;
};

void describeGraduated(const GisGraduatedSymbolRenderer& renderer, const GisLayerVector& layer,
                       QList<GisSymbolLegendItem>& items, LegendContent& content) {
    const BoundTexts texts(renderer.ranges(),
                           renderer.classificationMode() == Symbology::GisClassificationMethod::Manual);
    GisClassificationEngine::Ranges ranges;
    for (qsizetype i = 0; i < renderer.ranges().size(); ++i) {
        const GisGraduatedSymbolRange& range = renderer.ranges().at(i);
        if (items.at(i).label == GisClassificationEngine::label(range.lower, range.upper)) {
            items[i].label = texts.label(range.lower, range.upper);
        }
        if (range.enabled) {
            ranges.append({range.lower, range.upper, range.includeLower, range.includeUpper, {}});
        }
    }
    QList<QVariant> values;
    for (const auto& shape : layer.items()) {
        values.append(shape->attributes().value(renderer.fieldName()));
    }
    const double gvf =
        GisClassificationEngine::goodnessOfFit(GisClassificationEngine::numericValues(values), ranges).gvf;
    if (std::isfinite(gvf)) {
        // Rounded down: only a perfect fit reads 1.
        content.smallPrint = QStringLiteral("Goodness of variance fit %1")
                                 .arg(std::floor(gvf * 1000.0 + 1e-9) / 1000.0, 0, 'f', 3);
    }
}

Layers::GisLayerStyle sampleOf(const QString& colour) {
    Layers::GisLayerStyle style;
    style.setFillColor(colour);
    style.setFillOpacity(255);
    constexpr float outline = 0.7F; // pixels
    style.setLineWidth(outline);
    style.setLineColor(Symbology::GisColorRamp::interpolateColor(colour, QStringLiteral("#000000"), 0.45));
    return style;
}

} // namespace

LegendContent LegendContent::of(const QList<Symbology::GisClassificationRange>& classes,
                                const QList<QString>& colours, const QString& title) {
    LegendContent content;
    content.title = title;
    const BoundTexts texts(classes, false);
    for (qsizetype i = 0; i < classes.size(); ++i) {
        content.rows.append(
            {texts.label(classes.at(i).lower, classes.at(i).upper), sampleOf(colours.at(i)), -1});
    }
    return content;
}

LegendContent LegendContent::of(const Symbology::GisColorRamp& ramp, bool reversed, double least,
                                double greatest, const QString& title) {
    LegendContent content;
    content.title = title;
    // Steps of 1, 2 or 5 times a power of ten, four to ten of them.
    const double power = std::pow(10.0, std::floor(std::log10((greatest - least) / 4.0)));
    const double share = (greatest - least) / 4.0 / power;
    const double step = power * (share >= 5.0 ? 5.0 : share >= 2.0 ? 2.0 : 1.0);
    if (!(step > 0.0) || !std::isfinite(step)) { // a single value
        content.rows.append({NumberText::rounded(least, 12), sampleOf(ramp.colorAt(0.5, reversed)), -1});
        return content;
    }
    constexpr int most = 12;
    const double first = std::floor(greatest / step);
    for (int i = 0; i < most && (first - i) * step >= least; ++i) {
        const double value = (first - i) * step;
        content.rows.append({NumberText::rounded(value, 12),
                             sampleOf(ramp.colorAt((value - least) / (greatest - least), reversed)), -1});
    }
    return content;
}

LegendContent LegendContent::of(const GisLayerVector& layer, const QString& title) {
    const GisSymbolRenderer& renderer = *layer.symbolRenderer();
    const QStringList fields = fieldsOf(renderer);
    const QString field = fields.size() == 1 ? fields.constFirst() : QString(); // that alone decides
    LegendContent content;
    const bool isOneStyle = renderer.type() == Symbology::GisSymbolRendererType::Simple;
    content.title = !title.isEmpty() || isOneStyle ? title : field.isEmpty() ? layer.name() : field;
    content.kind = layer.shapeType();

    QList<GisSymbolLegendItem> items = renderer.countedLegendItems(layer.rawShapes());
    if (const auto* graduated = dynamic_cast<const GisGraduatedSymbolRenderer*>(&renderer)) {
        describeGraduated(*graduated, layer, items, content);
    }
    for (qsizetype i = 0; i < items.size(); ++i) {
        GisSymbolLegendItem& item = items[i];
        if (!item.enabled || (item.isDefault && item.count == 0)) {
            continue;
        }
        if (item.isDefault) {
            item.label = defaultLabel(layer, field, i);
        }
        if (isOneStyle) {
            item.label = layer.name();
        }
        content.rows.append({item.label, item.style, item.count, item.isDefault});
    }
    return content;
}
