#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Serialization/QuotedTextInternal.h>
#include <Cartolith/Core/Serialization/WktScannerInternal.h>

#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Serialization::Wkt {

using Shapes::GisShape;
using Shapes::GisShapePoint;
using Shapes::GisShapePolygon;
using Shapes::GisShapePolyline;

namespace {

[[noreturn]] void fail(const QString& message, QStringView text) {
    throw std::runtime_error(message.arg(Serialization::Internal::quoted(text)).toStdString());
}

bool endsInEmpty(QStringView text) {
    return text.trimmed().endsWith(u"EMPTY", Qt::CaseInsensitive);
}

QStringView contentOf(QStringView text) {
    const qsizetype open = text.indexOf(u'(');
    const qsizetype close = text.lastIndexOf(u')');
    if (open < 0 || close < open) {
        fail(QStringLiteral("Invalid WKT: %1"), text);
    }
    return text.sliced(open + 1, close - open - 1).trimmed();
}

QStringView withoutParentheses(QStringView text) {
    text = text.trimmed();
    if (text.startsWith(u'(') && text.endsWith(u')')) {
        text = text.sliced(1, text.size() - 2).trimmed();
    }
    return text;
}

/// Calls `use` with each outermost group. A stray ")" drives the depth below zero, so that the next "(" does
/// not open a group; a group that is never closed is not reported.
template <typename Use>
void forEachGroup(QStringView text, Use use) {
    qsizetype depth = 0;
    qsizetype start = -1;
    qsizetype open = text.indexOf(u'(');
    qsizetype close = text.indexOf(u')');
    while (close >= 0) {
        if (open >= 0 && open < close) {
            if (depth == 0) {
                start = open;
            }
            ++depth;
            open = text.indexOf(u'(', open + 1);
            continue;
        }
        if (depth == 1 && start >= 0) {
            use(text.sliced(start, close - start + 1));
            start = -1;
        }
        --depth;
        close = text.indexOf(u')', close + 1);
    }
}

GisShapePoint pointOf(QStringView text) {
    const std::optional<GisShapePoint> point = Internal::scanPoint(text);
    if (!point) {
        fail(QStringLiteral("Invalid WKT coordinate: %1"), text);
    }
    return *point;
}

QList<GisShapePoint> pointsOf(QStringView text) {
    QList<GisShapePoint> points;
    if (const QStringView bad = Internal::scanPoints(text, points); !bad.isNull()) {
        fail(QStringLiteral("Invalid WKT coordinate: %1"), bad);
    }
    return points;
}

void appendGroups(QStringView text, QList<QList<GisShapePoint>>& parts) {
    forEachGroup(text, [&parts](QStringView group) { parts.append(pointsOf(withoutParentheses(group))); });
}

GisShapePoint point(QStringView wkt) {
    if (endsInEmpty(wkt)) {
        throw std::runtime_error("POINT EMPTY is not supported because GisShapePoint requires a point.");
    }
    return pointOf(contentOf(wkt));
}

GisShapePolyline lineString(QStringView wkt) {
    GisShapePolyline polyline;
    if (!endsInEmpty(wkt)) {
        polyline.parts().append(pointsOf(contentOf(wkt)));
    }
    return polyline;
}

/// A multi line string or a polygon: the two are built alike.
template <typename Shape>
Shape shapeOfGroups(QStringView wkt) {
    Shape shape;
    if (!endsInEmpty(wkt)) {
        appendGroups(contentOf(wkt), shape.parts());
    }
    return shape;
}

GisShapePolygon multiPolygon(QStringView wkt) {
    GisShapePolygon polygon;
    if (!endsInEmpty(wkt)) {
        forEachGroup(contentOf(wkt), [&polygon](QStringView group) {
            appendGroups(withoutParentheses(group), polygon.parts());
        });
    }
    return polygon;
}

template <typename Shape>
std::unique_ptr<GisShape> owned(Shape&& shape) {
    return std::make_unique<Shape>(std::forward<Shape>(shape));
}

} // namespace

std::unique_ptr<GisShape> GisWktReader::read(const QString& wkt) {
    const QStringView text = QStringView(wkt).trimmed();
    if (text.isEmpty()) {
        throw std::invalid_argument("WKT text cannot be null or empty.");
    }
    const auto is = [text](QStringView keyword) { return text.startsWith(keyword, Qt::CaseInsensitive); };
    if (is(u"POINT")) {
        return owned(point(text));
    }
    if (is(u"LINESTRING")) {
        return owned(lineString(text));
    }
    if (is(u"MULTILINESTRING")) {
        return owned(shapeOfGroups<GisShapePolyline>(text));
    }
    if (is(u"POLYGON")) {
        return owned(shapeOfGroups<GisShapePolygon>(text));
    }
    if (is(u"MULTIPOLYGON")) {
        return owned(multiPolygon(text));
    }
    fail(QStringLiteral("Unsupported WKT geometry type: %1"), text);
}

GisShapePoint GisWktReader::readPoint(const QString& wkt) {
    return point(wkt);
}

GisShapePolyline GisWktReader::readLineString(const QString& wkt) {
    return lineString(wkt);
}

GisShapePolyline GisWktReader::readMultiLineString(const QString& wkt) {
    return shapeOfGroups<GisShapePolyline>(wkt);
}

GisShapePolygon GisWktReader::readPolygon(const QString& wkt) {
    return shapeOfGroups<GisShapePolygon>(wkt);
}

GisShapePolygon GisWktReader::readMultiPolygon(const QString& wkt) {
    return multiPolygon(wkt);
}

bool GisWktReader::startsWith(const QString& text, const QString& prefix) {
    return text.startsWith(prefix, Qt::CaseInsensitive);
}

QString GisWktReader::trimOuterParentheses(const QString& text) {
    return withoutParentheses(text).toString();
}

bool GisWktReader::isEmpty(const QString& text) {
    return endsInEmpty(text);
}

QString GisWktReader::extractContent(const QString& text) {
    return contentOf(text).toString();
}

GisShapePoint GisWktReader::parsePoint(const QString& text) {
    return pointOf(text);
}

QStringList GisWktReader::splitTopLevelGroups(const QString& text) {
    QStringList groups;
    forEachGroup(text, [&groups](QStringView group) { groups.append(group.toString()); });
    return groups;
}

QList<GisShapePoint> GisWktReader::parsePointList(const QString& text) {
    return pointsOf(text);
}

} // namespace Cartolith::Core::Serialization::Wkt
