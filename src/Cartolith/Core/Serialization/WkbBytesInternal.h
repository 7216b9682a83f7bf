#pragma once

#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>
#include <QtEndian>

#include <bit>

/// The pieces of WKB, least significant byte first. Each function gives the place behind what it wrote.
namespace Cartolith::Core::Serialization::Wkb::Internal {

constexpr qsizetype headerSize = 5;
constexpr qsizetype countSize = 4;
constexpr qsizetype pointSize = 16;

template <typename Unsigned>
char* putNumber(char* out, Unsigned value) {
    qToLittleEndian(value, out);
    return out + sizeof value;
}

inline char* putHeader(char* out, quint32 type) {
    return putNumber(putNumber(out, quint8{1}), type);
}

inline char* putPoint(char* out, const Shapes::GisShapePoint& point) {
    return putNumber(putNumber(out, std::bit_cast<quint64>(point.x())), std::bit_cast<quint64>(point.y()));
}

/// The number of points, and these.
inline char* putPart(char* out, const QList<Shapes::GisShapePoint>& part) {
    out = putNumber(out, static_cast<quint32>(part.size()));
    for (const Shapes::GisShapePoint& point : part) {
        out = putPoint(out, point);
    }
    return out;
}

} // namespace Cartolith::Core::Serialization::Wkb::Internal
