#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Symbology/GisSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSymbolRule.h>

#include <QSharedDataPointer>

namespace Cartolith::Core::Symbology {

namespace Internal {
struct RuleValues;
}

/// The style of the first rule that a feature meets, in the order added; the default style when it meets
/// none. Rules are never sorted, and there is no else-rule: the default style plays that part.
class CARTOLITH_CORE_EXPORT GisRuleBasedSymbolRenderer : public GisSymbolRenderer {
public:
    GisRuleBasedSymbolRenderer();
    GisRuleBasedSymbolRenderer(const GisRuleBasedSymbolRenderer& other);
    GisRuleBasedSymbolRenderer& operator=(const GisRuleBasedSymbolRenderer& other);
    ~GisRuleBasedSymbolRenderer() override;

    const QList<GisSymbolRule>& rules() const noexcept { return m_rules; }
    void addRule(const GisSymbolRule& rule);
    void clearRules();
    const Layers::GisLayerStyle& defaultStyle() const noexcept { return m_defaultStyle; }
    void setDefaultStyle(const Layers::GisLayerStyle& style) { m_defaultStyle = style; }

    GisSymbolRendererType type() const override;
    Layers::GisLayerStyle styleForFeature(const GisSymbolContext& context) const override;
    std::unique_ptr<GisSymbolRenderer> clone() const override;
    QList<GisSymbolLegendItem> legendItems() const override;
    qsizetype legendIndexForFeature(const GisSymbolContext& context) const override;

    /// Whether the feature meets the rule; the enabled flag is not looked at. Texts are compared trimmed and
    /// case-folded, numbers only when both values convert; "is null" holds for a missing value too.
    static bool evaluateRule(const GisSymbolRule& rule, const GisSymbolContext& context);
    /// For the four comparisons of order; false for any other operator, for NaN, and unless both convert.
    static bool compareNumbers(const QVariant& featureValue, const QVariant& ruleValue,
                               GisSymbolRuleOperator op);
    /// As GisCategorizedSymbolRenderer::valuesEqual().
    static bool valuesEqual(const QVariant& a, const QVariant& b);
    /// As GisCategorizedSymbolRenderer::normalizedValue().
    static QString normalizedString(const QVariant& value);
    /// "=", "starts with", ...; "=" for an unknown operator.
    static QString operatorText(GisSymbolRuleOperator op);
    /// "population > 1000", "name is null".
    static QString ruleLabel(const GisSymbolRule& rule);

private:
    /// The position of the feature's rule, or -1.
    qsizetype ruleIndex(const GisSymbolContext& context) const;

    QList<GisSymbolRule> m_rules;
    Layers::GisLayerStyle m_defaultStyle;
    QSharedDataPointer<Internal::RuleValues> m_values;
};

} // namespace Cartolith::Core::Symbology
