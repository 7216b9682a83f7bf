#pragma once

#include <Cartolith/Core/Layers/GisLayerStyle.h>

#include <QString>
#include <QTypeInfo>
#include <QVariant>

namespace Cartolith::Core::Symbology {

/// How a rule compares a feature's value with its own. Any other number never matches.
enum class GisSymbolRuleOperator : int {
    Equals = 0,
    NotEquals = 1,
    GreaterThan = 2,
    GreaterOrEqual = 3,
    LessThan = 4,
    LessOrEqual = 5,
    Contains = 6,
    StartsWith = 7,
    EndsWith = 8,
    IsNull = 9,
    IsNotNull = 10,
};

/// A condition on one field, and how the features that meet it are drawn.
struct GisSymbolRule {
    QString fieldName;
    GisSymbolRuleOperator op = GisSymbolRuleOperator::Equals;
    /// Not read by the two null tests. To the three tests of texts, an empty text is part of every value, of
    /// a missing one too.
    QVariant value;
    QString label; ///< for legends; the condition's text when empty
    Layers::GisLayerStyle style;
    bool enabled = true; ///< a disabled rule never matches

    bool operator==(const GisSymbolRule& other) const = default;
};

} // namespace Cartolith::Core::Symbology

Q_DECLARE_TYPEINFO(Cartolith::Core::Symbology::GisSymbolRule, Q_RELOCATABLE_TYPE);
