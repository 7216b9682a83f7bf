#include <Cartolith/Core/Layers/Requests/FilterTokensInternal.h>

#include <cmath>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

bool isWordStart(QChar character) {
    return character.isLetter() || character == QLatin1Char('_');
}

} // namespace

void FilterTokens::fail(const char* what) const {
    throw std::runtime_error(QStringLiteral("The filter cannot be read at character %1: %2.")
                                 .arg(m_start + 1)
                                 .arg(QLatin1String(what))
                                 .toStdString());
}

void FilterTokens::next() {
    while (m_at < m_text.size() && m_text[m_at].isSpace()) {
        ++m_at;
    }
    m_start = m_at;
    m_token = {};
    if (m_at == m_text.size()) {
        m_kind = Kind::End;
        return;
    }
    const QChar first = m_text[m_at];
    if (first == QLatin1Char('\'') || first == QLatin1Char('"')) {
        m_kind = first == QLatin1Char('"') ? Kind::Name : Kind::Text;
        readQuoted(first);
    } else if (isWordStart(first)) {
        m_kind = Kind::Word;
        while (m_at < m_text.size() && (isWordStart(m_text[m_at]) || m_text[m_at].isDigit())) {
            m_token += m_text[m_at++];
        }
    } else if (first.isDigit() || first == QLatin1Char('-') || first == QLatin1Char('+') ||
               first == QLatin1Char('.')) {
        m_kind = Kind::Number;
        readNumber();
    } else {
        m_kind = Kind::Symbol;
        readSymbol();
    }
}

void FilterTokens::readQuoted(QChar quote) {
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

void FilterTokens::readNumber() {
    const auto isPart = [this] {
        const QChar character = m_text[m_at];
        const bool isExponentSign = (character == QLatin1Char('-') || character == QLatin1Char('+')) &&
                                    (m_token.isEmpty() || m_token.back().toLower() == QLatin1Char('e'));
        return character.isDigit() || character.isLetter() || character == QLatin1Char('.') || isExponentSign;
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
        require((isRead && std::isfinite(real)) || isBeyond, "this is no number");
        m_number = real;
    }
}

void FilterTokens::readSymbol() {
    for (const FilterOperator& known : filterOperators) {
        if (QStringView(m_text).mid(m_at).startsWith(QLatin1String(known.text))) {
            m_token = QLatin1String(known.text);
            m_at += m_token.size();
            return;
        }
    }
    m_token = m_text[m_at++];
}

bool FilterTokens::isWord(const char* word) const {
    return m_kind == Kind::Word && m_token.compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
}

bool FilterTokens::takeWord(const char* word) {
    const bool is = isWord(word);
    if (is) {
        next();
    }
    return is;
}

bool FilterTokens::takeSymbol(const char* symbol) {
    const bool is = m_kind == Kind::Symbol && m_token == QLatin1String(symbol);
    if (is) {
        next();
    }
    return is;
}

void FilterTokens::require(bool isThere, const char* what) const {
    if (!isThere) {
        fail(what);
    }
}

} // namespace Cartolith::Core::Layers::Internal
