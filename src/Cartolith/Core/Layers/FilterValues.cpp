#include <Cartolith/Core/Layers/FilterValuesInternal.h>

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <cmath>
#include <optional>

namespace Cartolith::Core::Layers::Internal {

namespace {

// Its 64 bits of mantissa hold every whole number of 64 bits and every double.
using Number = long double;

std::optional<Number> numberOf(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
        return static_cast<Number>(value.toLongLong());
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return static_cast<Number>(value.toULongLong());
    case QMetaType::Float:
    case QMetaType::Double:
        return static_cast<Number>(value.toDouble());
    default:
        return std::nullopt;
    }
}

std::optional<Number> numberIn(const QString& text) {
    bool isRead = false;
    const QLocale locale = QLocale::c();
    if (const qlonglong whole = locale.toLongLong(text, &isRead); isRead) {
        return static_cast<Number>(whole);
    }
    const double real = locale.toDouble(text, &isRead);
    return isRead && std::isfinite(real) ? std::optional(static_cast<Number>(real)) : std::nullopt;
}

bool isText(const QVariant& value) {
    return value.typeId() == QMetaType::QString;
}

bool isMoment(const QVariant& value) {
    return value.typeId() == QMetaType::QDate || value.typeId() == QMetaType::QDateTime;
}

/// A date is its first moment.
QDateTime momentOf(const QVariant& value) {
    if (isText(value)) {
        const QString text = value.toString().trimmed();
        const QDate date = QDate::fromString(text, Qt::ISODate);
        return date.isValid() ? QDateTime(date, QTime(0, 0)) : QDateTime::fromString(text, Qt::ISODateWithMs);
    }
    return value.typeId() == QMetaType::QDate ? QDateTime(value.toDate(), QTime(0, 0)) : value.toDateTime();
}

QTime timeOf(const QVariant& value) {
    return isText(value) ? QTime::fromString(value.toString().trimmed(), Qt::ISODateWithMs) : value.toTime();
}

std::partial_ordering compareMoments(const QDateTime& a, const QDateTime& b) {
    if (a.isNull() || b.isNull()) {
        return std::partial_ordering::unordered;
    }
    // What hangs on this machine's time zone is no answer.
    if (a.timeSpec() != Qt::LocalTime && b.timeSpec() != Qt::LocalTime) {
        return a.toMSecsSinceEpoch() <=> b.toMSecsSinceEpoch();
    }
    const auto days = a.date().toJulianDay() <=> b.date().toJulianDay();
    return days != 0 ? days : a.time().msecsSinceStartOfDay() <=> b.time().msecsSinceStartOfDay();
}

std::partial_ordering compareTexts(const QString& a, const QString& b) {
    // UTF-16 puts characters beyond the first 65,536 before some of those.
    auto it = a.cbegin();
    auto other = b.cbegin();
    while (it != a.cend() && other != b.cend() && *it == *other) {
        ++it;
        ++other;
    }
    if (it == a.cend() || other == b.cend()) {
        return a.size() <=> b.size();
    }
    const auto rank = [](QChar unit) {
        return unit.isSurrogate() ? unit.unicode() + 0x10000 : int{unit.unicode()};
    };
    return rank(*it) <=> rank(*other);
}

} // namespace

bool isNothing(const QVariant& value) {
    return value.isNull() || (value.typeId() == QMetaType::Double && std::isnan(value.toDouble()));
}

std::partial_ordering compareValues(const QVariant& a, const QVariant& b) {
    constexpr auto none = std::partial_ordering::unordered;
    if (isNothing(a) || isNothing(b)) {
        return none;
    }
    if (isText(a) && isText(b)) {
        return compareTexts(a.toString(), b.toString());
    }
    if (a.typeId() == QMetaType::QTime || b.typeId() == QMetaType::QTime) {
        const QTime one = timeOf(a);
        const QTime other = timeOf(b);
        return one.isValid() && other.isValid() ? one.msecsSinceStartOfDay() <=> other.msecsSinceStartOfDay()
                                                : none;
    }
    if (isMoment(a) || isMoment(b)) {
        const bool canBe = (isMoment(a) || isText(a)) && (isMoment(b) || isText(b));
        return canBe ? compareMoments(momentOf(a), momentOf(b)) : none;
    }
    const auto number = isText(a) ? numberIn(a.toString()) : numberOf(a);
    const auto other = isText(b) ? numberIn(b.toString()) : numberOf(b);
    return number && other ? *number <=> *other : none;
}

TextPattern::TextPattern(const QString& pattern, Qt::CaseSensitivity sensitivity)
    : m_folds(sensitivity == Qt::CaseInsensitive) {
    const std::vector<char32_t> characters = charactersOf(pattern);
    using Kind = Part::Kind;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        const char32_t character = characters[i];
        if (character == U'\\' && i + 1 < characters.size()) {
            m_parts.push_back({Kind::Character, characters[++i]});
        } else if (character == U'%') {
            if (m_parts.empty() || m_parts.back().kind != Kind::AnyText) {
                m_parts.push_back({Kind::AnyText});
            }
        } else {
            m_parts.push_back({character == U'_' ? Kind::AnyCharacter : Kind::Character, character});
        }
    }
}

std::vector<char32_t> TextPattern::charactersOf(const QString& text) const {
    std::vector<char32_t> characters;
    characters.reserve(static_cast<std::size_t>(text.size()));
    for (qsizetype i = 0; i < text.size(); ++i) {
        char32_t character = text[i].unicode();
        if (text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            character = QChar::surrogateToUcs4(text[i], text[i + 1]);
            ++i;
        }
        characters.push_back(m_folds ? QChar::toCaseFolded(character) : character);
    }
    return characters;
}

// Goes back to the last "any text" only: an earlier one cannot do better.
bool TextPattern::matches(const QString& text) const {
    const std::vector<char32_t> characters = charactersOf(text);
    std::size_t at = 0;
    std::size_t part = 0;
    std::optional<std::size_t> lastAny;
    std::size_t taken = 0; // up to where the last "any text" reaches
    while (at < characters.size()) {
        const bool isThere = part < m_parts.size();
        if (isThere && m_parts[part].kind == Part::Kind::AnyText) {
            lastAny = part++;
            taken = at;
        } else if (isThere && (m_parts[part].kind == Part::Kind::AnyCharacter ||
                               m_parts[part].character == characters[at])) {
            ++part;
            ++at;
        } else if (lastAny) {
            part = *lastAny + 1;
            at = ++taken;
        } else {
            return false;
        }
    }
    return std::all_of(m_parts.begin() + static_cast<std::ptrdiff_t>(part), m_parts.end(),
                       [](const Part& left) { return left.kind == Part::Kind::AnyText; });
}

} // namespace Cartolith::Core::Layers::Internal
