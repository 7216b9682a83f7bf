#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <compare>
#include <optional>
#include <vector>

/// What GisFeatureFilter and the order of a request say of values.
namespace Cartolith::Core::Layers::Internal {

// Its 64 bits of mantissa hold every whole number of 64 bits and every double.
using ExactNumber = long double;

/// What a clock and a calendar show, and the moment that it is where that does not hang on this machine's
/// time zone.
struct Moment {
    qint64 day = 0;
    int milliseconds = 0;
    std::optional<qint64> utc;
};

/// A value as it is compared.
class Comparand {
public:
    enum class Kind { Number, Moment, Time, Text, Other, Nothing };

    explicit Comparand(const QVariant& value);
    /// One that is compared with many: a text is read as everything it may stand for, once.
    static Comparand constant(const QVariant& value);

    Kind kind() const noexcept { return m_kind; }
    const QString& text() const noexcept { return m_text; }
    /// Unset for what is none, and for a text that cannot be read as one.
    std::optional<ExactNumber> number() const;
    std::optional<Moment> moment() const;
    std::optional<int> time() const; ///< milliseconds of the day

private:
    Kind m_kind = Kind::Nothing;
    bool m_isRead = true; // the text, as the following
    std::optional<ExactNumber> m_number;
    std::optional<Moment> m_moment;
    std::optional<int> m_time;
    QString m_text;
};

/// Without a value, or not a number.
bool isNothing(const QVariant& value);
/// One of the types that values are told apart by, or invalid where there is nothing to compare.
QVariant canonical(const QVariant& value);

/// As ISO 8601 has it, with the zone unless it is this machine's; also of one that a change of clocks leaves
/// out.
QString isoText(const QDateTime& moment);

/// Unordered where the two cannot be compared, or one is nothing.
std::partial_ordering compareValues(const Comparand& a, const Comparand& b);
/// An order of all values: numbers, dates with and without times, times, texts, others, nothing.
std::weak_ordering orderOf(const Comparand& a, const Comparand& b);

/// A pattern of LIKE, taken apart once.
class TextPattern {
public:
    TextPattern(const QString& pattern, Qt::CaseSensitivity sensitivity);
    /// At most the product of both lengths.
    bool matches(const QString& text) const;

    struct Part {
        enum class Kind { Character, AnyCharacter, AnyText } kind;
        char32_t character = 0;
    };
    bool folds() const noexcept { return m_folds; }
    const std::vector<Part>& parts() const noexcept { return m_parts; }

private:
    std::vector<char32_t> charactersOf(const QString& text) const;

    bool m_folds;
    std::vector<Part> m_parts;
};

} // namespace Cartolith::Core::Layers::Internal
