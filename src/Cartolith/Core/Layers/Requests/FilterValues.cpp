#include <Cartolith/Core/Layers/Requests/FilterValuesInternal.h>

#include <QDateTime>

#include <algorithm>
#include <cmath>
#include <compare>

namespace Cartolith::Core::Layers::Internal {

namespace {

std::optional<ExactNumber> numberOf(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::Short:
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return static_cast<ExactNumber>(value.toLongLong());
    case QMetaType::UChar:
    case QMetaType::UShort:
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return static_cast<ExactNumber>(value.toULongLong());
    case QMetaType::Float:
    case QMetaType::Double:
        return static_cast<ExactNumber>(value.toDouble());
    default:
        return std::nullopt;
    }
}

std::optional<ExactNumber> numberIn(const QString& text) {
    bool isRead = false;
    if (const qlonglong whole = text.toLongLong(&isRead); isRead) {
        return static_cast<ExactNumber>(whole);
    }
    if (const qulonglong whole = text.toULongLong(&isRead); isRead) {
        return static_cast<ExactNumber>(whole);
    }
    const double real = text.toDouble(&isRead);
    return isRead && std::isfinite(real) ? std::optional(static_cast<ExactNumber>(real)) : std::nullopt;
}

std::optional<Moment> momentOf(const QDate& date, const QTime& time) {
    return date.isValid() && time.isValid()
               ? std::optional(Moment{date.toJulianDay(), time.msecsSinceStartOfDay(), {}})
               : std::nullopt;
}

// By date and time: one that a change of clocks leaves out is invalid as a whole.
std::optional<Moment> momentOf(const QDateTime& value) {
    auto moment = momentOf(value.date(), value.time());
    if (moment && value.timeSpec() != Qt::LocalTime) {
        moment->utc = value.toMSecsSinceEpoch();
    }
    return moment;
}

std::optional<Moment> momentIn(const QString& text) {
    constexpr qsizetype dateLength = 10;
    const QTime midnight(0, 0);
    if (text.size() <= dateLength) {
        return momentOf(QDate::fromString(text, Qt::ISODate), midnight);
    }
    // Read as UTC, a time without a zone is never one that this machine's clocks leave out.
    const QDateTime plain = QDateTime::fromString(text + QLatin1Char('Z'), Qt::ISODateWithMs);
    if (plain.isValid()) {
        return momentOf(plain.date(), plain.time());
    }
    const QDateTime zoned = QDateTime::fromString(text, Qt::ISODateWithMs);
    return zoned.timeSpec() != Qt::LocalTime ? momentOf(zoned) : std::nullopt;
}

std::optional<int> timeOf(const QTime& time) {
    return time.isValid() ? std::optional(time.msecsSinceStartOfDay()) : std::nullopt;
}

std::optional<int> timeIn(const QString& text) {
    return timeOf(QTime::fromString(text, Qt::ISODateWithMs));
}

std::strong_ordering compareClocks(const Moment& a, const Moment& b) {
    const auto days = a.day <=> b.day;
    return std::is_neq(days) ? days : a.milliseconds <=> b.milliseconds;
}

std::strong_ordering compareTexts(const QString& a, const QString& b) {
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

template <typename Value, typename Compare>
std::partial_ordering compareBoth(const std::optional<Value>& a, const std::optional<Value>& b,
                                  const Compare& compare) {
    return a && b ? std::partial_ordering(compare(*a, *b)) : std::partial_ordering::unordered;
}

} // namespace

Comparand::Comparand(const QVariant& value) {
    switch (value.isNull() ? QMetaType::UnknownType : value.typeId()) {
    case QMetaType::UnknownType:
        return;
    case QMetaType::QString:
        m_kind = Kind::Text;
        m_isRead = false;
        m_text = value.toString();
        return;
    case QMetaType::QDate:
        m_moment = momentOf(value.toDate(), QTime(0, 0));
        m_kind = m_moment ? Kind::Moment : Kind::Nothing;
        return;
    case QMetaType::QDateTime:
        m_moment = momentOf(value.toDateTime());
        m_kind = m_moment ? Kind::Moment : Kind::Nothing;
        return;
    case QMetaType::QTime:
        m_time = timeOf(value.toTime());
        m_kind = m_time ? Kind::Time : Kind::Nothing;
        return;
    default:
        m_number = numberOf(value);
        m_kind = !m_number ? Kind::Other : std::isnan(*m_number) ? Kind::Nothing : Kind::Number;
    }
}

Comparand Comparand::constant(const QVariant& value) {
    Comparand comparand(value);
    if (comparand.m_kind == Kind::Text) {
        comparand.m_number = comparand.number();
        comparand.m_moment = comparand.moment();
        comparand.m_time = comparand.time();
        comparand.m_isRead = true;
    }
    return comparand;
}

std::optional<ExactNumber> Comparand::number() const {
    return m_isRead ? m_number : numberIn(m_text);
}

std::optional<Moment> Comparand::moment() const {
    return m_isRead ? m_moment : momentIn(m_text.trimmed());
}

std::optional<int> Comparand::time() const {
    return m_isRead ? m_time : timeIn(m_text.trimmed());
}

bool isNothing(const QVariant& value) {
    return Comparand(value).kind() == Comparand::Kind::Nothing;
}

QVariant canonical(const QVariant& value) {
    switch (Comparand(value).kind()) {
    case Comparand::Kind::Nothing:
    case Comparand::Kind::Other:
        return {};
    case Comparand::Kind::Number:
        break;
    default:
        return value;
    }
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value;
    case QMetaType::Float:
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return QVariant::fromValue(value.toULongLong());
    default:
        return QVariant::fromValue(value.toLongLong());
    }
}

