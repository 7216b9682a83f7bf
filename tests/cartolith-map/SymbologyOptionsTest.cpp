#include "SymbologyOptions.h"

#include "Arguments.h"
#include "Map/TestLayers.h"

#include <Cartolith/Core/Symbology/GisColorPerception.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Map/MapSheet.h>
#include <Cartolith/Map/SymbolPainter.h>

#include <QCommandLineParser>
#include <QPainter>
#include <QPainterPath>
#include <gtest/gtest.h>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Layers::GisLayerStyle;
using namespace Cartolith::Map;

namespace {

SymbologyOptions optionsOf(const QString& line) {
    QCommandLineParser parser;
    SymbologyOptions::addTo(parser);
    EXPECT_TRUE(parser.parse(QStringList{"render"} + line.split(' ', Qt::SkipEmptyParts)))
        << qPrintable(parser.errorText());
    return SymbologyOptions(parser);
}

QString errorOf(const QString& line) {
    try {
        optionsOf(line);
    } catch (const UsageError& error) {
        return error.what();
    }
    return "no error";
}

TEST(SymbologyOptions, RefuseWhatMakesNoSense) {
    const struct {
        const char* line;
        const char* message;
    } cases[] = {
        {"--field a --categories b", "--field and --categories exclude each other"},
        {"--field=", "--field wants"},
        {"--method Quantile", "--method goes with --field"},
        {"--categories a --classes 3", "--classes goes with --field"},
        {"--breaks 1,2", "--breaks goes with --field"},
        {"--ramp Viridis", "--ramp goes with --field or --categories"},
        {"--reversed", "--reversed goes with"},
        {"--field a --method Best", "DefinedInterval, EqualInterval, Quantile, NaturalBreaks"},
        {"--field a --ramp Rainbow", "YellowGreenBlue, Viridis"},
        {"--field a --ramp-mode smooth", "continuous, discrete"},
        {"--theme Sepia", "SoftProfessional, ClassicGIS"},
        {"--field a --classes 0", "from 1 to 1000, not '0'"},
        {"--field a --classes 1001", "from 1 to 1000"},
        {"--field a --classes 2.5", "whole number"},
        {"--field a --method Quartile --classes 4", "--classes does not go with Quartile"},
        {"--field a --method DefinedInterval", "wants --interval"},
        {"--field a --method DefinedInterval --interval 0", "--interval wants a number"},
        {"--field a --method DefinedInterval --interval nan", "--interval wants a number"},
        {"--field a --interval 2", "--interval does not go with NaturalBreaks"},
        {"--field a --method Manual", "go together"},
        {"--field a --method Quantile --breaks 1,2", "go together"},
        {"--field a --method Manual --breaks 1,1", "two or more different numbers"},
        {"--field a --method Manual --breaks 1,x", "two or more different numbers"},
        {"--fill redd", "--fill wants a colour, as #RRGGBB or a name such as red, not 'redd'"},
        {"--line none", "--line wants a colour"},
        {"--width -1", "--width wants"},
        {"--marker heart", "\"triangleDown\", \"pentagon\""},
        {"--hatch dots", "--hatch: style.fillPattern: \"dots\" is none of"},
        {"--hatch lines,redd", "--hatch wants a colour"},
        {"--dash 3,x", "--dash wants a number"},
        {"--casing white,-1", "--casing wants a number"},
        {"--halo 2", "--halo wants a colour"},
        {"--sizes 2,20", "--sizes goes with --size-field"},
        {"--size-field a --sizes 2", "--sizes wants a number"},
        {"--size-field=", "--size-field wants"},
        {"--style s.json --dash 3", "--dash does not go with --style"},
    };
    for (const auto& test : cases) {
        EXPECT_TRUE(errorOf(test.line).contains(test.message)) << test.line << ": " << qPrintable(errorOf(test.line));
    }
}

TEST(SymbologyOptions, MakeAsManyClassesAsTheDataNeedAndNoMore) {
    const auto layer = test::squaresOf({0, 1e6});
    EXPECT_THROW(optionsOf("--field v --method DefinedInterval --interval 1").makeRenderer(*layer), std::runtime_error);
    EXPECT_EQ(
        optionsOf("--field v --method definedinterval --interval 1000").makeRenderer(*layer)->legendItems().size(),
        1001);
}

TEST(SymbologyOptions, KeepFeaturesOfOneClassAndThoseWithoutAValueApart) {
    for (const char* line : {"--field v --method EqualInterval --classes 3", "--categories v --theme Dark",
                             "--field v --method Quantile --classes 3 --ramp Plasma --theme Blueprint",
                             "--categories v --ramp BrownGreen --reversed --ramp-mode discrete"}) {
        const auto layer = test::squaresOf({1, 2, 3, QVariant()});
        const SymbologyOptions options = optionsOf(line);
        const auto items = options.makeRenderer(*layer)->legendItems();
        ASSERT_EQ(items.size(), 4) << line;
        for (qsizetype i = 0; i < items.size(); ++i) {
            EXPECT_EQ(items[i].style.fillOpacity(), 255) << line;
            EXPECT_NE(items[i].style.fillColor(), items[i].style.lineColor()) << line << ": no border";
            for (qsizetype j = 0; j < i; ++j) {
                EXPECT_NE(items[i].style.fillColor(), items[j].style.fillColor()) << line;
            }
        }
        const bool paperIsTaken = QString(line).contains("--ramp BrownGreen"); // its middle is all but white
        EXPECT_EQ(QColor(items.last().style.fillColor()) == options.colours().paper, !paperIsTaken) << line;
    }
    // A few categories get the ramp's own colours; lines keep the colour of their class.
    const auto layer = test::layerOf({"LINESTRING (0 0, 9 9)", "LINESTRING (0 9, 9 0)", "LINESTRING (0 5, 9 5)"});
    for (int i = 0; i < 3; ++i) {
        layer->rawShapes()[i]->attributes().insert("v", QString(QChar('a' + i)));
    }
    const auto items = optionsOf("--categories v --width 3").makeRenderer(*layer)->legendItems();
    const char* const own[] = {"#1F77B4", "#FF7F0E", "#2CA02C"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(items[i].style.lineColor(), own[i]);
        EXPECT_EQ(items[i].style.lineWidth(), 3.0F);
    }
    EXPECT_EQ(optionsOf("--categories v --line #010203").makeRenderer(*layer)->legendItems().last().style.lineColor(),
              "#010203");
}

std::unique_ptr<Layers::GisLayerVector> linesOf(int count, Shapes::GisShapeType kind) {
    auto layer = Layers::GisLayerVector::createInMemory("test", kind, {});
    for (int i = 0; i < count; ++i) {
        const QString text = kind == Shapes::GisShapeType::Point ? "POINT (%1 0)" : "LINESTRING (%1 0, 9 9)";
        layer->addShape(Serialization::Wkt::GisWktReader::read(text.arg(i)));
        layer->rawShapes()[i]->attributes().insert("v", i);
    }
    return layer;
}

TEST(SymbologyOptions, DrawLinesAndPointsThatCanBeSeen) {
    const QStringList looks{"--field v --classes 5", "--field v --classes 5 --ramp GreenBlue", "--categories v",
                            "--field v --classes 9 --ramp BrownGreen", "--categories v --ramp Viridis --reversed"};
    QStringList sheets{""};
    for (const QString& theme : GisDefaultSymbolStyles::names()) {
        sheets.append(" --theme " + theme);
    }
    for (const auto kind : {Shapes::GisShapeType::Point, Shapes::GisShapeType::Polyline}) {
        for (const QString& look : looks) {
            for (const QString& theme : sheets) {
                SCOPED_TRACE(qPrintable(look + theme));
                const auto layer = linesOf(14, kind);
                const SymbologyOptions options = optionsOf(look + theme);
                const auto renderer = options.makeRenderer(*layer);
                const LineCasing casing = options.casing(*renderer);
                EXPECT_TRUE(casing.lines.isEmpty() || options.colours().contrast(casing.colour) >= 3.0);
                const auto items = renderer->legendItems();
                for (qsizetype i = 0; i + 1 < items.size(); ++i) {
                    const GisLayerStyle& style = items[i].style;
                    const double outer = options.colours().contrast(QColor(style.lineColor()));
                    if (kind == Shapes::GisShapeType::Point) {
                        EXPECT_GE(std::max(outer, options.colours().contrast(QColor(style.pointColor()))), 3.0);
                    } else {
                        EXPECT_TRUE(outer >= 3.0 || casing.lines.contains(style.lineColor()));
                        EXPECT_GE(style.lineWidth(), 1.4F);
                    }
                    if (!look.contains("ramp") && !theme.isEmpty()) {
                        EXPECT_GE(options.colours().contrast(QColor(style.pointColor())), 3.0) << "by itself";
                    }
                }
            }
        }
    }
}

TEST(SymbologyOptions, GiveCategoriesColoursThatCanBeTold) {
    for (const char* line : {"--categories v", "--categories v --theme Dark", "--categories v --theme Blueprint",
                             "--categories v --theme Monochrome --reversed"}) {
        const auto layer = test::squaresOf({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20});
        QList<QString> colours;
        const auto renderer = optionsOf(line).makeRenderer(*layer);
        for (const GisSymbolLegendItem& item : renderer->legendItems().first(20)) {
            colours.append(item.style.fillColor());
        }
        for (int vision = 0; vision < 3; ++vision) {
            EXPECT_GE(GisColorPerception::leastDifference(colours, static_cast<GisColorVision>(vision)), 9.0) << line;
        }
        EXPECT_TRUE(ClassStyles::nearestColours(*renderer).contains("deuteranopia")) << line;
    }
}

TEST(MapPainter, DrawsACasingBelowAllLinesOfItsColours) {
    const auto layer = test::layerOf({"LINESTRING (0 50, 100 50)", "LINESTRING (50 0, 50 100)"});
    GisLayerStyle style;
    style.setLineWidth(4);
    style.setLineColor("#EEEEEE");
    layer->setSymbolRenderer(std::make_unique<GisSimpleSymbolRenderer>(style));
    for (const char* cased : {"#EEEEEE", "#123456"}) {
        QImage image(100, 100, QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        const MapView view(Shapes::GisExtent(0, 0, 100, 100), image.rect());
        const auto shapes = MapPainter::visibleShapes(*layer, view);
        MapPainter(painter, view).draw(shapes, MapPainter::stylesFor(*layer, shapes), {Qt::black, {cased}});
        painter.end();
        EXPECT_EQ(image.pixelColor(50, 50), QColor("#EEEEEE")) << "no casing across the lines";
        EXPECT_EQ(image.pixelColor(47, 20).lightness() < 150, QString(cased) == "#EEEEEE");
    }
}

TEST(SymbologyOptions, TakeTheColoursThatFilesTake) {
    const struct {
        const char* fill;
        QRgb drawn; ///< on white
    } rows[] = {
        {"#C0392B", 0xFFC0392B}, {"#f00", 0xFFFF0000},        {"red", 0xFFFF0000},
        {"none", 0xFFFFFFFF},    {"transparent", 0xFFFFFFFF}, {"#80000000", 0xFF7F7F7F},
    };
    for (const auto& row : rows) {
        for (const char* const more : {"", "--field v"}) { // one style, and features in no class
            const auto layer = test::squaresOf({1, QVariant()});
            const auto renderer = optionsOf(QString("--width 0 --fill %1 %2").arg(row.fill, more)).makeRenderer(*layer);
            const GisLayerStyle style = renderer->styleForFeature(GisSymbolContext(*layer->rawShapes()[1]));
            QImage image(20, 20, QImage::Format_RGB32);
            image.fill(Qt::white);
            QPainter painter(&image);
            QPainterPath path;
            path.addRect(image.rect());
            SymbolPainter(painter).area(path, style);
            EXPECT_EQ(image.pixel(10, 10), row.drawn) << row.fill << more;
        }
    }
}

TEST(MapSheet, ShowsTheColourOfEachClassOnTheMapAndInTheLegend) {
    const auto layer = test::squaresOf({1, 20, 300, 4000, 50000, QVariant()});
    const SymbologyOptions options = optionsOf("--field v --method Quantile --classes 5 --theme MidnightBlue");
    layer->setSymbolRenderer(options.makeRenderer(*layer));
    for (const QSize size : {QSize(1600, 900), QSize(240, 160)}) {
        MapSheet::Options sheetOptions;
        sheetOptions.size = size;
        sheetOptions.colours = options.colours();
        sheetOptions.legend = LegendContent::of(*layer, {});
        const MapSheet sheet(sheetOptions, layer->extent(), nullptr);
        const auto shapes = MapPainter::visibleShapes(*layer, sheet.view());
        const QImage image = sheet.draw({{shapes, MapPainter::stylesFor(*layer, shapes)}});
        QHash<QRgb, int> onMap, inLegend;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                ++(x <= sheet.view().frame().right() ? onMap : inLegend)[image.pixel(x, y)];
            }
        }
        for (const LegendContent::Row& row : sheetOptions.legend->rows) {
            const QRgb colour = QColor(row.style.fillColor()).rgb();
            EXPECT_GT(onMap[colour], 200) << qPrintable(row.label) << " at " << size.width();
            EXPECT_GT(inLegend[colour], 40) << qPrintable(row.label) << " at " << size.width();
        }
    }
}

} // namespace
