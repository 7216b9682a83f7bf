// The text of GisFeatureFilter, written and read.

#include <Cartolith/Core/Layers/GisFeatureFilter.h>
#include <Cartolith/Core/Layers/Requests/FilterNodeInternal.h>

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers {

using Internal::FilterNode;

namespace {

struct Operator {
    const char* text;
    GisFeatureFilter::Comparison comparison;
};
using Is = GisFeatureFilter::Comparison;
// The longer ones first.
constexpr std::array<Operator, 7> operators{{{"<>", Is::NotEqual},
                                             {"!=", Is::NotEqual},
                                             {"<=", Is::LessOrEqual},
                                             {">=", Is::GreaterOrEqual},
                                             {"=", Is::Equal},
                                             {"<", Is::Less},
                                             {">", Is::Greater}}};

bool isWordStart(QChar character) {
    return character.isLetter() || character == QLatin1Char('_');
}

class FilterReader {
public:
    explicit FilterReader(const QString& text) : m_text(text) { advance(); }

    GisFeatureFilter read() {
        if (m_kind == Token::End) {
            return {};
        }
        GisFeatureFilter filter;
        try {
            filter = readOr();
        } catch (const std::invalid_argument&) {
            fail(tooDeep);
        }
        require(m_kind == Token::End, "something follows the filter");
        return filter;
    }

private:
    static constexpr const char* tooDeep = "it is nested too deeply";
    enum class Token { Word, Name, Text, Number, Symbol, End };

    [[noreturn]] void fail(const char* what) const {
        throw std::runtime_error(QStringLiteral("The filter cannot be read at character %1: %2.")
                                     .arg(m_start + 1)
                                     .arg(QLatin1String(what))
                                     .toStdString());
    }

    // Tokens

    void advance() {
        while (m_at < m_text.size() && m_text[m_at].isSpace()) {
            ++m_at;
        }
        m_start = m_at;
        m_token = {};
        if (m_at == m_text.size()) {
            m_kind = Token::End;
            return;
        }
        const QChar first = m_text[m_at];
        if (first == QLatin1Char('\'') || first == QLatin1Char('"')) {
            m_kind = first == QLatin1Char('"') ? Token::Name : Token::Text;
            readQuoted(first);
        } else if (isWordStart(first)) {
            m_kind = Token::Word;
            while (m_at < m_text.size() && (isWordStart(m_text[m_at]) || m_text[m_at].isDigit())) {
                m_token += m_text[m_at++];
            }
        } else if (first.isDigit() || first == QLatin1Char('-') || first == QLatin1Char('+') ||
                   first == QLatin1Char('.')) {
            m_kind = Token::Number;
            readNumber();
        } else {
            m_kind = Token::Symbol;
            readSymbol();
        }
    }

    void readQuoted(QChar quote) {
        for (++m_at; m_at < m_text.size(); ++m_at) {
            if (m_text[m_at] != quote) {
                m_token += m_text[m_at];
            } else if (m_at + 1 < m_text.size() && m_text[m_at + 1] == quote) {
                m_token += m_text[m_at++];
            } else {
                ++m_at;
                return;
            }
        }
        fail("a quotation mark is missing");
    }

    void readNumber() {
        const auto isPart = [this] {
            const QChar character = m_text[m_at];
            const bool isExponentSign = (character == QLatin1Char('-') || character == QLatin1Char('+')) &&
                                        (m_token.isEmpty() || m_token.back().toLower() == QLatin1Char('e'));
            return character.isDigit() || character.isLetter() || character == QLatin1Char('.') ||
                   isExponentSign;
        };
        while (m_at < m_text.size() && isPart()) {
            m_token += m_text[m_at++];
        }
        bool isRead = false;
        m_number = QVariant::fromValue(m_token.toLongLong(&isRead));
        if (!isRead) {
            m_number = QVariant::fromValue(m_token.toULongLong(&isRead));
        }
        if (!isRead) {
            const double real = m_token.toDouble(&isRead);
            const bool isBeyond = std::isinf(real) && m_token.back().isDigit(); // 1e999
            require(isRead || isBeyond, "this is no number");
            m_number = real;
        }
    }

    void readSymbol() {
        for (const Operator& known : operators) {
            if (QStringView(m_text).mid(m_at).startsWith(QLatin1String(known.text))) {
                m_token = QLatin1String(known.text);
                m_at += m_token.size();
                return;
            }
        }
        m_token = m_text[m_at++];
    }

    bool isWord(const char* word) const {
        return m_kind == Token::Word && m_token.compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
    }
    bool takeWord(const char* word) {
        const bool is = isWord(word);
        if (is) {
            advance();
        }
        return is;
    }
    bool takeSymbol(const char* symbol) {
        const bool is = m_kind == Token::Symbol && m_token == QLatin1String(symbol);
        if (is) {
            advance();
        }
        return is;
    }
    void require(bool isThere, const char* what) const {
        if (!isThere) {
            fail(what);
        }
    }

    // Grammar

    class Level {
    public:
        explicit Level(FilterReader& reader) : m_reader(reader) {
            if (++reader.m_level > FilterNode::deepest) {
                reader.fail(tooDeep);
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
        while (takeWord(word)) {
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
        if (takeWord("not")) {
            return GisFeatureFilter::negation(readNot());
        }
        if (takeSymbol("(")) {
            GisFeatureFilter filter = readOr();
            require(takeSymbol(")"), "a closing bracket is missing");
            return filter;
        }
        return readTest();
    }

    GisFeatureFilter readTest() {
        constexpr std::array reserved{"and",   "or",      "not",  "is",   "in",   "like",
                                      "ilike", "between", "null", "true", "false"};
        const bool isReserved =
            std::any_of(reserved.begin(), reserved.end(), [this](const char* word) { return isWord(word); });
        require(m_kind == Token::Name || (m_kind == Token::Word && !isReserved),
                "the name of a field is missing");
        const QString field = m_token;
        advance();
        if (takeWord("is")) {
            const bool isNegated = takeWord("not");
            require(takeWord("null"), "NULL is missing");
            return signedBy(isNegated, GisFeatureFilter::isNull(field));
        }
        if (m_kind == Token::Symbol) {
            for (const Operator& known : operators) {
                if (takeSymbol(known.text)) {
                    return GisFeatureFilter::compare(field, known.comparison, readValue());
                }
            }
            fail("an operator is missing");
        }
        const bool isNegated = takeWord("not");
        return signedBy(isNegated, readWordTest(field));
    }

    GisFeatureFilter readWordTest(const QString& field) {
        if (takeWord("in")) {
            return GisFeatureFilter::in(field, readValues());
        }
        if (takeWord("between")) {
            const QVariant least = readValue();
            require(takeWord("and"), "AND is missing");
            return GisFeatureFilter::between(field, least, readValue());
        }
        const bool isExact = isWord("like");
        require(isExact || isWord("ilike"), "an operator is missing");
        advance();
        require(m_kind == Token::Text, "a pattern is missing");
        const QString pattern = m_token;
        advance();
        return GisFeatureFilter::like(field, pattern, isExact ? Qt::CaseSensitive : Qt::CaseInsensitive);
    }

    static GisFeatureFilter signedBy(bool isNegated, const GisFeatureFilter& filter) {
        return isNegated ? GisFeatureFilter::negation(filter) : filter;
    }

    QList<QVariant> readValues() {
        require(takeSymbol("("), "a list is missing");
        QList<QVariant> values;
        if (takeSymbol(")")) {
            return values;
        }
        do {
            values.append(readValue());
        } while (takeSymbol(","));
        require(takeSymbol(")"), "a closing bracket is missing");
        return values;
    }

    QVariant readValue() {
        QVariant value;
        if (m_kind == Token::Text) {
            value = m_token;
        } else if (m_kind == Token::Number) {
            value = m_number;
        } else if (isWord("true") || isWord("false")) {
            value = isWord("true");
        } else if (isWord("date") || isWord("time") || isWord("timestamp")) {
            value = readMoment();
        } else {
            require(isWord("null"), "a value is missing");
        }
        advance();
        return value;
    }

    /// At its last token, which is the text.
    QVariant readMoment() {
        const bool isDate = isWord("date");
        const bool isTime = isWord("time");
        advance();
        require(m_kind == Token::Text, "a text is missing");
        QVariant value = isDate   ? QVariant(QDate::fromString(m_token, Qt::ISODate))
                         : isTime ? QVariant(QTime::fromString(m_token, Qt::ISODateWithMs))
                                  : QVariant(QDateTime::fromString(m_token, Qt::ISODateWithMs));
        require(!Internal::isNothing(value), "this is no date or time");
        return value;
    }

    QString m_text;
    qsizetype m_at = 0;
    qsizetype m_start = 0; // of the token
    Token m_kind = Token::End;
    QString m_token;
    QVariant m_number;
    int m_level = 0;
};

QString quoted(const QString& text, QChar quote) {
    return quote + QString(text).replace(quote, QString(2, quote)) + quote;
}

QString nameText(const QString& name) {
    return quoted(name, QLatin1Char('"'));
}

QString valueText(const QVariant& value) {
    const QLatin1Char quote('\'');
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return QStringLiteral("NULL");
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("TRUE") : QStringLiteral("FALSE");
    case QMetaType::Double: {
        const double number = value.toDouble();
        return std::isfinite(number) ? QLocale::c().toString(number, 'g', QLocale::FloatingPointShortest)
                                     : QLatin1String(number > 0.0 ? "1e999" : "-1e999");
    }
    case QMetaType::QDate:
        return QStringLiteral("DATE ") + quoted(value.toDate().toString(Qt::ISODate), quote);
    case QMetaType::QTime:
        return QStringLiteral("TIME ") + quoted(value.toTime().toString(Qt::ISODateWithMs), quote);
    case QMetaType::QDateTime:
        return QStringLiteral("TIMESTAMP ") + quoted(Internal::isoText(value.toDateTime()), quote);
    case QMetaType::QString:
        return quoted(value.toString(), quote);
    default:
        return value.toString();
    }
}

template <typename Items, typename Text>
QString joined(const Items& items, const char* separator, const Text& text) {
    QStringList texts;
    for (const auto& item : items) {
        texts.append(text(item));
    }
    return QLatin1Char('(') + texts.join(QLatin1String(separator)) + QLatin1Char(')');
}

QString textOf(const FilterNode& node) {
    using Kind = FilterNode::Kind;
    switch (node.kind) {
    case Kind::And:
    case Kind::Or:
        return joined(node.children, node.kind == Kind::And ? " AND " : " OR ",
                      [](const auto& child) { return textOf(*child); });
    case Kind::Not:
        return QStringLiteral("NOT ") + textOf(*node.children.front());
    case Kind::IsNull:
        return nameText(node.field) + QStringLiteral(" IS NULL");
    case Kind::Like:
        return nameText(node.field) +
               QLatin1String(node.sensitivity == Qt::CaseSensitive ? " LIKE " : " ILIKE ") +
               valueText(node.values.constFirst());
    case Kind::In:
        return nameText(node.field) + QStringLiteral(" IN ") + joined(node.values, ", ", valueText);
    case Kind::Compare:
        break;
    }
    const auto* const known = std::find_if(operators.begin(), operators.end(), [&](const Operator& one) {
        return one.comparison == node.comparison;
    });
    return nameText(node.field) + QLatin1Char(' ') + QLatin1String(known->text) + QLatin1Char(' ') +
           valueText(node.values.constFirst());
}

} // namespace

GisFeatureFilter GisFeatureFilter::fromText(const QString& text) {
    return FilterReader(text).read();
}

QString GisFeatureFilter::toText() const {
    return wantsAll() ? QString() : textOf(*m_node);
}

} // namespace Cartolith::Core::Layers
