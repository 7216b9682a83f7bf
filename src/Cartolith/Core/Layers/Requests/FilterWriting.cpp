// GisFeatureFilter::toText().

#include <Cartolith/Core/Layers/GisFeatureFilter.h>
#include <Cartolith/Core/Layers/Requests/FilterNodeInternal.h>
#include <Cartolith/Core/Layers/Requests/FilterTokensInternal.h>

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Layers {

using Internal::FilterNode;

namespace {

QString nameText(const QString& name) {
    return Internal::quoted(name, QLatin1Char('"'));
}

QString valueText(const QVariant& value) {
    const QLatin1Char quote('\'');
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return QStringLiteral("NULL");
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("TRUE") : QStringLiteral("FALSE");
    case QMetaType::Double: {
        const double number = value.toDouble();
        return std::isfinite(number) ? QLocale::c().toString(number, 'g', QLocale::FloatingPointShortest)
                                     : QLatin1String(number > 0.0 ? "1e999" : "-1e999");
    }
    case QMetaType::QDate:
        return QStringLiteral("DATE ") + Internal::quoted(value.toDate().toString(Qt::ISODate), quote);
    case QMetaType::QTime:
        return QStringLiteral("TIME ") + Internal::quoted(value.toTime().toString(Qt::ISODateWithMs), quote);
    case QMetaType::QDateTime:
        return QStringLiteral("TIMESTAMP ") + Internal::quoted(Internal::isoText(value.toDateTime()), quote);
    case QMetaType::QString:
        return Internal::quoted(value.toString(), quote);
    default:
        return value.toString();
    }
}

template <typename Items, typename Text>
QString joined(const Items& items, const char* separator, const Text& text) {
    QStringList texts;
    for (const auto& item : items) {
        texts.append(text(item));
    }
    return QLatin1Char('(') + texts.join(QLatin1String(separator)) + QLatin1Char(')');
}

QString textOf(const FilterNode& node) {
    using Kind = FilterNode::Kind;
    switch (node.kind) {
    case Kind::And:
    case Kind::Or:
        return joined(node.children, node.kind == Kind::And ? " AND " : " OR ",
                      [](const auto& child) { return textOf(*child); });
    case Kind::Not:
        return QStringLiteral("NOT ") + textOf(*node.children.front());
    case Kind::IsNull:
        return nameText(node.field) + QStringLiteral(" IS NULL");
    case Kind::Like:
        return nameText(node.field) +
               QLatin1String(node.sensitivity == Qt::CaseSensitive ? " LIKE " : " ILIKE ") +
               valueText(node.values.constFirst());
    case Kind::In:
        return nameText(node.field) + QStringLiteral(" IN ") + joined(node.values, ", ", valueText);
    case Kind::Compare:
        break;
    }
    const auto* const known =
        std::find_if(Internal::filterOperators.begin(), Internal::filterOperators.end(),
                     [&](const Internal::FilterOperator& one) { return one.comparison == node.comparison; });
    return nameText(node.field) + QLatin1Char(' ') + QLatin1String(known->text) + QLatin1Char(' ') +
           valueText(node.values.constFirst());
}

} // namespace

QString GisFeatureFilter::toText() const {
    return wantsAll() ? QString() : textOf(*m_node);
}

} // namespace Cartolith::Core::Layers
