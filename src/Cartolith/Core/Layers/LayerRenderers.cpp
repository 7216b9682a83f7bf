// The renderers that GisSymbolRendererFactory builds from a layer: Symbology itself knows no layers.

#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Symbology/GisClassificationEngine.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Core/Symbology/GisSymbolRendererFactory.h>
#include <Cartolith/Core/Symbology/SymbolValueInternal.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Cartolith::Core::Symbology {

namespace {

using Layers::GisLayerVector;

std::invalid_argument error(const QString& message) {
    return std::invalid_argument(message.toStdString());
}

/// The values of the field that are not null, in layer order.
QList<QVariant> fieldValues(const GisLayerVector& layer, const QString& fieldName) {
    bool known = layer.getAttributeDefinition(fieldName) != nullptr;
    QList<QVariant> values;
    for (const auto& shape : layer.items()) {
        if (shape == nullptr) {
            continue;
        }
        const QVariant value = shape->attributeValue(fieldName);
        known = known || value.isValid();
        if (!value.isNull()) {
            values.append(value);
        }
    }
    // A field that no shape has a value of may be known to one nevertheless.
    known = known || std::any_of(layer.items().begin(), layer.items().end(), [&](const auto& shape) {
                return shape != nullptr && shape->attributeSlot().copyOfTable().contains(fieldName);
            });
    if (!known) {
        throw error(QStringLiteral("The layer has no field '%1'.").arg(fieldName));
    }
    return values;
}

std::invalid_argument nothingToClassify(const QString& fieldName) {
    return error(QStringLiteral("Field '%1' has no values to classify.").arg(fieldName));
}

/// Of columns of text, as CSV files have them: an empty cell is no value.
bool isBlank(const QVariant& value) {
    return value.metaType().id() == QMetaType::QString && value.toString().trimmed().isEmpty();
}

QList<double> numbers(const GisLayerVector& layer, const QString& fieldName) {
    QList<QVariant> values = fieldValues(layer, fieldName);
    values.removeIf(isBlank);
    for (const QVariant& value : std::as_const(values)) {
        bool ok = false;
        value.toDouble(&ok);
        if (!ok) {
            throw error(QStringLiteral("Field '%1' is not numeric: '%2'.").arg(fieldName, value.toString()));
        }
    }
    QList<double> result = GisClassificationEngine::numericValues(values);
    if (result.isEmpty()) {
        throw nothingToClassify(fieldName);
    }
    return result;
}

GisColorRamp rampOrDefault(const GisColorRamp& ramp) {
    return ramp.isEmpty() ? GisColorRampRegistry::defaultRamp() : ramp;
}

QList<GisGraduatedSymbolRange> classified(const GisLayerVector& layer, const QString& fieldName,
                                          const GisClassificationSettings& settings) {
    const auto ranges = GisSymbolRendererFactory::classes(numbers(layer, fieldName), settings);
    if (ranges.isEmpty()) {
        throw error(
            QStringLiteral("The method makes no classes of field '%1' with these settings.").arg(fieldName));
    }
    auto styled = GisClassificationEngine::graduatedRanges(ranges, rampOrDefault(settings.ramp),
                                                           layer.style(), settings.mode, settings.reversed);
    const bool isLine = layer.shapeType() == Shapes::GisShapeType::Polyline;
    for (qsizetype i = 0; (settings.firstSize > 0.0F || settings.lastSize > 0.0F) && i < styled.size(); ++i) {
        const auto steps = static_cast<float>(std::max<qsizetype>(styled.size() - 1, 1));
        const float size =
            settings.firstSize + (settings.lastSize - settings.firstSize) * static_cast<float>(i) / steps;
        isLine ? styled[i].style.setLineWidth(size) : styled[i].style.setPointSize(size);
    }
    return styled;
}

/// Numbers by size before everything else by its text; equal ones stay in their order.
bool comesBefore(const Internal::StoredSymbolValue& a, const Internal::StoredSymbolValue& b) {
    const auto isNumber = [](const Internal::StoredSymbolValue& value) {
        return value.number && !std::isnan(*value.number);
    };
    if (isNumber(a) != isNumber(b)) {
        return isNumber(a);
    }
    return isNumber(a) ? *a.number < *b.number : a.text < b.text;
}

} // namespace

std::unique_ptr<GisSimpleSymbolRenderer> GisSymbolRendererFactory::simple(const GisLayerVector& layer) {
    return std::make_unique<GisSimpleSymbolRenderer>(layer.style());
}

