#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/LegendInternal.h>
#include <Cartolith/Core/Symbology/SymbolValueInternal.h>

#include <QSharedData>

#include <optional>
#include <vector>

namespace Cartolith::Core::Symbology {

namespace Internal {

/// The values of the rules, converted once.
struct RuleValues : QSharedData {
    std::vector<StoredSymbolValue> values;
};

} // namespace Internal

namespace {

using Internal::StoredSymbolValue;
using Internal::SymbolValue;

bool compareOrder(std::optional<double> feature, std::optional<double> rule, GisSymbolRuleOperator op) {
    if (!feature || !rule) {
        return false;
    }
    switch (op) {
    case GisSymbolRuleOperator::GreaterThan:
        return *feature > *rule;
    case GisSymbolRuleOperator::GreaterOrEqual:
        return *feature >= *rule;
    case GisSymbolRuleOperator::LessThan:
        return *feature < *rule;
    case GisSymbolRuleOperator::LessOrEqual:
        return *feature <= *rule;
    default:
        return false;
    }
}

bool meets(const SymbolValue& feature, GisSymbolRuleOperator op, const StoredSymbolValue& rule) {
    switch (op) {
    case GisSymbolRuleOperator::Equals:
        return equal(rule, feature);
    case GisSymbolRuleOperator::NotEquals:
        return !equal(rule, feature);
    case GisSymbolRuleOperator::GreaterThan:
    case GisSymbolRuleOperator::GreaterOrEqual:
    case GisSymbolRuleOperator::LessThan:
    case GisSymbolRuleOperator::LessOrEqual:
        return compareOrder(feature.number(), rule.number, op);
    case GisSymbolRuleOperator::Contains:
        return feature.text().contains(rule.text);
    case GisSymbolRuleOperator::StartsWith:
        return feature.text().startsWith(rule.text);
    case GisSymbolRuleOperator::EndsWith:
        return feature.text().endsWith(rule.text);
    case GisSymbolRuleOperator::IsNull:
        return feature.value().isNull();
    case GisSymbolRuleOperator::IsNotNull:
        return !feature.value().isNull();
    }
    return false;
}

bool isNullTest(GisSymbolRuleOperator op) {
    return op == GisSymbolRuleOperator::IsNull || op == GisSymbolRuleOperator::IsNotNull;
}

} // namespace

GisRuleBasedSymbolRenderer::GisRuleBasedSymbolRenderer() : m_values(new Internal::RuleValues) {}

GisRuleBasedSymbolRenderer::GisRuleBasedSymbolRenderer(const GisRuleBasedSymbolRenderer& other) = default;
GisRuleBasedSymbolRenderer&
GisRuleBasedSymbolRenderer::operator=(const GisRuleBasedSymbolRenderer& other) = default;
GisRuleBasedSymbolRenderer::~GisRuleBasedSymbolRenderer() = default;

void GisRuleBasedSymbolRenderer::addRule(const GisSymbolRule& rule) {
    m_rules.append(rule);
    try {
        m_values->values.emplace_back(m_rules.constLast().value); // the other may have been one that moved
    } catch (...) {
        m_rules.removeLast();
        throw;
    }
}

void GisRuleBasedSymbolRenderer::clearRules() {
    m_values = new Internal::RuleValues;
    m_rules = {};
}

GisSymbolRendererType GisRuleBasedSymbolRenderer::type() const {
    return GisSymbolRendererType::RuleBased;
}

qsizetype GisRuleBasedSymbolRenderer::ruleIndex(const GisSymbolContext& context) const {
    // Rules in a row mostly look at one field: its value is looked up and converted once.
    const QString* field = nullptr;
    std::optional<SymbolValue> value;
    for (qsizetype i = 0; i < m_rules.size(); ++i) {
        const GisSymbolRule& rule = m_rules.at(i);
        if (!rule.enabled) {
            continue;
        }
        if (field == nullptr || *field != rule.fieldName) {
            field = &rule.fieldName;
            value.emplace(context.attribute(rule.fieldName));
        }
        if (meets(*value, rule.op, m_values->values[static_cast<std::size_t>(i)])) {
            return i;
        }
    }
    return -1;
}

Layers::GisLayerStyle GisRuleBasedSymbolRenderer::styleForFeature(const GisSymbolContext& context) const {
    const qsizetype index = ruleIndex(context);
    return index < 0 ? m_defaultStyle : m_rules.at(index).style;
}

std::unique_ptr<GisSymbolRenderer> GisRuleBasedSymbolRenderer::clone() const {
    return std::make_unique<GisRuleBasedSymbolRenderer>(*this);
}

QList<GisSymbolLegendItem> GisRuleBasedSymbolRenderer::legendItems() const {
    QList<GisSymbolLegendItem> items;
    items.reserve(m_rules.size() + 1);
    for (const GisSymbolRule& rule : m_rules) {
        items.append({rule.label.isEmpty() ? ruleLabel(rule) : rule.label, rule.style, rule.enabled});
    }
    items.append(Internal::defaultLegendItem(m_defaultStyle));
    return items;
}

qsizetype GisRuleBasedSymbolRenderer::legendIndexForFeature(const GisSymbolContext& context) const {
    const qsizetype index = ruleIndex(context);
    return index < 0 ? m_rules.size() : index;
}

bool GisRuleBasedSymbolRenderer::evaluateRule(const GisSymbolRule& rule, const GisSymbolContext& context) {
    return meets(SymbolValue(context.attribute(rule.fieldName)), rule.op, StoredSymbolValue(rule.value));
}

bool GisRuleBasedSymbolRenderer::compareNumbers(const QVariant& featureValue, const QVariant& ruleValue,
                                                GisSymbolRuleOperator op) {
    return compareOrder(SymbolValue(featureValue).number(), SymbolValue(ruleValue).number(), op);
}

bool GisRuleBasedSymbolRenderer::valuesEqual(const QVariant& a, const QVariant& b) {
    return equal(StoredSymbolValue(a), SymbolValue(b));
}

QString GisRuleBasedSymbolRenderer::normalizedString(const QVariant& value) {
    return SymbolValue(value).text();
}

QString GisRuleBasedSymbolRenderer::operatorText(GisSymbolRuleOperator op) {
    switch (op) {
    case GisSymbolRuleOperator::NotEquals:
        return QStringLiteral("!=");
    case GisSymbolRuleOperator::GreaterThan:
        return QStringLiteral(">");
    case GisSymbolRuleOperator::GreaterOrEqual:
        return QStringLiteral(">=");
    case GisSymbolRuleOperator::LessThan:
        return QStringLiteral("<");
    case GisSymbolRuleOperator::LessOrEqual:
        return QStringLiteral("<=");
    case GisSymbolRuleOperator::Contains:
        return QStringLiteral("contains");
    case GisSymbolRuleOperator::StartsWith:
        return QStringLiteral("starts with");
    case GisSymbolRuleOperator::EndsWith:
        return QStringLiteral("ends with");
    case GisSymbolRuleOperator::IsNull:
        return QStringLiteral("is null");
    case GisSymbolRuleOperator::IsNotNull:
        return QStringLiteral("is not null");
    default:
        return QStringLiteral("=");
    }
}

QString GisRuleBasedSymbolRenderer::ruleLabel(const GisSymbolRule& rule) {
    return isNullTest(rule.op)
               ? QStringLiteral("%1 %2").arg(rule.fieldName, operatorText(rule.op))
               : QStringLiteral("%1 %2 %3").arg(rule.fieldName, operatorText(rule.op), rule.value.toString());
}

} // namespace Cartolith::Core::Symbology
