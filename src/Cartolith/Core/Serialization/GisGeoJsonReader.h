#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <memory>

namespace Cartolith::Core::Serialization::GeoJson {

/// Reads GeoJSON geometry objects (RFC 7946): Point, LineString, MultiLineString, Polygon and MultiPolygon,
/// spelled exactly so. For features and collections of them see GisGeoJsonFeatureReader.
///
/// A position is an array of at least two numbers; what follows these (altitude) is ignored, as are members
/// other than "type" and "coordinates". The polygons of a multipolygon are flattened into one list of rings.
/// Rings are taken as they are, closed or not, and no minimum number of positions is asked for. Numbers are
/// those of Qt's JSON parser, which knows no negative zero.
///
/// Input is not trusted: memory is bounded by a multiple of the text, and Qt's parser refuses more than 1024
/// levels of nesting. Errors are std::runtime_error and leave nothing behind:
/// - "Invalid GeoJSON: %1" with Qt's parse error, "Invalid GeoJSON: root is not an object.",
/// - "Invalid GeoJSON: missing geometry type.", "Invalid GeoJSON: missing coordinates.",
/// - "Unsupported GeoJSON geometry type: %1" from read(), of more than 500 characters the first 500 and
///   "... (n characters)",
/// - "GeoJSON geometry is not Point." and so on from the others, for an object of another type,
/// - "Invalid GeoJSON coordinate.", "Invalid GeoJSON coordinate value." and, for what should be an array and
///   is not, "Invalid GeoJSON coordinate array.", "Invalid GeoJSON MultiLineString coordinates.", the same
///   for Polygon and MultiPolygon, and "Invalid GeoJSON MultiPolygon ring coordinates.".
///
/// All operations are safe to call from several threads.
class CARTOLITH_CORE_EXPORT GisGeoJsonReader {
public:
    /// Any of the supported types. Reads the usual spelling of a geometry straight from the text, several
    /// times as fast as by way of the object below, with the same result.
    static std::unique_ptr<Shapes::GisShape> read(const QString& json);
    static std::unique_ptr<Shapes::GisShape> read(const QJsonObject& geometry);

    /// Each accepts its own type only.
    static Shapes::GisShapePoint readPoint(const QJsonObject& geometry);
    static Shapes::GisShapePolyline readLineString(const QJsonObject& geometry);
    static Shapes::GisShapePolyline readMultiLineString(const QJsonObject& geometry);
    static Shapes::GisShapePolygon readPolygon(const QJsonObject& geometry);
    static Shapes::GisShapePolygon readMultiPolygon(const QJsonObject& geometry);

    /// The root object of the text.
    static QJsonObject parseJsonObject(const QString& json);

    /// The member "type", which must be a string.
    static QString geometryType(const QJsonObject& geometry);

    /// The member "coordinates", which must be an array.
    static QJsonArray coordinates(const QJsonObject& geometry);

    /// The first two members of a position.
    static Shapes::GisShapePoint parseCoordinate(const QJsonArray& position);

    /// An array of positions.
    static QList<Shapes::GisShapePoint> parsePointArray(const QJsonArray& positions);
};

} // namespace Cartolith::Core::Serialization::GeoJson
