#include <Cartolith/Core/Serialization/VertexListInternal.h>
#include <Cartolith/Core/Serialization/WkbCursor.h>

#include <QtEndian>

#include <algorithm>
#include <bit>
#include <limits>
#include <stdexcept>

namespace Cartolith::Core::Serialization::Wkb {

using Shapes::GisShapePoint;

namespace {

constexpr qsizetype bytesPerPoint = 16;

template <bool LittleEndian, typename Unsigned>
Unsigned load(const char* bytes) noexcept {
    return LittleEndian ? qFromLittleEndian<Unsigned>(bytes) : qFromBigEndian<Unsigned>(bytes);
}

template <bool LittleEndian>
double loadDouble(const char* bytes) noexcept {
    return std::bit_cast<double>(load<LittleEndian, quint64>(bytes));
}

/// Walks over encoded points and makes each where it is asked for.
template <bool LittleEndian>
class PointIterator : public Serialization::Internal::VertexIterator {
public:
    explicit PointIterator(const char* bytes) noexcept : m_bytes(bytes) {}

    GisShapePoint operator*() const noexcept {
        return {loadDouble<LittleEndian>(m_bytes), loadDouble<LittleEndian>(m_bytes + 8)};
    }
    PointIterator& operator++() noexcept {
        m_bytes += bytesPerPoint;
        return *this;
    }
    bool operator==(const PointIterator& other) const noexcept = default;

private:
    const char* m_bytes;
};

template <bool LittleEndian>
QList<GisShapePoint> makePoints(const char* bytes, qsizetype count) {
    return Serialization::Internal::vertexList(PointIterator<LittleEndian>(bytes),
                                               PointIterator<LittleEndian>(bytes + count * bytesPerPoint),
                                               count);
}

} // namespace

WkbCursor::WkbCursor(const QByteArray& bytes) noexcept
    : m_bytes(bytes),
      m_size(static_cast<qint32>(std::min<qsizetype>(bytes.size(), std::numeric_limits<qint32>::max()))) {}

const char* WkbCursor::take(quint64 length) {
    if (length > static_cast<quint64>(remaining())) {
        throw std::runtime_error("Invalid WKB: unexpected end of data.");
    }
    const char* const bytes = m_bytes.constData() + m_offset;
    m_offset += static_cast<qint32>(length);
    return bytes;
}

quint8 WkbCursor::readByte() {
    return static_cast<quint8>(*take(1));
}

quint32 WkbCursor::readUInt32(bool littleEndian) {
    const char* const bytes = take(4);
    return littleEndian ? load<true, quint32>(bytes) : load<false, quint32>(bytes);
}

double WkbCursor::readDouble(bool littleEndian) {
    const char* const bytes = take(8);
    return littleEndian ? loadDouble<true>(bytes) : loadDouble<false>(bytes);
}

QList<GisShapePoint> WkbCursor::readPoints(quint32 count, bool littleEndian) {
    const char* const bytes = take(quint64{count} * bytesPerPoint);
    return littleEndian ? makePoints<true>(bytes, count) : makePoints<false>(bytes, count);
}

} // namespace Cartolith::Core::Serialization::Wkb
