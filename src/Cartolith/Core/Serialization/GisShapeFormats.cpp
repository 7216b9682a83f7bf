// The serialization members of the shape classes. They are defined here, not beside the classes, so that the
// geometry model depends on no format.
#include <Cartolith/Core/Serialization/GisGeoJsonReader.h>
#include <Cartolith/Core/Serialization/GisGeoJsonWriter.h>
#include <Cartolith/Core/Serialization/GisWkbReader.h>
#include <Cartolith/Core/Serialization/GisWkbWriter.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Serialization/GisWktWriter.h>

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Shapes {

using Serialization::GeoJson::GisGeoJsonReader;
using Serialization::GeoJson::GisGeoJsonWriter;
using Serialization::Wkb::GisWkbReader;
using Serialization::Wkb::GisWkbWriter;
using Serialization::Wkt::GisWktReader;
using Serialization::Wkt::GisWktWriter;

namespace {

/// The parts of the geometry, if it is of the class wanted. Otherwise throws the given message.
template <typename Shape>
QList<QList<GisShapePoint>> takeParts(std::unique_ptr<GisShape> shape, const char* message) {
    auto* const wanted = dynamic_cast<Shape*>(shape.get());
    if (wanted == nullptr) {
        throw std::runtime_error(message);
    }
    return std::move(wanted->parts());
}

} // namespace

QString GisShapePoint::toWkt() const {
    return isEmpty() ? QStringLiteral("POINT EMPTY") : GisWktWriter::writePoint(*this);
}

void GisShapePoint::fromWkt(const QString& wkt) {
    const GisShapePoint point = GisWktReader::readPoint(wkt);
    m_x = point.m_x;
    m_y = point.m_y;
    setShapeType(GisShapeType::Point);
}

QByteArray GisShapePoint::toWkb() const {
    return GisWkbWriter::writePoint(*this);
}

void GisShapePoint::fromWkb(const QByteArray& wkb) {
    const GisShapePoint point = GisWkbReader::readPoint(wkb);
    m_x = point.m_x;
    m_y = point.m_y;
    setShapeType(GisShapeType::Point);
}

QString GisShapePoint::toGeoJson() const {
    return GisGeoJsonWriter::writePointString(*this);
}

void GisShapePoint::fromGeoJson(const QString& json) {
    // What is no JSON object counts as an empty one: it has no geometry type.
    const GisShapePoint point = GisGeoJsonReader::readPoint(QJsonDocument::fromJson(json.toUtf8()).object());
    m_x = point.m_x;
    m_y = point.m_y;
    setShapeType(GisShapeType::Point);
}

QString GisShapePolyline::toWkt() const {
    return isEmpty() ? QStringLiteral("LINESTRING EMPTY") : GisWktWriter::writePolyline(*this);
}

void GisShapePolyline::fromWkt(const QString& wkt) {
    const QString text = wkt.trimmed();
    const bool multi = GisWktReader::startsWith(text, QStringLiteral("MULTILINESTRING"));
    m_parts =
        multi ? GisWktReader::readMultiLineString(text).m_parts : GisWktReader::readLineString(text).m_parts;
    setShapeType(GisShapeType::Polyline);
}

QByteArray GisShapePolyline::toWkb() const {
    return GisWkbWriter::writePolyline(*this);
}

void GisShapePolyline::fromWkb(const QByteArray& wkb) {
    m_parts = takeParts<GisShapePolyline>(GisWkbReader::read(wkb), "WKB geometry is not a polyline.");
    setShapeType(GisShapeType::Polyline);
}

QString GisShapePolyline::toGeoJson() const {
    return GisGeoJsonWriter::writePolylineString(*this);
}

void GisShapePolyline::fromGeoJson(const QString& json) {
    m_parts =
        takeParts<GisShapePolyline>(GisGeoJsonReader::read(json), "GeoJSON geometry is not a polyline.");
    setShapeType(GisShapeType::Polyline);
}

QString GisShapePolygon::toWkt() const {
    return isEmpty() ? QStringLiteral("POLYGON EMPTY") : GisWktWriter::writePolygon(*this);
}

void GisShapePolygon::fromWkt(const QString& wkt) {
    m_parts = GisWktReader::readPolygon(wkt).m_parts;
    setShapeType(GisShapeType::Polygon);
}

QByteArray GisShapePolygon::toWkb() const {
    return GisWkbWriter::writePolygon(*this);
}

void GisShapePolygon::fromWkb(const QByteArray& wkb) {
    m_parts = takeParts<GisShapePolygon>(GisWkbReader::read(wkb), "WKB geometry is not a polygon.");
    setShapeType(GisShapeType::Polygon);
}

QString GisShapePolygon::toGeoJson() const {
    return GisGeoJsonWriter::writePolygonString(*this);
}

void GisShapePolygon::fromGeoJson(const QString& json) {
    m_parts = takeParts<GisShapePolygon>(GisGeoJsonReader::read(json), "GeoJSON geometry is not a polygon.");
    setShapeType(GisShapeType::Polygon);
}

} // namespace Cartolith::Core::Shapes
