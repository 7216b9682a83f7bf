#include <Cartolith/Core/Serialization/GisGeoJsonWriter.h>
#include <Cartolith/Core/Serialization/RingsInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QJsonDocument>

#include <stdexcept>

namespace Cartolith::Core::Serialization::GeoJson {

using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

QJsonObject geometry(QLatin1String type, const QJsonArray& coordinates) {
    return {{QStringLiteral("type"), type}, {QStringLiteral("coordinates"), coordinates}};
}

} // namespace

QJsonObject GisGeoJsonWriter::writePoint(const GisShapePoint& point) {
    if (point.isEmpty()) {
        throw std::runtime_error("Empty POINT cannot be written as GeoJSON geometry.");
    }
    return geometry(QLatin1String("Point"), writeCoordinate(point));
}

QJsonObject GisGeoJsonWriter::writePolyline(const GisShapePolyline& polyline) {
    if (polyline.parts().size() == 1) {
        return geometry(QLatin1String("LineString"), writePointArray(polyline.parts().constFirst()));
    }
    QJsonArray parts;
    for (const QList<GisShapePoint>& part : polyline.parts()) {
        parts.append(writePointArray(part));
    }
    return geometry(QLatin1String("MultiLineString"), parts);
}

QJsonObject GisGeoJsonWriter::writePolygon(const GisShapePolygon& polygon) {
    QJsonArray rings;
    for (const QList<GisShapePoint>& ring : polygon.parts()) {
        rings.append(writePointArray(ensureClosed(ring)));
    }
    return geometry(QLatin1String("Polygon"), rings);
}

QString GisGeoJsonWriter::writePointString(const GisShapePoint& point) {
    return toCompactJson(writePoint(point));
}

QString GisGeoJsonWriter::writePolylineString(const GisShapePolyline& polyline) {
    return toCompactJson(writePolyline(polyline));
}

QString GisGeoJsonWriter::writePolygonString(const GisShapePolygon& polygon) {
    return toCompactJson(writePolygon(polygon));
}

QJsonArray GisGeoJsonWriter::writeCoordinate(const GisShapePoint& point) {
    return {point.x(), point.y()};
}

QJsonArray GisGeoJsonWriter::writePointArray(const QList<GisShapePoint>& points) {
    QJsonArray positions;
    for (const GisShapePoint& point : points) {
        positions.append(writeCoordinate(point));
    }
    return positions;
}

QString GisGeoJsonWriter::toCompactJson(const QJsonObject& object) {
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QList<GisShapePoint> GisGeoJsonWriter::ensureClosed(const QList<GisShapePoint>& ring) {
    return Serialization::Internal::closedRing(ring);
}

} // namespace Cartolith::Core::Serialization::GeoJson
