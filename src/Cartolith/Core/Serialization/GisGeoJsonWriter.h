#pragma once

#include <Cartolith/Core/Export.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>

namespace Cartolith::Core::Shapes {
class GisShapePoint;
class GisShapePolygon;
class GisShapePolyline;
} // namespace Cartolith::Core::Shapes

namespace Cartolith::Core::Serialization::GeoJson {

/// Writes GeoJSON geometry objects: as Qt's JSON values, or as compact text with the members in Qt's order,
/// "coordinates" before "type". For features see GisGeoJsonFeatureWriter.
///
/// Numbers are Qt's: the shortest text that reads back as the same double, whole numbers up to 2^53
/// in size in full, larger ones with an exponent where that is shorter (1e+16), negative zero as 0. A
/// coordinate that is not finite is written as null; GisGeoJsonFeatureWriter refuses it. All operations are
/// safe to call from several threads.
class CARTOLITH_CORE_EXPORT GisGeoJsonWriter {
public:
    /// A Point. \throws std::runtime_error for the empty point, which the format cannot express
    static QJsonObject writePoint(const Shapes::GisShapePoint& point);

    /// A LineString for exactly one part, a MultiLineString for any other number of them, none included.
    static QJsonObject writePolyline(const Shapes::GisShapePolyline& polyline);

    /// A Polygon with all rings, open ones closed; also for what was read from a multipolygon.
    static QJsonObject writePolygon(const Shapes::GisShapePolygon& polygon);

    static QString writePointString(const Shapes::GisShapePoint& point);
    static QString writePolylineString(const Shapes::GisShapePolyline& polyline);
    static QString writePolygonString(const Shapes::GisShapePolygon& polygon);

    /// [x, y]
    static QJsonArray writeCoordinate(const Shapes::GisShapePoint& point);

    /// [[x, y], ...]
    static QJsonArray writePointArray(const QList<Shapes::GisShapePoint>& points);

    static QString toCompactJson(const QJsonObject& object);

    /// The ring, with its first vertex appended when the last one differs from it in x or y.
    static QList<Shapes::GisShapePoint> ensureClosed(const QList<Shapes::GisShapePoint>& ring);
};

} // namespace Cartolith::Core::Serialization::GeoJson
