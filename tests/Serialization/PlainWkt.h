#pragma once

#include "SerializationTestSupport.h"

#include <QLocale>
#include <QRegularExpression>
#include <QStringList>

/// The WKT reader and number format in their simplest form, the reference for the fast ones.
namespace SerializationTest::PlainWkt {

[[noreturn]] inline void fail(const char* message, const QString& text) {
    throw std::runtime_error(QString::fromLatin1(message).arg(text).toStdString());
}

inline QString formatDouble(double value) {
    QString text = QLocale(QLocale::C).toString(value, 'f', 16);
    while (text.contains('.') && text.endsWith('0')) {
        text.chop(1);
    }
    if (text.endsWith('.')) {
        text.chop(1);
    }
    return text == "-0" ? QStringLiteral("0") : text;
}

inline QString content(const QString& text) {
    const auto open = text.indexOf('(');
    const auto close = text.lastIndexOf(')');
    if (open < 0 || close < 0 || open >= close) {
        fail("Invalid WKT: %1", text);
    }
    return text.mid(open + 1, close - open - 1).trimmed();
}

inline QString inner(const QString& text) {
    const QString trimmed = text.trimmed();
    return trimmed.startsWith('(') && trimmed.endsWith(')') ? trimmed.mid(1, trimmed.size() - 2).trimmed()
                                                            : trimmed;
}

inline QStringList groups(const QString& text) {
    QStringList result;
    qsizetype depth = 0;
    qsizetype start = -1;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] == '(' && depth++ == 0) {
            start = i;
        } else if (text[i] == ')' && depth-- == 1 && start >= 0) {
            result.append(text.mid(start, i - start + 1).trimmed());
            start = -1;
        }
    }
    return result;
}

inline GisShapePoint point(const QString& text) {
    const auto tokens = text.trimmed().split(QRegularExpression("\\s+"), Qt::SkipEmptyParts);
    bool xOk = false;
    bool yOk = false;
    const double x = tokens.size() < 2 ? 0 : QLocale(QLocale::C).toDouble(tokens[0], &xOk);
    const double y = tokens.size() < 2 ? 0 : QLocale(QLocale::C).toDouble(tokens[1], &yOk);
    if (!xOk || !yOk) {
        fail("Invalid WKT coordinate: %1", text);
    }
    return {x, y};
}

inline QList<GisShapePoint> points(const QString& text) {
    QList<GisShapePoint> result;
    for (const QString& item : text.split(',', Qt::SkipEmptyParts)) {
        result.append(point(item.trimmed()));
    }
    return result;
}

/// Depth 1 is a list of coordinates, depth 2 groups of those, and so on.
inline void collect(Parts& parts, const QString& text, int depth) {
    if (depth == 1) {
        parts.append(points(text));
        return;
    }
    for (const QString& group : groups(text)) {
        collect(parts, inner(group), depth - 1);
    }
}

inline std::unique_ptr<GisShape> read(const QString& wkt) {
    const QString text = wkt.trimmed();
    if (text.isEmpty()) {
        throw std::invalid_argument("WKT text cannot be null or empty.");
    }
    const bool empty = text.endsWith("EMPTY", Qt::CaseInsensitive);
    const QStringList words = {"POINT", "LINESTRING", "MULTILINESTRING", "POLYGON", "MULTIPOLYGON"};
    for (int kind = 0; kind < 5; ++kind) {
        if (!text.startsWith(words[kind], Qt::CaseInsensitive)) {
            continue;
        }
        if (kind == 0 && empty) {
            fail("POINT EMPTY is not supported because GisShapePoint requires a point.", {});
        }
        if (kind == 0) {
            return std::make_unique<GisShapePoint>(point(content(text)));
        }
        Parts parts;
        if (!empty) {
            collect(parts, content(text), (kind + 2) / 2);
        }
        return kind < 3 ? shapeOf<GisShapePolyline>(parts) : shapeOf<GisShapePolygon>(parts);
    }
    fail("Unsupported WKT geometry type: %1", text);
}

} // namespace SerializationTest::PlainWkt
