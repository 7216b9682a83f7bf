#include "SymbologyOptions.h"

#include "Arguments.h"
#include "MapSheet.h"
#include "SymbolPainter.h"
#include "TestLayers.h"

#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>

#include <QCommandLineParser>
#include <QPainter>
#include <QPainterPath>
#include <gtest/gtest.h>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Layers::GisLayerStyle;

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
