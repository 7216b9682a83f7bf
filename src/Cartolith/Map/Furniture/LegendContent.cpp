#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisFeatureSymbol.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Map/Furniture/LegendSizesInternal.h>
#include <Cartolith/Map/LegendBounds.h>
#include <Cartolith/Map/LegendContent.h>
#include <Cartolith/Map/NumberText.h>
#include <Cartolith/Map/RendererFields.h>

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

namespace Cartolith::Map {

namespace {

/// What to call the features that are drawn with the default style, which has that place in the legend.
QString defaultLabel(const GisLayerVector& layer, const QString& field, qsizetype place) {
    qsizetype with = 0;
    qsizetype without = 0;
    for (const auto& shape : layer.items()) {
        const GisSymbolContext context(*shape);
        if (layer.symbolRenderer()->legendIndexForFeature(context) == place) {
            const QVariant value = context.attribute(field);
            ++(value.isNull() || value.toString().trimmed().isEmpty() ? without : with);
        }
    }
    if (field.isEmpty() || without == 0) {
        return QStringLiteral("Other");
    }
    return with == 0 ? QStringLiteral("No value") : QStringLiteral("Other or no value");
}

void describeGraduated(const GisGraduatedSymbolRenderer& renderer, const GisLayerVector& layer,
                       QList<GisSymbolLegendItem>& items, LegendContent& content) {
    QList<QVariant> column;
    for (const auto& shape : layer.items()) {
        column.append(shape->attributeValue(renderer.fieldName()));
    }
    const QList<double> values = GisClassificationEngine::numericValues(column);
    GisClassificationEngine::Ranges all;
    GisClassificationEngine::Ranges enabled;
    for (const GisGraduatedSymbolRange& range : renderer.ranges()) {
        all.append({range.lower, range.upper, range.includeLower, range.includeUpper, {}});
        if (range.enabled) {
            enabled.append(all.constLast());
        }
    }
    const LegendBounds bounds(all, renderer.classificationMode(), values);
    for (qsizetype i = 0; i < all.size(); ++i) {
        if (items.at(i).label == GisClassificationEngine::label(all.at(i).lower, all.at(i).upper)) {
            items[i].label = bounds.label(i);
        }
    }
    const double gvf = GisClassificationEngine::goodnessOfFit(values, enabled).gvf;
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

/// Between the two, in steps of 1, 2 or 5 times a power of ten, so many of them or some more; the greatest
/// first.
QList<double> roundValues(double least, double greatest, double fewestSteps) {
    const double power = std::pow(10.0, std::floor(std::log10((greatest - least) / fewestSteps)));
    const double share = (greatest - least) / fewestSteps / power;
    const double step = power * (share >= 5.0 ? 5.0 : share >= 2.0 ? 2.0 : 1.0);
    if (!(step > 0.0 && std::isfinite(step))) {
        return {least}; // a single value
    }
    QList<double> values;
    constexpr int most = 12;
    const double first = std::floor(greatest / step);
    for (int i = 0; i < most && (first - i) * step >= least; ++i) {
        values.append(QString::number((first - i) * step, 'g', 12).toDouble());
    }
    return values;
}

} // namespace

QList<LegendContent::Row> Internal::sizeRows(const Layers::GisLayerStyle& style, const QString& title,
                                             Shapes::GisShapeType kind) {
    if (style.sizeField().isEmpty() || kind == Shapes::GisShapeType::Polygon) {
        return {};
    }
    const auto [least, greatest] = std::minmax({style.sizeFromValue(), style.sizeToValue()});
    constexpr double fewestSteps = 3.0;
    const QList<double> values = roundValues(least, greatest, fewestSteps);
    const QStringList texts = NumberText::alike(values);
    QList<LegendContent::Row> rows;
    for (qsizetype i = 0; i < values.size(); ++i) {
        Layers::GisLayerStyle sample = style;
        sample.setSizeField({});
        const auto size = static_cast<float>(Symbology::GisFeatureSymbol::sizeFor(style, values.at(i)));
        kind == Shapes::GisShapeType::Polyline ? sample.setLineWidth(size) : sample.setPointSize(size);
        rows.append({title.isEmpty() ? texts.at(i) : QStringLiteral("%1 %2").arg(title, texts.at(i)), sample,
                     -1, false, true});
    }
    return rows;
}

LegendContent LegendContent::of(const LegendBounds& bounds, const QList<QString>& colours,
                                const QString& title) {
    LegendContent content;
    content.title = title;
    for (qsizetype i = 0; i < colours.size(); ++i) {
        content.rows.append({bounds.label(i), sampleOf(colours.at(i)), -1});
    }
    return content;
}

LegendContent LegendContent::of(const Symbology::GisColorRamp& ramp, bool reversed, double least,
                                double greatest, const QString& title) {
    LegendContent content;
    content.title = title;
    const QList<double> values = roundValues(least, greatest, 4.0);
    const QStringList texts = NumberText::alike(values);
    for (qsizetype i = 0; i < values.size(); ++i) {
        const double place = greatest > least ? (values.at(i) - least) / (greatest - least) : 0.5;
        LegendContent::Row row{texts.at(i), sampleOf(ramp.colorAt(place, reversed)), -1};
        row.place = place;
        content.rows.append(row);
    }
    constexpr int colours = 128; // more than eyes tell apart
    for (int i = 0; i < colours && values.size() > 1; ++i) {
        content.gradient.append(QColor(ramp.colorAt(i / (colours - 1.0), reversed)));
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
    const Layers::GisLayerStyle first = items.isEmpty() ? Layers::GisLayerStyle() : items.constFirst().style;
    const bool areSizesNamed = !isOneStyle && first.sizeField() != content.title;
    const QList<Row> sizes =
        Internal::sizeRows(first, areSizesNamed ? first.sizeField() : QString(), layer.shapeType());
    if (isOneStyle && !sizes.isEmpty()) {
        content.title = title.isEmpty() ? first.sizeField() : title;
        content.rows = sizes;
        return content;
    }
    for (qsizetype i = 0; i < items.size(); ++i) {
        GisSymbolLegendItem& item = items[i];
        if (item.isDefault) {
            content.rows += sizes;
        }
        if (!item.enabled || (item.isDefault && item.count == 0)) {
            continue;
        }
        if (item.isDefault) {
            item.label = defaultLabel(layer, field, i);
        }
        if (isOneStyle) {
            item.label = layer.name();
        }
        if (!sizes.isEmpty()) { // a sample of the colour, of a size that fits a row
            item.style.setPointSize(std::max(item.style.sizeFrom(), item.style.sizeTo()));
        }
        content.rows.append({item.label, item.style, item.count, item.isDefault});
    }
    return content;
}

} // namespace Cartolith::Map
