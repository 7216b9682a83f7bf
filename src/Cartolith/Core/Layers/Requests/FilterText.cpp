// GisFeatureFilter::fromText().

#include <Cartolith/Core/Layers/GisFeatureFilter.h>
#include <Cartolith/Core/Layers/Requests/FilterNodeInternal.h>
#include <Cartolith/Core/Layers/Requests/FilterTokensInternal.h>

#include <QDateTime>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace Cartolith::Core::Layers {

using Internal::FilterNode;
using Internal::FilterTokens;

namespace {

class FilterReader {
public:
    explicit FilterReader(const QString& text) : m_tokens(text) {}

    GisFeatureFilter read() {
        if (m_tokens.kind() == Token::End) {
            return {};
        }
        GisFeatureFilter filter;
        try {
            filter = readOr();
        } catch (const std::invalid_argument&) {
            m_tokens.fail(tooDeep);
        }
        m_tokens.require(m_tokens.kind() == Token::End, "something follows the filter");
        return filter;
    }

private:
    using Token = FilterTokens::Kind;
    static constexpr const char* tooDeep = "it is nested too deeply";

    class Level {
    public:
        explicit Level(FilterReader& reader) : m_reader(reader) {
            if (++reader.m_level > FilterNode::deepest) {
                reader.m_tokens.fail(tooDeep);
            }
        }
        ~Level() { --m_reader.m_level; }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;

    private:
        FilterReader& m_reader;
    };

    template <typename Part, typename Combine>
    GisFeatureFilter readList(const char* word, const Part& part, const Combine& combine) {
        QList<GisFeatureFilter> filters{part()};
        while (m_tokens.takeWord(word)) {
            filters.append(part());
        }
        return filters.size() == 1 ? filters.constFirst() : combine(filters);
    }

    GisFeatureFilter readOr() {
        return readList(
            "or", [this] { return readAnd(); }, GisFeatureFilter::any);
    }

    GisFeatureFilter readAnd() {
        return readList(
            "and", [this] { return readNot(); }, GisFeatureFilter::all);
    }

    GisFeatureFilter readNot() {
        const Level level(*this);
        if (m_tokens.takeWord("not")) {
            return GisFeatureFilter::negation(readNot());
        }
        if (m_tokens.takeSymbol("(")) {
            GisFeatureFilter filter = readOr();
            m_tokens.require(m_tokens.takeSymbol(")"), "a closing bracket is missing");
            return filter;
        }
        return readTest();
    }

    GisFeatureFilter readTest() {
        constexpr std::array reserved{"and",   "or",      "not",  "is",   "in",   "like",
                                      "ilike", "between", "null", "true", "false"};
        const bool isReserved = std::any_of(reserved.begin(), reserved.end(),
                                            [this](const char* word) { return m_tokens.isWord(word); });
        m_tokens.require(m_tokens.kind() == Token::Name || (m_tokens.kind() == Token::Word && !isReserved),
                         "the name of a field is missing");
        const QString field = m_tokens.text();
        m_tokens.next();
        if (m_tokens.takeWord("is")) {
            const bool isNegated = m_tokens.takeWord("not");
            m_tokens.require(m_tokens.takeWord("null"), "NULL is missing");
            return signedBy(isNegated, GisFeatureFilter::isNull(field));
        }
        if (m_tokens.kind() == Token::Symbol) {
            for (const Internal::FilterOperator& known : Internal::filterOperators) {
                if (m_tokens.takeSymbol(known.text)) {
                    return GisFeatureFilter::compare(field, known.comparison, readValue());
                }
            }
            m_tokens.fail("an operator is missing");
        }
        const bool isNegated = m_tokens.takeWord("not");
        return signedBy(isNegated, readWordTest(field));
    }

    GisFeatureFilter readWordTest(const QString& field) {
        if (m_tokens.takeWord("in")) {
            return GisFeatureFilter::in(field, readValues());
        }
        if (m_tokens.takeWord("between")) {
            const QVariant least = readValue();
            m_tokens.require(m_tokens.takeWord("and"), "AND is missing");
            return GisFeatureFilter::between(field, least, readValue());
        }
        const bool isExact = m_tokens.isWord("like");
        m_tokens.require(isExact || m_tokens.isWord("ilike"), "an operator is missing");
        m_tokens.next();
        m_tokens.require(m_tokens.kind() == Token::Text, "a pattern is missing");
        const QString pattern = m_tokens.text();
        m_tokens.next();
        return GisFeatureFilter::like(field, pattern, isExact ? Qt::CaseSensitive : Qt::CaseInsensitive);
    }

    static GisFeatureFilter signedBy(bool isNegated, const GisFeatureFilter& filter) {
        return isNegated ? GisFeatureFilter::negation(filter) : filter;
    }

    QList<QVariant> readValues() {
        m_tokens.require(m_tokens.takeSymbol("("), "a list is missing");
        QList<QVariant> values;
        if (m_tokens.takeSymbol(")")) {
            return values;
        }
        do {
            values.append(readValue());
        } while (m_tokens.takeSymbol(","));
        m_tokens.require(m_tokens.takeSymbol(")"), "a closing bracket is missing");
        return values;
    }

    QVariant readValue() {
        QVariant value;
        if (m_tokens.kind() == Token::Text) {
            value = m_tokens.text();
        } else if (m_tokens.kind() == Token::Number) {
            value = m_tokens.number();
        } else if (m_tokens.isWord("true") || m_tokens.isWord("false")) {
            value = m_tokens.isWord("true");
        } else if (m_tokens.isWord("date") || m_tokens.isWord("time") || m_tokens.isWord("timestamp")) {
            value = readMoment();
        } else {
            m_tokens.require(m_tokens.isWord("null"), "a value is missing");
        }
        m_tokens.next();
        return value;
    }

    /// At its last token, which is the text.
    QVariant readMoment() {
        const bool isDate = m_tokens.isWord("date");
        const bool isTime = m_tokens.isWord("time");
        m_tokens.next();
        m_tokens.require(m_tokens.kind() == Token::Text, "a text is missing");
        QVariant value = isDate   ? QVariant(QDate::fromString(m_tokens.text(), Qt::ISODate))
                         : isTime ? QVariant(QTime::fromString(m_tokens.text(), Qt::ISODateWithMs))
                                  : QVariant(QDateTime::fromString(m_tokens.text(), Qt::ISODateWithMs));
        m_tokens.require(!Internal::isNothing(value), "this is no date or time");
        return value;
    }

    FilterTokens m_tokens;
    int m_level = 0;
};

} // namespace

GisFeatureFilter GisFeatureFilter::fromText(const QString& text) {
    return FilterReader(text).read();
}

} // namespace Cartolith::Core::Layers
