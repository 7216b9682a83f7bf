#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QByteArray>
#include <QList>

namespace Cartolith::Core::Serialization::Wkb {

/// Reads values one after another from the bytes of a WKB record.
///
/// The cursor refers to the bytes and does not copy them: they must outlive it. Its offset has 32 bits and
/// never passes 2^31 - 1, so the bytes of a longer array beyond that count as missing. Every read checks the
/// bounds first and throws std::runtime_error("Invalid WKB: unexpected end of data.") without moving.
class CARTOLITH_CORE_EXPORT WkbCursor {
public:
    explicit WkbCursor(const QByteArray& bytes) noexcept;
    explicit WkbCursor(QByteArray&& bytes) = delete;

    /// Of the next byte to read, from the start of the array.
    qint32 offset() const noexcept { return m_offset; }
    qint32 remaining() const noexcept { return m_size - m_offset; }

    quint8 readByte();
    quint32 readUInt32(bool littleEndian);
    double readDouble(bool littleEndian);

    /// `count` pairs (x, y). The bounds are checked once for all of them, before any memory is asked for.
    QList<Shapes::GisShapePoint> readPoints(quint32 count, bool littleEndian);

private:
    const char* take(quint64 length);

    const QByteArray& m_bytes;
    qint32 m_size;
    qint32 m_offset = 0;
};

} // namespace Cartolith::Core::Serialization::Wkb
