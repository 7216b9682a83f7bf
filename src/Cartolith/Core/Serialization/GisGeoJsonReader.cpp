#include <Cartolith/Core/Serialization/GeoJsonParseInternal.h>
#include <Cartolith/Core/Serialization/GeoJsonScannerInternal.h>
#include <Cartolith/Core/Serialization/GisGeoJsonReader.h>
#include <Cartolith/Core/Serialization/QuotedTextInternal.h>

#include <QByteArray>
#include <QJsonValue>

#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Serialization::GeoJson {

using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

using Parts = QList<QList<GisShapePoint>>;

void requireType(const QJsonObject& geometry, QStringView type) {
    if (GisGeoJsonReader::geometryType(geometry) != type) {
        throw std::runtime_error(QStringLiteral("GeoJSON geometry is not %1.").arg(type).toStdString());
    }
}

QJsonArray arrayOf(const QJsonValue& value, const char* message) {
    if (!value.isArray()) {
        throw std::runtime_error(message);
    }
    return value.toArray();
}

void appendParts(const QJsonArray& array, Parts& parts, const char* message) {
    parts.reserve(parts.size() + array.size());
    for (const QJsonValue part : array) {
        parts.append(GisGeoJsonReader::parsePointArray(arrayOf(part, message)));
    }
}

template <typename Shape>
std::unique_ptr<GisShape> owned(Shape&& shape) {
    return std::make_unique<Shape>(std::forward<Shape>(shape));
}

} // namespace

std::unique_ptr<GisShape> GisGeoJsonReader::read(const QString& json) {
    const QByteArray utf8 = json.toUtf8();
    if (auto shape = Internal::scanGeometry(utf8)) {
        return shape;
    }
    return read(Internal::parseObject(utf8));
}

std::unique_ptr<GisShape> GisGeoJsonReader::read(const QJsonObject& geometry) {
    const QString type = geometryType(geometry);
    if (type == u"Point") {
        return owned(readPoint(geometry));
    }
    if (type == u"LineString") {
        return owned(readLineString(geometry));
    }
    if (type == u"MultiLineString") {
        return owned(readMultiLineString(geometry));
    }
    if (type == u"Polygon") {
        return owned(readPolygon(geometry));
    }
    if (type == u"MultiPolygon") {
        return owned(readMultiPolygon(geometry));
    }
    throw std::runtime_error(QStringLiteral("Unsupported GeoJSON geometry type: %1")
                                 .arg(Serialization::Internal::quoted(type))
                                 .toStdString());
}

GisShapePoint GisGeoJsonReader::readPoint(const QJsonObject& geometry) {
    requireType(geometry, u"Point");
    return parseCoordinate(coordinates(geometry));
}

GisShapePolyline GisGeoJsonReader::readLineString(const QJsonObject& geometry) {
    requireType(geometry, u"LineString");
    GisShapePolyline polyline;
    polyline.parts().append(parsePointArray(coordinates(geometry)));
    return polyline;
}

GisShapePolyline GisGeoJsonReader::readMultiLineString(const QJsonObject& geometry) {
    requireType(geometry, u"MultiLineString");
    GisShapePolyline polyline;
    appendParts(coordinates(geometry), polyline.parts(), "Invalid GeoJSON MultiLineString coordinates.");
    return polyline;
}

GisShapePolygon GisGeoJsonReader::readPolygon(const QJsonObject& geometry) {
    requireType(geometry, u"Polygon");
    GisShapePolygon polygon;
    appendParts(coordinates(geometry), polygon.parts(), "Invalid GeoJSON Polygon coordinates.");
    return polygon;
}

GisShapePolygon GisGeoJsonReader::readMultiPolygon(const QJsonObject& geometry) {
    requireType(geometry, u"MultiPolygon");
    GisShapePolygon polygon;
    const QJsonArray members = coordinates(geometry);
    for (const QJsonValue rings : members) {
        appendParts(arrayOf(rings, "Invalid GeoJSON MultiPolygon coordinates."), polygon.parts(),
                    "Invalid GeoJSON MultiPolygon ring coordinates.");
    }
    return polygon;
}

QJsonObject GisGeoJsonReader::parseJsonObject(const QString& json) {
    return Internal::parseObject(json.toUtf8());
}

QString GisGeoJsonReader::geometryType(const QJsonObject& geometry) {
    const QJsonValue type = geometry.value(QLatin1String("type"));
    if (!type.isString()) {
        throw std::runtime_error("Invalid GeoJSON: missing geometry type.");
    }
    return type.toString();
}

QJsonArray GisGeoJsonReader::coordinates(const QJsonObject& geometry) {
    return arrayOf(geometry.value(QLatin1String("coordinates")), "Invalid GeoJSON: missing coordinates.");
}

GisShapePoint GisGeoJsonReader::parseCoordinate(const QJsonArray& position) {
    if (position.size() < 2) {
        throw std::runtime_error("Invalid GeoJSON coordinate.");
    }
    const QJsonValue x = position.at(0);
    const QJsonValue y = position.at(1);
    if (!x.isDouble() || !y.isDouble()) {
        throw std::runtime_error("Invalid GeoJSON coordinate value.");
    }
    return {x.toDouble(), y.toDouble()};
}

QList<GisShapePoint> GisGeoJsonReader::parsePointArray(const QJsonArray& positions) {
    QList<GisShapePoint> points;
    points.reserve(positions.size());
    for (const QJsonValue position : positions) {
        points.append(parseCoordinate(arrayOf(position, "Invalid GeoJSON coordinate array.")));
    }
    return points;
}

} // namespace Cartolith::Core::Serialization::GeoJson
