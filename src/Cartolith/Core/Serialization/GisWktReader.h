#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Shapes/GisShape.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>

namespace Cartolith::Core::Serialization::Wkt {

/// Reads well-known text, leniently: a keyword in any case, then whatever stands between the first "(" and
/// the last ")", taken apart at parentheses and commas. Text outside the parentheses and between groups is
/// skipped, unbalanced parentheses lose the group they spoil, and no minimum number of vertices is asked for.
///
/// Numbers are those of the C locale, in whatever spelling QLocale::toDouble() accepts, "nan" and "inf"
/// included. ASCII white space separates the numbers of a coordinate; those after the second are not
/// read. The rings of all polygons of a multipolygon come into one list, so that nobody can tell any more
/// which polygon a ring was of.
///
/// Input is not trusted: time and memory are linear in the length of the text and the stack is constant.
/// Errors are std::runtime_error, unless said otherwise, and quote the text they concern, of more than 500
/// characters the first 500 and "... (n characters)":
/// - "Invalid WKT: %1" without a "(" and a ")" behind it,
/// - "Invalid WKT coordinate: %1" for fewer than two numbers,
/// - "Unsupported WKT geometry type: %1" from read().
///
/// All operations are safe to call from several threads.
class CARTOLITH_CORE_EXPORT GisWktReader {
public:
    /// A POINT, LINESTRING, MULTILINESTRING, POLYGON or MULTIPOLYGON, told apart by the beginning of the
    /// text. \throws std::invalid_argument for blank text
    static std::unique_ptr<Shapes::GisShape> read(const QString& wkt);

    /// These do not look at the keyword: they read any text of the right structure. Text that ends in "EMPTY"
    /// gives a shape without parts, or for a point the error "POINT EMPTY is not supported because
    /// GisShapePoint requires a point."
    static Shapes::GisShapePoint readPoint(const QString& wkt);
    static Shapes::GisShapePolyline readLineString(const QString& wkt);
    static Shapes::GisShapePolyline readMultiLineString(const QString& wkt);
    static Shapes::GisShapePolygon readPolygon(const QString& wkt);
    static Shapes::GisShapePolygon readMultiPolygon(const QString& wkt);

    /// Case-insensitive.
    static bool startsWith(const QString& text, const QString& prefix);

    /// The text trimmed, without the "(" and ")" around it if it has both, and trimmed again.
    static QString trimOuterParentheses(const QString& text);

    /// True when the trimmed text ends in "EMPTY", in any case.
    static bool isEmpty(const QString& text);

    /// What stands between the first "(" and the last ")", trimmed. Throws when there is no such pair.
    static QString extractContent(const QString& text);

    /// The first two ordinates of "x y ...".
    static Shapes::GisShapePoint parsePoint(const QString& text);

    /// The outermost "(...)" groups, parentheses included.
    static QStringList splitTopLevelGroups(const QString& text);

    /// The coordinates of "x y, x y, ...". Two commas in a row are passed over; blanks between commas are a
    /// bad coordinate.
    static QList<Shapes::GisShapePoint> parsePointList(const QString& text);
};

} // namespace Cartolith::Core::Serialization::Wkt