std::unique_ptr<GisSimpleSymbolRenderer> GisSymbolRendererFactory::sized(const GisLayerVector& layer,
                                                                         const QString& fieldName,
                                                                         float least, float greatest,
                                                                         Layers::SizeScaling scaling) {
    const QList<double> values = numbers(layer, fieldName);
    const auto [from, to] = std::minmax_element(values.cbegin(), values.cend());
    Layers::GisLayerStyle style = layer.style();
    style.setSizeField(fieldName);
    style.setSizeFromValue(*from);
    style.setSizeToValue(*to);
    style.setSizeFrom(least);
    style.setSizeTo(greatest);
    style.setSizeScaling(scaling);
    return std::make_unique<GisSimpleSymbolRenderer>(style);
}

std::unique_ptr<GisCategorizedSymbolRenderer>
GisSymbolRendererFactory::categorized(const GisLayerVector& layer, const QString& fieldName,
                                      const GisColorRamp& ramp, GisColorRampMode mode, bool reversed) {
    // What a renderer finds for a value so far is an equal value that was seen before.
    GisCategorizedSymbolRenderer seen(QStringLiteral("value"));
    std::vector<Internal::StoredSymbolValue> different;
    const QList<QVariant> values = fieldValues(layer, fieldName);
    QHash<QString, QVariant> attributes;
    for (const QVariant& value : values) {
        attributes.insert(seen.fieldName(), value);
        const bool isNew = seen.legendIndexForFeature(GisSymbolContext(attributes)) == seen.classes().size();
        if (isNew && GisCategorizedSymbolRenderer::valuesEqual(value, value)) { // NaN would be in no class
            seen.addClass({value, {}, {}});
            different.emplace_back(value);
        }
    }
    if (different.empty()) {
        throw nothingToClassify(fieldName);
    }
    std::stable_sort(different.begin(), different.end(), comesBefore);

    auto renderer = std::make_unique<GisCategorizedSymbolRenderer>(fieldName);
    renderer->setDefaultStyle(layer.style());
    const QList<QString> colors =
        rampOrDefault(ramp).colors(static_cast<int>(different.size()), mode, reversed);
    for (const Internal::StoredSymbolValue& value : different) {
        const QString& color = colors.at(renderer->classes().size());
        renderer->addClass({value.value, value.value.toString(),
                            GisClassificationEngine::styleWithColor(layer.style(), color)});
    }
    return renderer;
}

std::unique_ptr<GisGraduatedSymbolRenderer>
GisSymbolRendererFactory::graduated(const GisLayerVector& layer, const QString& fieldName,
                                    const GisClassificationSettings& settings) {
    const QList<GisGraduatedSymbolRange> ranges = classified(layer, fieldName, settings);
    auto renderer = std::make_unique<GisGraduatedSymbolRenderer>(fieldName);
    renderer->setClassificationMode(settings.method);
    renderer->setDefaultStyle(layer.style());
    for (const GisGraduatedSymbolRange& range : ranges) {
        renderer->addRange(range);
    }
    return renderer;
}

std::unique_ptr<GisRuleBasedSymbolRenderer>
GisSymbolRendererFactory::ruleBased(const GisLayerVector& layer, const QString& fieldName,
                                    const GisClassificationSettings& settings) {
    const QList<GisGraduatedSymbolRange> ranges = classified(layer, fieldName, settings);
    auto renderer = std::make_unique<GisRuleBasedSymbolRenderer>();
    renderer->setDefaultStyle(layer.style());
    for (auto range = ranges.crbegin(); range != ranges.crend(); ++range) {
        renderer->addRule(
            {fieldName, GisSymbolRuleOperator::GreaterOrEqual, range->lower, range->label, range->style});
    }
    return renderer;
}

std::unique_ptr<GisSymbolRenderer>
GisSymbolRendererFactory::create(GisSymbolRendererType type, const GisLayerVector& layer,
                                 const QString& fieldName, const GisClassificationSettings& settings) {
    switch (type) {
    case GisSymbolRendererType::Simple:
        return simple(layer);
    case GisSymbolRendererType::Categorized:
        return categorized(layer, fieldName, settings.ramp, settings.mode, settings.reversed);
    case GisSymbolRendererType::Graduated:
        return graduated(layer, fieldName, settings);
    case GisSymbolRendererType::RuleBased:
        return ruleBased(layer, fieldName, settings);
    }
    throw error(QStringLiteral("Unknown symbol renderer type."));
}

} // namespace Cartolith::Core::Symbology
