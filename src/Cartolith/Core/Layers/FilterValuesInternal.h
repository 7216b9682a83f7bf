#pragma once

#include <QString>
#include <QVariant>

#include <compare>
#include <vector>

/// What GisFeatureFilter says of values.
namespace Cartolith::Core::Layers::Internal {

/// Without a value, or not a number.
bool isNothing(const QVariant& value);

/// Unordered where the two cannot be compared, or one is nothing.
std::partial_ordering compareValues(const QVariant& a, const QVariant& b);

/// A pattern of LIKE, taken apart once.
class TextPattern {
public:
    TextPattern(const QString& pattern, Qt::CaseSensitivity sensitivity);
    /// At most the product of both lengths.
    bool matches(const QString& text) const;

private:
    struct Part {
        enum class Kind { Character, AnyCharacter, AnyText } kind;
        char32_t character = 0;
    };
    std::vector<char32_t> charactersOf(const QString& text) const;

    bool m_folds;
    std::vector<Part> m_parts;
};

} // namespace Cartolith::Core::Layers::Internal
