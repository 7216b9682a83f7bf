#pragma once

#include <Cartolith/Core/Layers/GisFeatureFilter.h>

#include <QString>
#include <QVariant>

#include <array>

namespace Cartolith::Core::Layers::Internal {

/// A comparison as it is written.
struct FilterOperator {
    const char* text;
    GisFeatureFilter::Comparison comparison;
};
// The longer ones first; of two for one comparison, the first is written.
inline constexpr std::array<FilterOperator, 7> filterOperators{
    {{"<>", GisFeatureFilter::Comparison::NotEqual},
     {"!=", GisFeatureFilter::Comparison::NotEqual},
     {"<=", GisFeatureFilter::Comparison::LessOrEqual},
     {">=", GisFeatureFilter::Comparison::GreaterOrEqual},
     {"=", GisFeatureFilter::Comparison::Equal},
     {"<", GisFeatureFilter::Comparison::Less},
     {">", GisFeatureFilter::Comparison::Greater}}};

/// Between two of the marks, which are doubled inside.
inline QString quoted(const QString& text, QLatin1Char quote) {
    return quote + QString(text).replace(quote, QString(2, quote)) + quote;
}

/// The text of a filter, word by word.
class FilterTokens {
public:
    enum class Kind { Word, Name, Text, Number, Symbol, End };

    /// At the first one. This and next() throw as fail() does.
    explicit FilterTokens(const QString& text) : m_text(text) { next(); }
    void next();

    Kind kind() const noexcept { return m_kind; }
    /// Of a name or a text, what stands between the quotation marks.
    const QString& text() const noexcept { return m_token; }
    const QVariant& number() const noexcept { return m_number; }
    bool isWord(const char* word) const;

    /// Go to the next one where it is this one.
    bool takeWord(const char* word);
    bool takeSymbol(const char* symbol);

    /// \throws std::runtime_error with the place of the token
    [[noreturn]] void fail(const char* what) const;
    void require(bool isThere, const char* what) const;

private:
    void readQuoted(QChar quote);
    void readNumber();
    void readSymbol();

    QString m_text;
    qsizetype m_at = 0;
    qsizetype m_start = 0; // of the token
    Kind m_kind = Kind::End;
    QString m_token;
    QVariant m_number;
};

} // namespace Cartolith::Core::Layers::Internal
