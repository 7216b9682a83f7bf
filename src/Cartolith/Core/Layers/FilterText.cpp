// The text of GisFeatureFilter, written and read.

#include <Cartolith/Core/Layers/FilterNodeInternal.h>
#include <Cartolith/Core/Layers/GisFeatureFilter.h>

#include <QDateTime>
#include <QLocale>

#include <array>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers {

using Internal::FilterNode;

namespace {

using Kind = FilterNode::Kind;
using Comparison = GisFeatureFilter::Comparison;

struct Operator {
    const char* text;
    Comparison comparison;
};
// The longer ones first.
constexpr std::array<Operator, 7> operators{{{"<>", Comparison::NotEqual},
                                             {"!=", Comparison::NotEqual},
                                             {"<=", Comparison::LessOrEqual},
                                             {">=", Comparison::GreaterOrEqual},
                                             {"=", Comparison::Equal},
                                             {"<", Comparison::Less},
                                             {">", Comparison::Greater}}};

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
        GisFeatureFilter filter = readOr();
        if (m_kind != Token::End) {
            fail("something follows the filter");
        }
        return filter;
    }

private:
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
        const QLocale locale = QLocale::c();
        const qlonglong whole = locale.toLongLong(m_token, &isRead);
        m_number = QVariant::fromValue(whole);
        if (!isRead) {
            m_number = locale.toDouble(m_token, &isRead);
        }
        if (!isRead) {
            fail("this is no number");
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
                reader.fail("it is nested too deeply");
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
        static const QStringList reserved{"and",   "or",      "not",  "is",   "in",   "like",
                                          "ilike", "between", "null", "true", "false"};
        require(m_kind == Token::Name ||
                    (m_kind == Token::Word && !reserved.contains(m_token, Qt::CaseInsensitive)),
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
        } else {
            require(isWord("null"), "a value is missing");
        }
        advance();
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
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return QStringLiteral("NULL");
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("TRUE") : QStringLiteral("FALSE");
    case QMetaType::Float:
    case QMetaType::Double: {
        const QString text = QLocale::c().toString(value.toDouble(), 'g', QLocale::FloatingPointShortest);
        return text;
    }
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return value.toString();
    case QMetaType::QDateTime:
        return quoted(value.toDateTime().toString(Qt::ISODateWithMs), QLatin1Char('\''));
    default:
        return quoted(value.toString(), QLatin1Char('\''));
    }
}

QString textOf(const FilterNode* node);

QString listText(const FilterNode& node) {
    if (node.children.empty()) { // of no test at all
        return node.kind == Kind::And ? QStringLiteral("NOT \"\" IN ()") : QStringLiteral("\"\" IN ()");
    }
    QStringList texts;
    for (const auto& child : node.children) {
        texts.append(textOf(child.get()));
    }
    return QLatin1Char('(') +
           texts.join(node.kind == Kind::And ? QStringLiteral(" AND ") : QStringLiteral(" OR ")) +
           QLatin1Char(')');
}

QString textOf(const FilterNode* node) {
    if (node == nullptr) {
        return QStringLiteral("NOT \"\" IN ()");
    }
    switch (node->kind) {
    case Kind::And:
    case Kind::Or:
        return listText(*node);
    case Kind::Not:
        return QStringLiteral("NOT ") + textOf(node->children.front().get());
    case Kind::IsNull:
        return nameText(node->field) + QStringLiteral(" IS NULL");
    case Kind::Like:
        return nameText(node->field) +
               (node->sensitivity == Qt::CaseSensitive ? QStringLiteral(" LIKE ")
                                                       : QStringLiteral(" ILIKE ")) +
               valueText(node->values.constFirst());
    case Kind::Compare:
        for (const Operator& known : operators) {
            if (known.comparison == node->comparison) {
                return nameText(node->field) + QLatin1Char(' ') + QLatin1String(known.text) +
                       QLatin1Char(' ') + valueText(node->values.constFirst());
            }
        }
        return {};
    case Kind::In: {
        QStringList texts;
        for (const QVariant& value : node->values) {
            texts.append(valueText(value));
        }
        return nameText(node->field) + QStringLiteral(" IN (") + texts.join(QStringLiteral(", ")) +
               QLatin1Char(')');
    }
    }
    return {};
}

} // namespace

GisFeatureFilter GisFeatureFilter::fromText(const QString& text) {
    return FilterReader(text).read();
}

QString GisFeatureFilter::toText() const {
    return wantsAll() ? QString() : textOf(m_node.get());
}

} // namespace Cartolith::Core::Layers
