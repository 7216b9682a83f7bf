#include <Cartolith/Core/Layers/Json/JsonSequenceInternal.h>

#include <QByteArray>
#include <QFile>

namespace Cartolith::Core::Layers::Internal {

namespace {

class TextCounter {
public:
    /// False when a text begins where one has ended before.
    bool take(char c) {
        if (m_isString) {
            m_isString = m_isEscaped || c != '"';
            m_isEscaped = !m_isEscaped && c == '\\';
            return true;
        }
        switch (c) {
        case '"':
            m_isString = m_depth > 0;
            break;
        case '{':
        case '[':
            if (m_depth++ == 0) {
                ++m_count;
                return !m_hasEnded;
            }
            break;
        case '}':
        case ']':
            if (m_depth > 0 && --m_depth == 0) {
                m_hasEnded = true;
            }
            break;
        case '\n':
            m_hasEnded = m_hasEnded && m_hasSeparators;
            break;
        case '\x1e':
            m_hasSeparators = m_hasSeparators || m_count == 0;
            m_hasEnded = false;
            break;
        default:
            break;
        }
        return true;
    }

    long long count() const { return m_count; }

private:
    bool m_isString = false;
    bool m_isEscaped = false;
    bool m_hasSeparators = false; // then a line end separates nothing
    bool m_hasEnded = false;
    long long m_depth = 0;
    long long m_count = 0;
};

} // namespace

JsonTexts jsonTextsOf(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return JsonTexts::One;
    }
    TextCounter counter;
    constexpr qint64 much = 1 << 18;
    for (QByteArray bytes; !(bytes = file.read(much)).isEmpty();) {
        for (const char c : std::as_const(bytes)) {
            if (!counter.take(c)) {
                return JsonTexts::RunTogether;
            }
        }
    }
    return counter.count() > 1 ? JsonTexts::OnePerLine : JsonTexts::One;
}

} // namespace Cartolith::Core::Layers::Internal
