#include <Cartolith/Core/Serialization/GisWkbReader.h>
#include <Cartolith/Core/Serialization/WkbCursor.h>
#include <Cartolith/Core/Serialization/WkbTypesInternal.h>

#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Serialization::Wkb {

using namespace Internal;
using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

/// The header, when it announces the type wanted. Otherwise throws the given message.
bool requireHeader(WkbCursor& cursor, quint32 type, const char* message) {
    const WkbHeader header = readHeader(cursor);
    if (header.type != type) {
        throw std::runtime_error(message);
    }
    return header.littleEndian;
}

GisShapePoint readPointBody(WkbCursor& cursor, bool littleEndian) {
    const double x = cursor.readDouble(littleEndian);
    const double y = cursor.readDouble(littleEndian);
    return {x, y};
}

void appendRings(WkbCursor& cursor, bool littleEndian, QList<QList<GisShapePoint>>& rings) {
    const quint32 count = cursor.readUInt32(littleEndian);
    for (quint32 i = 0; i < count; ++i) {
        const quint32 points = cursor.readUInt32(littleEndian);
        rings.append(cursor.readPoints(points, littleEndian));
    }
}

GisShapePolyline readMultiLineStringBody(WkbCursor& cursor, bool littleEndian) {
    GisShapePolyline polyline;
    const quint32 count = cursor.readUInt32(littleEndian);
    for (quint32 i = 0; i < count; ++i) {
        const bool childOrder =
            requireHeader(cursor, lineStringType, "Invalid MULTILINESTRING WKB child geometry.");
        const quint32 points = cursor.readUInt32(childOrder);
        polyline.parts().append(cursor.readPoints(points, childOrder));
    }
    return polyline;
}

GisShapePolygon readMultiPolygonBody(WkbCursor& cursor, bool littleEndian) {
    GisShapePolygon polygon;
    const quint32 count = cursor.readUInt32(littleEndian);
    for (quint32 i = 0; i < count; ++i) {
        const bool childOrder =
            requireHeader(cursor, polygonType, "Invalid MULTIPOLYGON WKB child geometry.");
        appendRings(cursor, childOrder, polygon.parts());
    }
    return polygon;
}

template <typename Shape>
std::unique_ptr<GisShape> owned(Shape&& shape) {
    return std::make_unique<Shape>(std::forward<Shape>(shape));
}

} // namespace

WkbHeader readHeader(WkbCursor& cursor) {
    const quint8 order = cursor.readByte();
    if (order > 1) {
        throw std::runtime_error("Invalid WKB byte order.");
    }
    const bool littleEndian = order == 1;
    return {littleEndian, cursor.readUInt32(littleEndian)};
}

GisShapePolyline readLineStringBody(WkbCursor& cursor, bool littleEndian) {
    GisShapePolyline polyline;
    const quint32 count = cursor.readUInt32(littleEndian);
    polyline.parts().append(cursor.readPoints(count, littleEndian));
    return polyline;
}

GisShapePolygon readPolygonBody(WkbCursor& cursor, bool littleEndian) {
    GisShapePolygon polygon;
    appendRings(cursor, littleEndian, polygon.parts());
    return polygon;
}

std::unique_ptr<GisShape> GisWkbReader::read(const QByteArray& wkb) {
    if (wkb.isEmpty()) {
        throw std::invalid_argument("WKB data cannot be empty.");
    }
    WkbCursor cursor(wkb);
    const WkbHeader header = readHeader(cursor);
    switch (header.type) {
    case pointType:
        return owned(readPointBody(cursor, header.littleEndian));
    case lineStringType:
        return owned(readLineStringBody(cursor, header.littleEndian));
    case polygonType:
        return owned(readPolygonBody(cursor, header.littleEndian));
    case multiPointType:
        throw std::runtime_error("MULTIPOINT WKB is not supported yet.");
    case multiLineStringType:
        return owned(readMultiLineStringBody(cursor, header.littleEndian));
    case multiPolygonType:
        return owned(readMultiPolygonBody(cursor, header.littleEndian));
    default:
        throw std::runtime_error("Unsupported WKB geometry type.");
    }
}

GisShapePoint GisWkbReader::readPoint(const QByteArray& wkb) {
    WkbCursor cursor(wkb);
    return readPointBody(cursor, requireHeader(cursor, pointType, "WKB geometry is not POINT."));
}

GisShapePolyline GisWkbReader::readLineString(const QByteArray& wkb) {
    WkbCursor cursor(wkb);
    return readLineStringBody(cursor,
                              requireHeader(cursor, lineStringType, "WKB geometry is not LINESTRING."));
}

GisShapePolyline GisWkbReader::readMultiLineString(const QByteArray& wkb) {
    WkbCursor cursor(wkb);
    return readMultiLineStringBody(
        cursor, requireHeader(cursor, multiLineStringType, "WKB geometry is not MULTILINESTRING."));
}

GisShapePolygon GisWkbReader::readPolygon(const QByteArray& wkb) {
    WkbCursor cursor(wkb);
    return readPolygonBody(cursor, requireHeader(cursor, polygonType, "WKB geometry is not POLYGON."));
}

GisShapePolygon GisWkbReader::readMultiPolygon(const QByteArray& wkb) {
    WkbCursor cursor(wkb);
    return readMultiPolygonBody(cursor,
                                requireHeader(cursor, multiPolygonType, "WKB geometry is not MULTIPOLYGON."));
}

} // namespace Cartolith::Core::Serialization::Wkb
