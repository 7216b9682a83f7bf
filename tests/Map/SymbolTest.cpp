// Each setting of a symbol as it is seen: on the map and in a legend, on screens of one and of two pixels.

#include "Map/TestLayers.h"

#include <Cartolith/Core/Symbology/GisSymbologyJson.h>
#include <Cartolith/Map/MapPreparation.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/SvgMarker.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <QJsonObject>
#include <QPainter>
#include <QPainterPath>
#include <gtest/gtest.h>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using Layers::GisLayerStyle;

namespace {

constexpr int width = 120;
constexpr int height = 80;

enum Kind { Line, Area, Point };

/// What is at a place: 'k' black, 'r' red, 'b' blue, '.' nothing.
struct Probe {
    double x, y;
    char color;
};

GisLayerStyle styleOf(const QString& json) {
    return Symbology::GisSymbologyJson::styleFromJson(Symbology::GisSymbologyJson::fromText(json.toUtf8()));
}

/// The n-th shape, counted from 0, has n in the field "v" and a quarter of a turn for each in "turn". Rows of pixels go
/// down, the map's y goes up from the last.
std::shared_ptr<Layers::GisLayerVector> layerOf(Kind kind, const QList<QPolygonF>& shapes, const GisLayerStyle& style) {
    QStringList texts;
    for (const QPolygonF& shape : shapes) {
        QStringList places;
        for (const QPointF p : shape) {
            places.append(QString("%1 %2").arg(p.x()).arg(height - p.y()));
        }
        const char* const form = kind == Line ? "LINESTRING (%1)" : kind == Area ? "POLYGON ((%1))" : "POINT (%1)";
        texts.append(QString(form).arg(places.join(", ")));
    }
    std::shared_ptr<Layers::GisLayerVector> layer = test::layerOf(texts);
    for (std::size_t i = 0; i < layer->items().size(); ++i) {
        layer->items()[i]->attributes().insert("v", static_cast<int>(i));
        layer->items()[i]->attributes().insert("turn", 90.0 * static_cast<double>(i));
    }
    layer->style() = style;
    return layer;
}

const MapView view({0, 0, width, height}, QRectF(0, 0, width, height));

QImage onMap(Kind kind, const QList<QPolygonF>& shapes, const GisLayerStyle& style, double ratio,
             const MapView& base = view) {
    MapScene scene;
    scene.append(layerOf(kind, shapes, style));
    return scene.draw(base.withDevicePixelRatio(ratio));
}

QImage inLegend(Kind kind, const QList<QPolygonF>& shapes, const GisLayerStyle& style, double ratio) {
    QImage image(QSize(width, height) * ratio, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(ratio, ratio);
    SymbolPainter symbols(painter);
    symbols.setPatternOrigin({0, height});
    for (const auto below : {&SymbolPainter::halo, &SymbolPainter::casing}) {
        for (const QPolygonF& shape : shapes) {
            kind == Line ? (symbols.*below)(shape, style, {}) : void();
        }
    }
    for (const QPolygonF& shape : shapes) {
        QPainterPath path;
        path.addPolygon(shape);
        kind == Line   ? symbols.line(shape, style)
        : kind == Area ? symbols.area(path, style)
                       : symbols.point(shape.constFirst(), style);
    }
    return image;
}

/// The first place that is not as it should be; empty when all are.
std::string wrongPlace(const QImage& image, const QList<Probe>& probes, double ratio) {
    for (const Probe& probe : probes) {
        const QColor seen = image.pixelColor(static_cast<int>(probe.x * ratio), static_cast<int>(probe.y * ratio));
        const QColor wanted = probe.color == 'r' ? Qt::red : probe.color == 'b' ? Qt::blue : Qt::black;
        constexpr int near = 60; // beside an edge
        const bool isRight = probe.color == '.'
                                 ? seen.alpha() < near
                                 : seen.alpha() > 255 - near && std::abs(seen.red() - wanted.red()) < near &&
                                       std::abs(seen.blue() - wanted.blue()) < near;
        if (!isRight) {
            return QString("%1, %2: %3").arg(probe.x).arg(probe.y).arg(seen.name(QColor::HexArgb)).toStdString();
        }
    }
    return {};
}

struct Row {
    const char* name;
    Kind kind;
    QList<QPolygonF> shapes;
    QString style;
    QString other; ///< a style that the probes must not fit
    QList<Probe> probes;
    bool isByFeature = false; ///< a single symbol does not show it
};

QString markerOf(const QString& shape, const QString& more = {}) {
    return QString(R"({"markerShape": "%1", "pointSize": 40, "pointColor": "#0000FF", "lineWidth": 0%2})")
        .arg(shape, more);
}

QString lineOf(const QString& members) {
    return QString(R"({"lineColor": "#000000", "casingColor": "#FF0000", "haloColor": "#0000FF", %1})").arg(members);
}

QString patternOf(const QString& members) {
    return QString(R"({"fillOpacity": 0, "lineWidth": 0, "patternColor": "#000000", "patternSpacing": 10, %1})")
        .arg(members);
}

QList<Row> rows() {
    const QList<QPolygonF> level{QPolygonF(QList<QPointF>{{30, 40}, {90, 40}})};
    const QList<QPolygonF> corner{QPolygonF({{20, 60}, {60, 20}, {100, 60}})};
    const QList<QPolygonF> sharp{QPolygonF({{40, 70}, {60, 20}, {80, 70}})};
    const QList<QPolygonF> crossing{QPolygonF(QList<QPointF>{{10, 40}, {110, 40}}),
                                    QPolygonF(QList<QPointF>{{60, 5}, {60, 75}})};
    const QList<QPolygonF> area{QPolygonF({{10, 10}, {110, 10}, {110, 70}, {10, 70}, {10, 10}})};
    const QList<QPolygonF> middle{QPolygonF({{60, 40}})};
    const QList<QPolygonF> two{QPolygonF({{30, 40}}), QPolygonF({{90, 40}})};
    const QString dashes = lineOf(R"("lineWidth": 6, "lineCap": "butt", "lineDashes": [10, 10])");
    const auto wide = [](const char* members) { return lineOf(QString(R"("lineWidth": 10, %1)").arg(members)); };
    const auto joined = [](const char* join) {
        return lineOf(QString(R"("lineWidth": 20, "lineJoin": "%1")").arg(join));
    };
    const QString lines = patternOf(R"("fillPattern": "lines", "patternAngle": 0, "patternWidth": 4)");
    const QString crossed = patternOf(R"("fillPattern": "crossedLines", "patternAngle": 0, "patternWidth": 4)");
    const QString sizes = R"("sizeField": "v", "sizeFrom": 10, "sizeTo": 40)";
    const QString svg = R"(, "markerSvg": "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 2 2'>)"
                        R"(<path d='M0 0h1v2h-1z' fill='currentColor'/></svg>")";
    return {
        {"dashes", Line, level, dashes, wide(R"("lineCap": "butt")"), {{35, 40, 'k'}, {45, 40, '.'}, {55, 40, 'k'}}},
        {"dashes that begin later",
         Line,
         level,
         dashes.chopped(1) + R"(, "lineDashOffset": 10})",
         dashes,
         {{35, 40, '.'}, {45, 40, 'k'}}},
        {"dots",
         Line,
         level,
         wide(R"("lineDashes": [0, 20])"),
         wide(R"("lineDashes": [0, 30])"),
         {{30, 40, 'k'}, {40, 40, '.'}, {50, 40, 'k'}, {55.7, 34.3, '.'}}},
        {"square dots",
         Line,
         level,
         wide(R"("lineDashes": [0, 20], "lineCap": "square")"),
         wide(R"("lineDashes": [0, 20])"),
         {{46.5, 36.5, 'k'}, {53.5, 43.5, 'k'}, {60, 40, '.'}}},
        {"a round end",
         Line,
         level,
         wide(R"("lineCap": "round")"),
         wide(R"("lineCap": "square")"),
         {{26.5, 40, 'k'}, {25.6, 35.6, '.'}}},
        {"a butt end",
         Line,
         level,
         wide(R"("lineCap": "butt")"),
         wide(R"("lineCap": "round")"),
         {{27.5, 40, '.'}, {31.5, 36.5, 'k'}, {92.5, 40, '.'}}},
        {"a square end",
         Line,
         level,
         wide(R"("lineCap": "square")"),
         wide(R"("lineCap": "round")"),
         {{26.5, 36.5, 'k'}, {93.5, 43.5, 'k'}, {23.5, 40, '.'}}},
        {"a mitre", Line, corner, joined("mitre"), joined("round"), {{60, 9, 'k'}, {60, 4, '.'}}},
        {"a bevel", Line, corner, joined("bevel"), joined("round"), {{60, 11.5, '.'}, {60, 14.5, 'k'}}},
        {"a round join", Line, corner, joined("round"), joined("mitre"), {{60, 11.5, 'k'}, {60, 8, '.'}}},
        {"a sharp bevel",
         Line,
         sharp,
         joined("bevel"),
         joined("mitre"),
         {{60, 18, 'k'}, {60, 13, '.'}, {71.4, 17.6, '.'}, {48.6, 17.6, '.'}}},
        {"a casing, open at crossings",
         Line,
         crossing,
         lineOf(R"("lineWidth": 6, "casingWidth": 4)"),
         lineOf(R"("lineWidth": 6)"),
         {{30, 40, 'k'}, {30, 45, 'r'}, {60, 45, 'k'}, {65, 40, 'k'}, {30, 49, '.'}}},
        {"a casing below dashes",
         Line,
         level,
         dashes.chopped(1) + R"(, "casingWidth": 3})",
         dashes,
         {{35, 40, 'k'}, {45, 40, 'r'}, {35, 44.5, 'r'}}},
        {"a halo below casings",
         Line,
         crossing,
         lineOf(R"("lineWidth": 6, "casingWidth": 4, "haloWidth": 5)"),
         lineOf(R"("lineWidth": 6, "casingWidth": 4)"),
         {{30, 40, 'k'}, {30, 45, 'r'}, {30, 49.5, 'b'}, {65, 50, 'r'}}},
        {"a casing below an outline",
         Area,
         area,
         lineOf(R"("fillOpacity": 0, "lineWidth": 4, "casingWidth": 4)"),
         lineOf(R"("fillOpacity": 0, "lineWidth": 4)"),
         {{60, 10, 'k'}, {60, 14.5, 'r'}, {60, 5.5, 'r'}, {60, 20, '.'}}},
        {"lines", Area, area, lines, crossed, {{65, 50, 'k'}, {65, 45, '.'}, {65, 40, 'k'}, {60, 45, '.'}}},
        {"turned lines",
         Area,
         area,
         patternOf(R"("fillPattern": "lines", "patternAngle": 90, "patternWidth": 4)"),
         lines,
         {{60, 45, 'k'}, {65, 45, '.'}, {65, 50, '.'}, {5, 45, '.'}}},
        {"lines that go down",
         Area,
         area,
         patternOf(R"("fillPattern": "lines", "patternAngle": 45, "patternWidth": 4, "patternSpacing": 20)"),
         lines,
         {{20, 65.7, '.'}, {41.4, 65, 'k'}, {51.4, 75, '.'}, {31.4, 55, 'k'}, {41.4, 55, '.'}}},
        {"crossed lines", Area, area, crossed, lines, {{65, 50, 'k'}, {60, 45, 'k'}, {65, 45, '.'}}},
        {"points",
         Area,
         area,
         patternOf(R"("fillPattern": "points", "patternAngle": 0, "patternWidth": 6)"),
         crossed,
         {{60, 50, 'k'}, {65, 50, '.'}, {65, 45, '.'}, {62.5, 52.5, '.'}, {70, 40, 'k'}}},
        {"a circle", Point, middle, markerOf("circle"), markerOf("square"), {{73, 27, 'b'}, {76, 24, '.'}}},
        {"a circle without a size",
         Point,
         middle,
         R"({"pointSize": 0, "lineColor": "#000000", "lineWidth": 6})",
         markerOf("circle"),
         {{60, 40, '.'}}},
        {"a square", Point, middle, markerOf("square"), markerOf("circle"), {{78, 22, 'b'}, {82, 40, '.'}}},
        {"a diamond", Point, middle, markerOf("diamond"), markerOf("circle"), {{60, 23, 'b'}, {72, 28, '.'}}},
        {"a triangle",
         Point,
         middle,
         markerOf("triangleUp"),
         markerOf("triangleDown"),
         {{60, 24, 'b'}, {46, 47.5, 'b'}, {45, 26, '.'}, {60, 53, '.'}}},
        {"a triangle down",
         Point,
         middle,
         markerOf("triangleDown"),
         markerOf("triangleUp"),
         {{60, 56, 'b'}, {46.5, 32.5, 'b'}, {60, 27, '.'}}},
        {"a pentagon", Point, middle, markerOf("pentagon"), markerOf("circle"), {{60, 23, 'b'}, {60, 58, '.'}}},
        {"a hexagon",
         Point,
         middle,
         markerOf("hexagon"),
         markerOf("circle"),
         {{60, 23, 'b'}, {75.5, 40, 'b'}, {79, 40, '.'}}},
        {"a star", Point, middle, markerOf("star"), markerOf("pentagon"), {{60, 25, 'b'}, {67, 30, '.'}}},
        {"a cross",
         Point,
         middle,
         markerOf("cross"),
         markerOf("plus"),
         {{64.5, 25, 'b'}, {75, 44.5, 'b'}, {70, 30, '.'}}},
        {"a plus", Point, middle, markerOf("plus"), markerOf("cross"), {{60, 25, 'b'}, {75, 40, 'b'}, {64.5, 25, '.'}}},
        {"a saltire", Point, middle, markerOf("saltire"), markerOf("plus"), {{72, 28, 'b'}, {60, 28, '.'}}},
        {"an arrow",
         Point,
         middle,
         markerOf("arrow"),
         markerOf("triangleUp"),
         {{60, 25, 'b'}, {70, 37, 'b'}, {60, 55, 'b'}, {70, 46, '.'}}},
        {"a turned arrow",
         Point,
         middle,
         markerOf("arrow", R"(, "markerRotation": 90)"),
         markerOf("arrow"),
         {{75, 40, 'b'}, {63, 50, 'b'}, {45, 40, 'b'}, {54, 50, '.'}}},
        {"a halo of a marker",
         Point,
         middle,
         markerOf("square", R"(, "haloWidth": 6, "haloColor": "#FF0000")"),
         markerOf("square"),
         {{60, 40, 'b'}, {60, 17, 'r'}, {83, 40, 'r'}, {60, 12, '.'}}},
        {"sizes by value",
         Point,
         two,
         markerOf("circle", "," + sizes),
         markerOf("circle"),
         {{30, 37, 'b'}, {30, 32, '.'}, {90, 23, 'b'}},
         true},
        {"widths by value",
         Line,
         crossing,
         lineOf(sizes),
         lineOf(R"("lineWidth": 10)"),
         {{30, 37, 'k'}, {30, 33, '.'}, {43, 60, 'k'}},
         true},
        {"areas have no size",
         Area,
         area,
         lines.chopped(1) + "," + sizes + "}",
         crossed,
         {{65, 50, 'k'}, {60, 45, '.'}, {65, 8, '.'}},
         true},
        {"turned by value",
         Point,
         two,
         markerOf("arrow", R"(, "markerRotation": 90, "markerRotationField": "turn")"),
         markerOf("arrow"),
         {{45, 40, 'b'}, {33, 50, 'b'}, {90, 55, 'b'}, {80, 43, 'b'}},
         true},
        {"an SVG",
         Point,
         middle,
         markerOf("svg", svg),
         markerOf("circle"),
         {{44, 24, 'b'}, {57, 56, 'b'}, {63, 40, '.'}}},
        {"a turned SVG",
         Point,
         middle,
         markerOf("svg", svg + R"(, "markerRotation": 90)"),
         markerOf("svg", svg),
         {{44, 37, 'b'}, {76, 24, 'b'}, {60, 43, '.'}}},
    };
}

} // namespace

TEST(Symbols, AreSeenAsTheStyleSays) {
    for (const Row& row : rows()) {
        if (row.style.contains("<svg") && !SvgMarker::isSupported()) {
            continue;
        }
        for (const double ratio : {1.0, 2.0}) {
            const auto wrongIn = [&](const auto& draw, const QString& style) {
                return wrongPlace(draw(row.kind, row.shapes, styleOf(style), ratio), row.probes, ratio);
            };
            const auto map = [](auto... given) { return onMap(given...); };
            EXPECT_EQ(wrongIn(map, row.style), "") << row.name << " on a map, " << ratio;
            EXPECT_NE(wrongIn(map, row.other), "") << row.name << ": another style is taken for it";
            if (!row.isByFeature) {
                EXPECT_EQ(wrongIn(&inLegend, row.style), "") << row.name << " in a legend, " << ratio;
            }
        }
    }
}

TEST(Symbols, PatternsOfNeighboursAndOfNeighbouringPicturesAreOne) {
    const QPolygonF left({{10.3, 10}, {57.4, 10}, {63.7, 70}, {10.3, 70}, {10.3, 10}});
    const QPolygonF right({{57.4, 10}, {110, 10}, {110, 70}, {63.7, 70}, {57.4, 10}});
    const QPolygonF both({{10.3, 10}, {110, 10}, {110, 70}, {10.3, 70}, {10.3, 10}});
    const MapView tile({40, 0, 100, height}, QRectF(0, 0, 60, height));
    for (const char* pattern : {"lines", "crossedLines", "points"}) {
        const GisLayerStyle style =
            styleOf(QString(R"({"lineWidth": 0, "fillColor": "#FFFF00", "fillPattern": "%1", "patternAngle": 25})")
                        .arg(pattern));
        const QImage whole = onMap(Area, {both}, style, 1.0);
        const QImage halves = onMap(Area, {left, right}, style, 1.0);
        const QImage cut = onMap(Area, {both}, style, 1.0, tile);
        int off = 0;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const auto differs = [&](QColor other) {
                    const QColor here = whole.pixelColor(x, y);
                    return std::abs(here.red() - other.red()) > 3 || std::abs(here.alpha() - other.alpha()) > 3;
                };
                off += differs(halves.pixelColor(x, y)) ? 1 : 0;
                off += x >= 40 && x < 100 && differs(cut.pixelColor(x - 40, y)) ? 1 : 0;
            }
        }
        EXPECT_EQ(off, 0) << pattern;
    }
}

TEST(Symbols, ManySizesAndRotationsAreDrawnInBoundedMemory) {
    QList<QPolygonF> places;
    for (int i = 0; i < 800; ++i) {
        places.append(QPolygonF({QPointF(i % 120, i / 120 * 10)}));
    }
    const GisLayerStyle style = styleOf(markerOf(
        "star", R"(, "sizeField": "v", "sizeFrom": 1, "sizeTo": 60, "sizeToValue": 799, "markerRotationField": "v")"));
    const QImage image = onMap(Point, places, style, 1.0);
    EXPECT_EQ(image.pixelColor(60, 70).alpha(), 255);
}

TEST(SvgMarker, RefusesWhatLoadsSomethingOrNeverEnds) {
    if (!SvgMarker::isSupported()) {
        GTEST_SKIP() << "without Qt Svg";
    }
    const auto svg = [](const QString& inside) {
        return QString("<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' "
                       "viewBox='0 0 9 9'>%1</svg>")
            .arg(inside);
    };
    const struct {
        const char* name;
        QString text;
        const char* message;
    } cases[] = {
        {"nothing", "", "cannot be used"},
        {"no XML", "<svg", "cannot be used"},
        {"no SVG", "<g/>", "no SVG with a size"},
        {"no size", "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 0 0'/>", "no SVG with a size"},
        {"a picture from a file", svg("<image xlink:href='/etc/hostname' width='9' height='9'/>"), "'image'"},
        {"a picture in another's clothes", svg("<x:image xmlns:x='x' href='a'/>"), "'image'"},
        {"one inside itself", svg("<g id='a'><use xlink:href='#a'/></g>"), "'use'"},
        {"a gradient of itself", svg("<linearGradient id='a' xlink:href='#a'/>"), "links"},
        {"a colour from a file", svg("<path d='M0 0h9' fill=\"url( 'file:///a')\"/>"), "links"},
        {"a style sheet", svg("<style>@import 'a'</style>"), "'style'"},
        {"entities", "<!DOCTYPE svg [<!ENTITY a 'b'>]>" + svg("&a;"), "document type"},
        {"a program", svg("<script>a</script>"), "'script'"},
        {"a text", svg("<text>a</text>"), "'text'"},
        {"endless dashes", svg("<path d='M0 0h9' stroke-dasharray='0.0001'/>"), "dashes"},
        {"dashes in a style", svg("<path d='M0 0h9' style='stroke-dasharray:0.0001'/>"), "dashes"},
        {"dashes with a space", svg("<path d='M0 0h9' style='stroke-dasharray : 0.0001'/>"), "dashes"},
        {"dashes after none", svg("<path d='M0 0h9' style='stroke-dasharray:none;stroke-dasharray:0.0001'/>"),
         "dashes"},
        {"a number without end", svg("<path d='M0 0h1e300'/>"), "10000"},
        {"a wide line", svg("<path d='M0 0h9' stroke-width='123456'/>"), "10000"},
        {"too deep", svg(QString("<g>").repeated(20) + QString("</g>").repeated(20)), "levels"},
        {"too many", svg(QString("<g/>").repeated(2001)), "elements"},
        {"too long", svg(QString(" ").repeated(65536)), "characters"},
    };
    for (const auto& test : cases) {
        std::string message = "it is taken";
        try {
            const SvgMarker marker(test.text);
        } catch (const std::runtime_error& error) {
            message = error.what();
        }
        EXPECT_NE(message.find(test.message), std::string::npos) << test.name << ": " << message;
    }
    EXPECT_NO_THROW(SvgMarker(svg("<defs><linearGradient id='c1e9'><stop offset='0' stop-color='#25E382'/>"
                                  "</linearGradient></defs><path id='p123456' d='M0 0h9z' fill='url(#c1e9)'/>")));

    MapScene scene;
    scene.append(layerOf(Point, {QPolygonF({{60, 40}})}, styleOf(R"({"markerShape": "svg"})")));
    MapPreparation preparation(scene, view);
    while (!preparation.step(std::chrono::milliseconds(100))) {
    }
    ASSERT_EQ(preparation.problems().size(), 1) << "a layer is rather left out than drawn with other symbols";
    EXPECT_TRUE(preparation.problems().constFirst().contains("SVG marker"))
        << qPrintable(preparation.problems().constFirst());
}
