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

qsizetype valueOf(const std::unordered_map<QString, qsizetype>& table, const QString& text,
                  qsizetype otherwise) {
    const auto found = table.find(text);
    return found != table.end() ? found->second : otherwise;
}

} // namespace

void CategoryLookup::append(const QVariant& value, bool enabled) {
    if (enabled) {
        const bool wordReadsAsNumber = m_wordReadsAsNumber;
        const bool hasNumbers = m_hasNumbers;
        try {
            add(value, m_size);
        } catch (...) {
            remove(m_size);
            m_wordReadsAsNumber = wordReadsAsNumber;
            m_hasNumbers = hasNumbers;
            throw;
        }
    }
    ++m_size;
}

void CategoryLookup::remove(qsizetype position) noexcept {
    if (!m_entries.empty() && m_entries.back().position == position) {
        m_entries.pop_back();
    }
    const auto isThere = [position](const auto& entry) { return entry.second == position; };
    for (Texts* const table : {&m_texts, &m_wordTexts, &m_classTexts}) {
        std::erase_if(*table, isThere);
    }
    std::erase_if(m_numbers, isThere);
}

void CategoryLookup::add(const QVariant& value, qsizetype position) {
    const Entry& entry = m_entries.emplace_back(Entry{StoredSymbolValue(value), position});
    const StoredSymbolValue& stored = entry.value;
    m_texts.emplace(stored.text, position); // the first of several stays
    if (stored.number) {
        m_hasNumbers = true;
        if (std::isfinite(*stored.number)) { // others equal no number that is looked up
            m_numbers.emplace(1.0 + *stored.number, position);
        }
    } else {
        m_wordTexts.emplace(stored.text, position);
        const QVariant text(stored.text);
        m_wordReadsAsNumber = m_wordReadsAsNumber || SymbolValue(text).number().has_value();
    }
    if (value.metaType().id() == QMetaType::QString && !stored.number) {
        // A class that comes later cannot take a text away again.
        m_classTexts.emplace(value.toString(), find(value));
    }
}

qsizetype CategoryLookup::find(const QVariant& featureValue) const {
    const bool isText = featureValue.metaType().id() == QMetaType::QString;
    if (isText) {
        const auto known = m_classTexts.find(featureValue.toString());
        if (known != m_classTexts.end()) {
            return known->second;
        }
    }
    const SymbolValue value(featureValue);
    if (isText && !m_hasNumbers) {
        return valueOf(m_texts, value.text(),
                       -1); // among words the text decides, whether it is a number or not
    }
    if (!isUsual(featureValue) || !isFinite(value.number())) {
        return findInOrder(value);
    }
    qsizetype best = notFound;
    if (value.number()) {
        best = findNumber(*value.number());
        // A word equals a number by its text alone: "true", or a text that converts once it is trimmed.
        if (m_wordReadsAsNumber || featureValue.metaType().id() == QMetaType::Bool) {
            best = std::min(best, valueOf(m_wordTexts, value.text(), notFound));
        }
    } else {
        best = valueOf(m_texts, value.text(), notFound);
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