QString isoText(const QDateTime& moment) {
    return moment.timeSpec() == Qt::LocalTime ? moment.date().toString(Qt::ISODate) + QLatin1Char('T') +
                                                    moment.time().toString(Qt::ISODateWithMs)
                                              : moment.toString(Qt::ISODateWithMs);
}

std::partial_ordering compareValues(const Comparand& a, const Comparand& b) {
    using Kind = Comparand::Kind;
    const auto either = [&](Kind kind) { return a.kind() == kind || b.kind() == kind; };
    if (either(Kind::Nothing) || either(Kind::Other)) {
        return std::partial_ordering::unordered;
    }
    if (either(Kind::Number)) {
        return compareBoth(a.number(), b.number(),
                           [](ExactNumber one, ExactNumber other) { return one <=> other; });
    }
    if (either(Kind::Time)) {
        return compareBoth(a.time(), b.time(), [](int one, int other) { return one <=> other; });
    }
    if (either(Kind::Moment)) {
        return compareBoth(a.moment(), b.moment(), [](const Moment& one, const Moment& other) {
            return one.utc && other.utc ? *one.utc <=> *other.utc : compareClocks(one, other);
        });
    }
    return compareTexts(a.text(), b.text());
}

std::weak_ordering orderOf(const Comparand& a, const Comparand& b) {
    if (a.kind() != b.kind()) {
        return a.kind() <=> b.kind();
    }
    switch (a.kind()) {
    case Comparand::Kind::Number:
        return *a.number() < *b.number()   ? std::weak_ordering::less
               : *b.number() < *a.number() ? std::weak_ordering::greater
                                           : std::weak_ordering::equivalent;
    case Comparand::Kind::Moment: {
        // Those without a zone by themselves: what lies between them and others would hang on the third.
        const Moment one = *a.moment();
        const Moment other = *b.moment();
        return one.utc && other.utc     ? *one.utc <=> *other.utc
               : !one.utc && !other.utc ? compareClocks(one, other)
               : one.utc                ? std::weak_ordering::greater
                                        : std::weak_ordering::less;
    }
    case Comparand::Kind::Time:
        return *a.time() <=> *b.time();
    case Comparand::Kind::Text:
        return compareTexts(a.text(), b.text());
    default:
        return std::weak_ordering::equivalent;
    }
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
