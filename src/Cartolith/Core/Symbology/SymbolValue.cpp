#include <Cartolith/Core/Symbology/SymbolValueInternal.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Symbology::Internal {

std::optional<double> SymbolValue::number() const {
    if (!m_numberKnown) {
        bool ok = false;
        const double number = m_value.toDouble(&ok);
        m_number = ok ? std::optional(number) : std::nullopt;
        m_numberKnown = true;
    }
    return m_number;
}

const QString& SymbolValue::text() const {
    if (!m_text) {
        // Empty, but never null: a null text does not start with an empty one.
        m_text = m_value.isNull() ? QStringLiteral("") : m_value.toString().trimmed().toCaseFolded();
    }
    return *m_text;
}

StoredSymbolValue::StoredSymbolValue(const QVariant& from) : value(from) {
    const SymbolValue converted(value);
    number = converted.number();
    text = converted.text();
}

bool equal(const StoredSymbolValue& stored, const SymbolValue& value) {
    if (!stored.value.isValid() && !value.value().isValid()) {
        return true;
    }
    if (stored.value.metaType() == value.value().metaType() && stored.value == value.value()) {
        return true;
    }
    if (stored.number && value.number()) {
        return shiftedNumbersEqual(1.0 + *stored.number, 1.0 + *value.number());
    }
    return stored.text == value.text();
}

bool shiftedNumbersEqual(double x, double y) {
    return std::abs(x - y) * 1e12 <= std::min(std::abs(x), std::abs(y));
}

} // namespace Cartolith::Core::Symbology::Internal
