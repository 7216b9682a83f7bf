#pragma once

#include <QByteArray>
#include <QByteArrayView>

class QIODevice;

namespace Cartolith::Core::Serialization::GeoJson::Internal {

/// JSON text as it comes from a device: finds where values end and keeps of the text only what it is told to.
/// What the values are is not looked at. Positions count bytes from the start of reading.
class GeoJsonStream {
public:
    GeoJsonStream(QIODevice& device, qsizetype maxKept);

    qint64 position() const noexcept { return m_base + m_at; }

    /// From here on the text is kept, until drop().
    void keep() noexcept { m_kept = m_at; }
    void drop() noexcept { m_kept = -1; }
    bool keeping() const noexcept { return m_kept >= 0; }

    /// What is kept, from the given position up to this one. Good until more is read.
    QByteArrayView text(qint64 from) const;

    /// The next byte, which stays; -1 at the end.
    int peek() { return m_at < m_buffer.size() || refill() ? static_cast<uchar>(m_buffer[m_at]) : -1; }

    /// The next byte, which is taken. Throws at the end.
    char next() {
        if (m_at == m_buffer.size() && !refill()) {
            fail("unexpected end");
        }
        return m_buffer[m_at++];
    }

    void skipByteOrderMark();

    /// peek() past white space.
    int peekPastBlanks();

    /// next() past white space.
    char nextPastBlanks();

    /// Takes the character, past white space, or throws the message.
    void expect(char c, const char* message);

    void skipString();
    void skipValue();

    /// Throws std::runtime_error("Invalid GeoJSON at byte %1: %2").
    [[noreturn]] void fail(const char* message) const;

private:
    bool refill();
    void skipNested();

    QIODevice& m_device;
    qsizetype m_maxKept;
    QByteArray m_buffer;
    qint64 m_base = 0;     ///< of the buffer
    qsizetype m_at = 0;    ///< in the buffer
    qsizetype m_kept = -1; ///< in the buffer
};

} // namespace Cartolith::Core::Serialization::GeoJson::Internal
