#include <Cartolith/Core/Layers/Json/JsonTextInternal.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <string_view>

namespace Cartolith::Core::Layers::Internal {

namespace {

[[noreturn]] void refuseJson() {
    throw std::runtime_error("it is not written as JSON is");
}

bool isJsonBlank(char c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

qsizetype behindBlanks(QByteArrayView text, qsizetype at) {
    while (at < text.size() && isJsonBlank(text[at])) {
        ++at;
    }
    return at;
}

char charAt(QByteArrayView text, qsizetype at) {
    return at < text.size() ? text[at] : '\0';
}

/// Behind the string that begins there.
qsizetype endOfString(QByteArrayView text, qsizetype at) {
    if (charAt(text, at) != '"') {
        refuseJson();
    }
    for (++at; charAt(text, at) != '"'; ++at) {
        at += charAt(text, at) == '\\' ? 1 : 0;
        if (at >= text.size()) {
            refuseJson();
        }
    }
    return at + 1;
}

/// Calls the function with the place of each item of an object or array, which gives the end of the item.
template <typename Item>
void forItems(QByteArrayView text, char open, char close, const Item& item) {
    qsizetype at = behindBlanks(text, 0);
    if (charAt(text, at) != open) {
        refuseJson();
    }
    at = behindBlanks(text, at + 1);
    if (charAt(text, at) == close) {
        return;
    }
    for (;;) {
        at = behindBlanks(text, item(at));
        if (charAt(text, at) == close) {
            return;
        }
        if (charAt(text, at) != ',') {
            refuseJson();
        }
        at = behindBlanks(text, at + 1);
    }
}

/// Takes a text apart by the grammar.
class Checker {
public:
    explicit Checker(QByteArrayView text) : m_text(text) {}

    bool isValue() {
        std::vector<char> open; // the brackets around
        for (;;) {
            skip();
            const char first = charAt(m_text, m_at);
            if (first == '{' || first == '[') {
                open.push_back(first);
                ++m_at;
                if (open.size() > deepest) {
                    return false;
                }
                if (!take(first == '{' ? '}' : ']')) {
                    if (first == '{' && !name()) {
                        return false;
                    }
                    continue;
                }
                open.pop_back();
            } else if (!scalar(first)) {
                return false;
            }
            while (!open.empty() && take(open.back() == '{' ? '}' : ']')) {
                open.pop_back();
            }
            if (open.empty()) {
                skip();
                return m_at == m_text.size();
            }
            if (!take(',') || (open.back() == '{' && !name())) {
                return false;
            }
        }
    }

private:
    static constexpr std::size_t deepest = 24; // some readers stop at 32, and around it there are others

    void skip() { m_at = behindBlanks(m_text, m_at); }

    bool take(char c) {
        skip();
        const bool isThere = charAt(m_text, m_at) == c && m_at < m_text.size();
        m_at += isThere ? 1 : 0;
        return isThere;
    }

    bool name() {
        skip();
        return string() && take(':');
    }

    bool scalar(char first) {
        if (first == '"') {
            return string();
        }
        for (const std::string_view word : {"true", "false", "null"}) {
            if (m_text.sliced(m_at).startsWith(QByteArrayView(word.data(), std::ssize(word)))) {
                m_at += std::ssize(word);
                return true;
            }
        }
        return number();
    }

    bool string() {
        if (charAt(m_text, m_at) != '"') {
            return false;
        }
        for (++m_at; charAt(m_text, m_at) != '"'; ++m_at) {
            if (static_cast<uchar>(charAt(m_text, m_at)) < ' ') {
                return false;
            }
            if (m_text[m_at] == '\\') {
                const char escaped = charAt(m_text, ++m_at);
                constexpr qsizetype digits = 4;
                for (qsizetype i = 0; escaped == 'u' && i < digits; ++i) {
                    if (std::isxdigit(static_cast<uchar>(charAt(m_text, ++m_at))) == 0) {
                        return false;
                    }
                }
                if (escaped == '\0' || !QByteArrayView("\"\\/bfnrtu").contains(escaped)) {
                    return false;
                }
            }
        }
        ++m_at;
        return true;
    }

    bool digits() {
        const qsizetype start = m_at;
        while (charAt(m_text, m_at) >= '0' && charAt(m_text, m_at) <= '9') {
            ++m_at;
        }
        return m_at > start;
    }

    bool number() {
        m_at += charAt(m_text, m_at) == '-' ? 1 : 0;
        const qsizetype start = m_at;
        if (!digits() || (m_text[start] == '0' && m_at > start + 1)) {
            return false;
        }
        if (charAt(m_text, m_at) == '.' && (++m_at, !digits())) {
            return false;
        }
        if (charAt(m_text, m_at) == 'e' || charAt(m_text, m_at) == 'E') {
            ++m_at;
            m_at += charAt(m_text, m_at) == '-' || charAt(m_text, m_at) == '+' ? 1 : 0;
            return digits();
        }
        return true;
    }

    QByteArrayView m_text;
    qsizetype m_at = 0;
};

} // namespace

QString jsonStringOf(QByteArrayView quoted) {
    const QString text = QString::fromUtf8(quoted);
    QString said;
    for (qsizetype i = 1; i < text.size() - 1; ++i) {
        const auto escaped =
            text[i] == QLatin1Char('\\') ? QLatin1String("bfnrtu").indexOf(text[++i]) : qsizetype{-1};
        constexpr qsizetype unicode = 5;
        constexpr int digits = 4;
        if (escaped == unicode) {
            said += QChar(QStringView(text).mid(i + 1, digits).toUShort(nullptr, 16));
            i += digits;
        } else {
            said += escaped >= 0 ? QLatin1Char("\b\f\n\r\t"[escaped]) : text[i];
        }
    }
    return said;
}

QString JsonMember::name() const {
    return jsonStringOf(key);
}

qsizetype endOfJsonValue(QByteArrayView text, qsizetype at) {
    at = behindBlanks(text, at);
    const char first = charAt(text, at);
    if (first == '"') {
        return endOfString(text, at);
    }
    const qsizetype start = at;
    if (first != '{' && first != '[') {
        while (at < text.size() && !isJsonBlank(text[at]) && !QByteArrayView(",:{}[]\"").contains(text[at])) {
            ++at;
        }
        if (at == start) {
            refuseJson();
        }
        return at;
    }
    for (qsizetype depth = 0; at < text.size();) {
        const char c = text[at];
        depth += c == '{' || c == '[' ? 1 : (c == '}' || c == ']' ? -1 : 0);
        at = c == '"' ? endOfString(text, at) : at + 1;
        if (depth == 0) {
            return at;
        }
    }
    refuseJson();
}

std::vector<JsonMember> jsonMembersOf(QByteArrayView object) {
    std::vector<JsonMember> members;
    forItems(object, '{', '}', [&](qsizetype at) {
        const qsizetype colon = behindBlanks(object, endOfString(object, at));
        const QByteArrayView key = object.sliced(at, endOfString(object, at) - at);
        if (charAt(object, colon) != ':') {
            refuseJson();
        }
        const qsizetype start = behindBlanks(object, colon + 1);
        const qsizetype end = endOfJsonValue(object, start);
        members.push_back({key, object.sliced(start, end - start)});
        return end;
    });
    return members;
}

std::vector<QByteArrayView> jsonElementsOf(QByteArrayView array) {
    std::vector<QByteArrayView> elements;
    forItems(array, '[', ']', [&](qsizetype at) {
        const qsizetype end = endOfJsonValue(array, at);
        elements.push_back(array.sliced(at, end - at));
        return end;
    });
    return elements;
}

bool isJson(QByteArrayView text) {
    return Checker(text).isValue();
}

JsonObject::JsonObject(QByteArrayView text) : m_text(text), m_members(jsonMembersOf(text)) {}

const JsonMember* JsonObject::find(const QString& name) const {
    const auto found = std::find_if(m_members.rbegin(), m_members.rend(),
                                    [&name](const JsonMember& member) { return member.name() == name; });
    return found != m_members.rend() ? &*found : nullptr;
}

const JsonMember* JsonObject::findInAnyCase(const QString& name) const {
    if (const JsonMember* const exact = find(name)) {
        return exact;
    }
    const auto found = std::find_if(m_members.begin(), m_members.end(), [&name](const JsonMember& member) {
        return member.name().compare(name, Qt::CaseInsensitive) == 0;
    });
    return found != m_members.end() ? find(found->name()) : nullptr;
}

void JsonObject::set(QByteArrayView key, const QByteArray& value) {
    const QString name = jsonStringOf(key);
    m_values[name] = value;
    if (find(name) == nullptr) {
        m_added += (m_added.isEmpty() ? "" : ", ");
        m_added.append(key.data(), key.size()).append(": ").append(value);
    }
}

QByteArray JsonObject::text() const {
    QByteArray text;
    text += '{';
    const char* at = m_text.begin() + m_text.indexOf('{') + 1;
    bool isFirst = true;
    for (const JsonMember& member : m_members) {
        const auto changed = m_values.find(member.name());
        const char* const comma = std::find(member.value.end(), m_text.end(), ','); // but for the last
        if (changed == m_values.end() || !changed->second.isEmpty()) {
            text += isFirst ? "" : ",";
            text.append(at, member.value.begin() - at);
            if (changed == m_values.end()) {
                text.append(member.value.data(), member.value.size());
            } else {
                text += changed->second;
            }
            if (&member != &m_members.back()) {
                text.append(member.value.end(), comma - member.value.end());
            }
            isFirst = false;
        }
        at = comma + (comma != m_text.end() ? 1 : 0);
    }
    if (!m_added.isEmpty()) {
        text += isFirst ? "" : ", ";
        text += m_added;
    }
    const char* const last = m_members.empty() ? at : m_members.back().value.end();
    return text.append(last, m_text.end() - last);
}

} // namespace Cartolith::Core::Layers::Internal
