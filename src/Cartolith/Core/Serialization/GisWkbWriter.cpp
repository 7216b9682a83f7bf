#include <Cartolith/Core/Serialization/GisWkbWriter.h>
#include <Cartolith/Core/Serialization/WkbBytesInternal.h>
#include <Cartolith/Core/Serialization/WkbTypesInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QByteArray>
#include <QtEndian>

#include <bit>
#include <stdexcept>

namespace Cartolith::Core::Serialization::Wkb {

using namespace Internal;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

using Part = QList<GisShapePoint>;

template <typename Unsigned>
void append(QByteArray& target, Unsigned value) {
    const Unsigned encoded = qToLittleEndian(value);
    target.append(reinterpret_cast<const char*>(&encoded), sizeof encoded);
}

void appendCount(QByteArray& target, qsizetype count) {
    append(target, static_cast<quint32>(count));
}

void appendPart(QByteArray& target, const Part& part) {
    const qsizetype start = target.size();
    target.resize(start + countSize + part.size() * pointSize); // within the reserved room
    putPart(target.data() + start, part);
}

/// An empty array with room for a header, a count and all parts, `overhead` bytes before the points of each.
QByteArray reserved(const QList<Part>& parts, qsizetype overhead) {
    qsizetype size = headerSize + countSize;
    for (const Part& part : parts) {
        size += overhead + part.size() * pointSize;
    }
    QByteArray bytes;
    bytes.reserve(size);
    return bytes;
}

} // namespace

QByteArray GisWkbWriter::writePoint(const GisShapePoint& point) {
    if (point.isEmpty()) {
        throw std::runtime_error("POINT EMPTY cannot be written as standard OGC WKB.");
    }
    QByteArray bytes;
    bytes.reserve(headerSize + pointSize);
    writeGeometryHeader(bytes, pointType);
    writeDouble(bytes, point.x());
    writeDouble(bytes, point.y());
    return bytes;
}

QByteArray GisWkbWriter::writePolyline(const GisShapePolyline& polyline) {
    const QList<Part>& parts = polyline.parts();
    QByteArray bytes = reserved(parts, headerSize + countSize);
    if (parts.size() != 1) {
        writeGeometryHeader(bytes, multiLineStringType);
        appendCount(bytes, parts.size());
    }
    for (const Part& part : parts) {
        writeGeometryHeader(bytes, lineStringType);
        appendPart(bytes, part);
    }
    return bytes;
}

QByteArray GisWkbWriter::writePolygon(const GisShapePolygon& polygon) {
    QByteArray bytes = reserved(polygon.parts(), countSize);
    writeGeometryHeader(bytes, polygonType);
    appendCount(bytes, polygon.parts().size());
    for (const Part& ring : polygon.parts()) {
        appendPart(bytes, ring);
    }
    return bytes;
}

void GisWkbWriter::writeByte(QByteArray& target, unsigned char value) {
    append(target, value);
}

void GisWkbWriter::writeUInt32(QByteArray& target, unsigned int value) {
    append(target, value);
}

void GisWkbWriter::writeDouble(QByteArray& target, double value) {
    append(target, std::bit_cast<quint64>(value));
}

void GisWkbWriter::writeGeometryHeader(QByteArray& target, unsigned int type) {
    writeByte(target, 1);
    writeUInt32(target, type);
}

} // namespace Cartolith::Core::Serialization::Wkb
