#include <Cartolith/Core/Symbology/CategoryLookupInternal.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Cartolith::Core::Symbology::Internal {

namespace {

constexpr qsizetype notFound = std::numeric_limits<qsizetype>::max();

/// The types for which "equal by QVariant's own comparison" adds nothing to equal numbers or equal texts.
bool isUsual(const QVariant& value) {
    switch (value.metaType().id()) {
    case QMetaType::UnknownType: // equal to another such value, and so is their text
    case QMetaType::QString:
        return true;
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Float:
    case QMetaType::Double:
    case QMetaType::QByteArray:
    case QMetaType::QDate:
    case QMetaType::QTime:
        return !value.isNull();
    default:
        return false;
    }
}

bool isFinite(std::optional<double> number) {
    return !number || std::isfinite(*number);
}

void insertFirst(QHash<QString, qsizetype>& table, const QString& text, qsizetype position) {
    if (!table.contains(text)) {
        table.insert(text, position);
    }
}

} // namespace

void CategoryLookup::append(const QVariant& value, bool enabled) {
    const qsizetype position = m_size++;
    if (!enabled) {
        return;
    }
    const Entry& entry = m_entries.emplace_back(Entry{StoredSymbolValue(value), position});
    const StoredSymbolValue& stored = entry.value;
    insertFirst(m_texts, stored.text, position);
    if (stored.number) {
        m_hasNumbers = true;
        if (std::isfinite(*stored.number)) { // others equal no number that is looked up
            m_numbers.emplace(1.0 + *stored.number, position);
        }
    } else {
        insertFirst(m_wordTexts, stored.text, position);
        const QVariant text(stored.text);
        m_wordReadsAsNumber = m_wordReadsAsNumber || SymbolValue(text).number().has_value();
    }
    if (value.metaType().id() == QMetaType::QString && !stored.number) {
        // A class that comes later cannot take a text away again.
        insertFirst(m_classTexts, value.toString(), find(value));
    }
}

qsizetype CategoryLookup::find(const QVariant& featureValue) const {
    const bool isText = featureValue.metaType().id() == QMetaType::QString;
    if (isText) {
        const auto known = m_classTexts.constFind(featureValue.toString());
        if (known != m_classTexts.cend()) {
            return *known;
        }
    }
    const SymbolValue value(featureValue);
    if (isText && !m_hasNumbers) {
        return m_texts.value(value.text(), -1); // among words the text decides, whether it is a number or not
    }
    if (!isUsual(featureValue) || !isFinite(value.number())) {
        return findInOrder(value);
    }
    qsizetype best = notFound;
    if (value.number()) {
        best = findNumber(*value.number());
        // A word equals a number by its text alone: "true", or a text that converts once it is trimmed.
        if (m_wordReadsAsNumber || featureValue.metaType().id() == QMetaType::Bool) {
            best = std::min(best, m_wordTexts.value(value.text(), notFound));
        }
    } else {
        best = m_texts.value(value.text(), notFound);
    }
    return best == notFound ? -1 : best;
}

qsizetype CategoryLookup::findInOrder(const SymbolValue& value) const {
    const auto found = std::find_if(m_entries.cbegin(), m_entries.cend(),
                                    [&value](const Entry& entry) { return equal(entry.value, value); });
    return found == m_entries.cend() ? -1 : found->position;
}

qsizetype CategoryLookup::findNumber(double number) const {
    // What equals a number within the tolerance lies around it without a gap.
    const double y = 1.0 + number;
    qsizetype best = notFound;
    const auto middle = m_numbers.lower_bound(y);
    for (auto it = middle; it != m_numbers.cend() && shiftedNumbersEqual(it->first, y); ++it) {
        best = std::min(best, it->second);
    }
    for (auto it = middle; it != m_numbers.cbegin();) {
        --it;
        if (!shiftedNumbersEqual(it->first, y)) {
            break;
        }
        best = std::min(best, it->second);
    }
    return best;
}

} // namespace Cartolith::Core::Symbology::Internal
