#include <Cartolith/Core/Serialization/GeoJsonStreamInternal.h>

#include <QIODevice>
#include <QString>

#include <algorithm>
#include <bitset>
#include <stdexcept>

namespace Cartolith::Core::Serialization::GeoJson::Internal {

namespace {

constexpr qsizetype chunkSize = qsizetype{64} << 10;
constexpr std::size_t maxDepth = 1024; // that of Qt's parser

bool isBlank(int c) noexcept {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

} // namespace

GeoJsonStream::GeoJsonStream(QIODevice& device, qsizetype maxKept) : m_device(device), m_maxKept(maxKept) {}

QByteArrayView GeoJsonStream::text(qint64 from) const {
    const auto start = static_cast<qsizetype>(from - m_base);
    if (start < 0 || m_at - start > m_maxKept) {
        fail("the feature is too long");
    }
    return QByteArrayView(m_buffer).sliced(start, m_at - start);
}

void GeoJsonStream::skipByteOrderMark() {
    constexpr int first = 0xef;
    if (peek() == first && (next(), next()) == '\xbb' && next() == '\xbf') {
        return;
    }
    if (position() != 0) {
        fail("an object is expected");
    }
}

int GeoJsonStream::peekPastBlanks() {
    while (isBlank(peek())) {
        ++m_at;
    }
    return peek();
}

char GeoJsonStream::nextPastBlanks() {
    peekPastBlanks();
    return next();
}

void GeoJsonStream::expect(char c, const char* message) {
    if (peekPastBlanks() != static_cast<uchar>(c)) {
        fail(message);
    }
    ++m_at;
}

void GeoJsonStream::skipString() {
    expect('"', "a string is expected");
    for (;;) {
        const char* const end = m_buffer.cend();
        const char* const at =
            std::find_if(m_buffer.cbegin() + m_at, end, [](char c) { return c == '"' || c == '\\'; });
        m_at = at - m_buffer.cbegin();
        if (at == end) {
            if (!refill()) {
                fail("unterminated string");
            }
            continue;
        }
        if (next() == '"') {
            return;
        }
        next(); // what is escaped
    }
}

void GeoJsonStream::skipValue() {
    const int first = peekPastBlanks();
    if (first == '"') {
        skipString();
    } else if (first == '{' || first == '[') {
        skipNested();
    } else {
        const qint64 start = position();
        for (int c = first; c >= 0 && c != ',' && c != ']' && c != '}' && !isBlank(c); c = peek()) {
            ++m_at;
        }
        if (position() == start) {
            fail("a value is expected");
        }
    }
}

void GeoJsonStream::skipNested() {
    std::bitset<maxDepth> isObject;
    std::size_t depth = 0;
    do {
        switch (const char c = next()) {
        case '{':
        case '[':
            if (depth == maxDepth) {
                fail("too deeply nested");
            }
            isObject[depth++] = c == '{';
            break;
        case '}':
        case ']':
            --depth;
            if (isObject[depth] != (c == '}')) {
                fail("brackets do not match");
            }
            break;
        case '"':
            --m_at;
            skipString();
            break;
        default:
            break;
        }
    } while (depth > 0);
}

void GeoJsonStream::fail(const char* message) const {
    throw std::runtime_error(QStringLiteral("Invalid GeoJSON at byte %1: %2")
                                 .arg(position())
                                 .arg(QLatin1String(message))
                                 .toStdString());
}

bool GeoJsonStream::refill() {
    const qsizetype unused = keeping() ? m_kept : m_at;
    m_buffer.remove(0, unused);
    m_base += unused;
    m_at -= unused;
    m_kept = keeping() ? 0 : -1;
    if (m_buffer.size() > m_maxKept) {
        fail("the feature is too long");
    }
    const qsizetype size = m_buffer.size();
    m_buffer.resize(size + chunkSize);
    qint64 count = m_device.read(m_buffer.data() + size, chunkSize);
    constexpr int patience = 30000;
    while (count == 0 && m_device.isSequential() && m_device.waitForReadyRead(patience)) {
        count = m_device.read(m_buffer.data() + size, chunkSize);
    }
    m_buffer.resize(size + std::max<qint64>(count, 0));
    // A sequential device says -1 at its end, too.
    if (count < 0 && !m_device.isSequential()) {
        throw std::runtime_error(
            QStringLiteral("GeoJSON cannot be read: %1").arg(m_device.errorString()).toStdString());
    }
    return count > 0;
}

} // namespace Cartolith::Core::Serialization::GeoJson::Internal
