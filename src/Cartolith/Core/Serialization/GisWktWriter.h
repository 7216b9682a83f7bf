#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>

class QString;

namespace Cartolith::Core::Shapes {
class GisShapePolygon;
class GisShapePolyline;
} // namespace Cartolith::Core::Shapes

namespace Cartolith::Core::Serialization::Wkt {

/// Writes two-dimensional well-known text in the C locale, whatever the user's locale.
///
/// Numbers have fixed notation with up to 16 decimals, rounded half away from zero, without trailing zeros.
/// That keeps every bit of a number of magnitude 0.5 or more; smaller ones are rounded to a multiple of
/// 1e-16, which reading and writing again does not change further.
///
/// Nothing here throws; time and memory are linear in the number of vertices, and nothing but the finished
/// text is kept. All operations are safe to call from several threads.
class CARTOLITH_CORE_EXPORT GisWktWriter {
public:
    /// "POINT (x y)". An empty point is not recognised here but by the point's own toWkt(): NaN is written.
    static QString writePoint(const Shapes::GisShapePoint& point);

    /// LINESTRING for one part, MULTILINESTRING for several, "LINESTRING EMPTY" for none. Parts are written
    /// as they are, also those too short to draw.
    static QString writePolyline(const Shapes::GisShapePolyline& polyline);

    /// POLYGON with all rings, open ones closed, also for what was read from a multipolygon; "POLYGON EMPTY"
    /// for none.
    static QString writePolygon(const Shapes::GisShapePolygon& polygon);

    /// "nan", "inf" and "-inf" for what is not finite; negative zero is "0".
    static QString formatDouble(double value);
    /// "x y"
    static QString formatPoint(const Shapes::GisShapePoint& point);
    /// "x y, x y"
    static QString formatPointList(const QList<Shapes::GisShapePoint>& points);

    /// The ring with a copy of its first vertex at the end, unless the last one has just its coordinates.
    static QList<Shapes::GisShapePoint> ensureClosed(const QList<Shapes::GisShapePoint>& ring);
};

} // namespace Cartolith::Core::Serialization::Wkt
