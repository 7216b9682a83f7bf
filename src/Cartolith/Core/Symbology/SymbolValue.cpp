#include <Cartolith/Core/Symbology/SymbolValueInternal.h>

#include <algorithm>
#include <cmath>

namespace Cartolith::Core::Symbology::Internal {

namespace {

/// A text that begins with a letter other than those of "inf" and "nan" is no number; Qt takes half a
/// microsecond to find that out.
bool beginsLikeAWord(const QVariant& value) {
    if (value.metaType().id() != QMetaType::QString) {
        return false;
    }
    const QString text = value.toString();
    const char16_t first = text.isEmpty() ? u' ' : text.front().unicode();
    const char16_t letter = first | 0x20;
    return letter >= u'a' && letter <= u'z' && letter != u'i' && letter != u'n';
}

} // namespace

std::optional<double> SymbolValue::number() const {
    if (!m_numberKnown) {
        bool ok = false;
        const double number = beginsLikeAWord(m_value) ? 0.0 : m_value.toDouble(&ok);
        m_number = ok ? std::optional(number) : std::nullopt;
        m_numberKnown = true;
    }
    return m_number;
}

const QString& SymbolValue::text() const {
    if (!m_text) {
        m_text = m_value.isNull() ? QString() : m_value.toString().trimmed().toCaseFolded();
        if (m_text->isNull()) {
            m_text = QStringLiteral(""); // to QString a null text does not start with an empty one
        }
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
