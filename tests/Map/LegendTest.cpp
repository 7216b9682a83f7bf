#include "DataFolder.h"
#include "Map/TestLayers.h"
#include "TestSeed.h"

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>
#include <Cartolith/Core/Symbology/GisFeatureSymbol.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSymbolRendererFactory.h>
#include <Cartolith/Map/Legend.h>
#include <Cartolith/Map/NumberText.h>

#include <QPainter>
#include <QSet>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Layers::GisLayerStyle;

namespace {

using Method = GisClassificationMethod;
using namespace Cartolith::Map;

struct Bounds {
    double lower;
    double upper;
    QString label{};
    bool enabled = true;
};

std::unique_ptr<GisSymbolRenderer> ranges(Method method, const QList<Bounds>& classes) {
    auto renderer = std::make_unique<GisGraduatedSymbolRenderer>("v");
    renderer->setClassificationMode(method);
    for (const Bounds& bounds : classes) {
        renderer->addRange({bounds.lower, bounds.upper, true, false, bounds.label, {}, bounds.enabled});
    }
    return renderer;
}

std::unique_ptr<GisSymbolRenderer> categories(const QVariantList& values) {
    auto renderer = std::make_unique<GisCategorizedSymbolRenderer>("v");
    for (const QVariant& value : values) {
        renderer->addClass({value, {}, {}});
    }
    return renderer;
}

std::unique_ptr<GisSymbolRenderer> rules(const QStringList& fields) {
    auto renderer = std::make_unique<GisRuleBasedSymbolRenderer>();
    for (const QString& field : fields) {
        renderer->addRule({field, GisSymbolRuleOperator::GreaterThan, 5, {}, {}});
    }
    return renderer;
}

QString textOf(const LegendContent& content) {
    QStringList rows;
    for (const LegendContent::Row& row : content.rows) {
        rows.append(QString("%1%2: %3").arg(row.isDefault ? "* " : "", row.label).arg(row.count));
    }
    return rows.join(" | ");
}

TEST(LegendContent, ShowsEachClassAndWhoIsInNone) {
    const QVariant none;
    const struct {
        const char* what;
        QVariantList values;
        std::unique_ptr<GisSymbolRenderer> renderer;
        QString rows;
        QString title = "v";
    } cases[] = {
        {"null values, an empty class",
         {1, 2, none, 30},
         ranges(Method::Quantile, {{0, 10}, {10, 20}, {20, 40}}),
         "0 – 10: 2 | 10 – 20: 0 | 20 – 40: 1 | * No value: 1"},
        {"nobody is outside", {1}, ranges(Method::Quantile, {{0, 10}}), "0 – 10: 1"},
        {"texts and nulls", {1, "x", none}, ranges(Method::Quantile, {{0, 10}}), "0 – 10: 1 | * Other or no value: 2"},
        {"blank is no value", {" "}, ranges(Method::Quantile, {{0, 10}}), "0 – 10: 0 | * No value: 1"},
        {"a disabled class",
         {1, 11},
         ranges(Method::Quantile, {{0, 10, {}, false}, {10, 20}}),
         "10 – 20: 1 | * Other: 1"},
        {"a label somebody wrote", {1}, ranges(Method::Quantile, {{0, 10, "low"}}), "low: 1"},
        {"the library's own label", {1}, ranges(Method::Quantile, {{0, 1234567, "0 - 1234567"}}), "0 – 1,240,000: 1"},
        {"bounds somebody gave", {1}, ranges(Method::Manual, {{0, 1234567}}), "0 – 1,234,567: 1"},
        {"negative numbers", {-1}, ranges(Method::Quantile, {{-10, -0.5}}), "-10.0 to -0.5: 1"},
        {"a single value", {123456}, ranges(Method::Quantile, {{123456, 123456}}), "123,456: 0 | * Other: 1"},
        {"categories", {"b", "a", "b", none}, categories({"a", "b"}), "a: 1 | b: 2 | * No value: 1"},
        {"the null category", {none, "a"}, categories({none}), "No value: 1 | * Other: 1"},
        {"rules on one field", {9, none}, rules({"v"}), "v > 5: 1 | * No value: 1"},
        {"rules on several fields", {9, none}, rules({"v", "w"}), "v > 5: 1 | w > 5: 0 | * Other: 1", "test"},
        {"one style", {1, 2}, std::make_unique<GisSimpleSymbolRenderer>(), "test: 2", ""},
    };
    for (const auto& test : cases) {
        const auto layer = test::squaresOf(test.values);
        layer->setSymbolRenderer(test.renderer->clone());
        const LegendContent content = LegendContent::of(*layer, {});
        EXPECT_EQ(textOf(content), test.rows) << test.what;
        EXPECT_EQ(content.title, test.title) << test.what;
        EXPECT_EQ(LegendContent::of(*layer, "given").title, "given") << test.what;
    }
}

TEST(LegendContent, ShowsSizesAtRoundValues) {
    const auto layer = test::layerOf({"POINT (1 2)", "POINT (3 4)"});
    layer->setShapeType(Shapes::GisShapeType::Point);
    layer->items()[0]->attributes() = {{"v", 3}, {"w", 0}};
    layer->items()[1]->attributes() = {{"v", 97}, {"w", 1}};
    layer->style().setFillColor("#FF0000");
    const auto sized = GisSymbolRendererFactory::sized(*layer, "v", 4, 40, Layers::SizeScaling::Linear);
    layer->setSymbolRenderer(sized->clone());
    const LegendContent content = LegendContent::of(*layer, {});
    EXPECT_EQ(textOf(content), "80: -1 | 60: -1 | 40: -1 | 20: -1");
    EXPECT_EQ(content.title, "v");
    for (const LegendContent::Row& row : content.rows) {
        EXPECT_NEAR(row.style.pointSize(), GisFeatureSymbol::sizeFor(sized->style(), row.label.toDouble()), 1e-4);
    }
    GisCategorizedSymbolRenderer classes("w");
    classes.addClass({0, "none", sized->style()});
    classes.addClass({1, "one", sized->style()});
    layer->setSymbolRenderer(classes.clone());
    EXPECT_EQ(textOf(LegendContent::of(*layer, {})), "none: 1 | one: 1 | v 80: -1 | v 60: -1 | v 40: -1 | v 20: -1");

    // The largest sample is drawn as large as on the map.
    const Legend legend(content, SheetColours(), QSizeF(300, 400), 12);
    QImage image(300, 400, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    legend.draw(painter, {0, 0});
    painter.end();
    int most = 0;
    for (int x = 0; x < 60; ++x) {
        int count = 0;
        for (int y = 0; y < 72; ++y) {
            count += image.pixelColor(x, y).blue() > image.pixelColor(x, y).red() + 90 ? 1 : 0;
        }
        most = std::max(most, count);
    }
    EXPECT_NEAR(most, content.rows.constFirst().style.pointSize(), 2.0);
}

TEST(LegendContent, GivesTheFitOfTheEnabledClasses) {
    const auto fitOf = [](const QVariantList& values, const QList<Bounds>& classes) {
        const auto layer = test::squaresOf(values);
        layer->setSymbolRenderer(ranges(Method::Quantile, classes));
        return LegendContent::of(*layer, {}).smallPrint;
    };
    EXPECT_TRUE(fitOf({1, 1, 5, 5}, {{0, 2}, {2, 9}}).endsWith(" 1.000"));
    EXPECT_TRUE(fitOf({0, 2, 10, 12}, {{0, 5}, {5, 20}}).endsWith(" 0.961")) << "1 - 4 / 104, rounded down";
    EXPECT_EQ(fitOf({1}, {{5, 9}}), "") << "no value lies in a class";
}

QStringList boundsOf(const QString& label) {
    return QString(label).remove(',').replace(" to ", " – ").split(" – ");
}

/// The rows in which a reader of the legend looks for the number: a bound belongs to the row it begins.
QList<qsizetype> rowsOf(double value, const QList<QList<double>>& rows) {
    QList<qsizetype> found;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const double from = rows[i].first();
        const double to = rows[i].last();
        const bool ends = value == to && (from == to || i + 1 == rows.size());
        if (value >= from && (value < to || ends)) {
            found.append(i);
        }
    }
    return found;
}

/// Checks each feature of a layer that has its renderer.
void expectEachInTheRowOfItsColour(const Layers::GisLayerVector& layer, const QString& field) {
    const auto& renderer = dynamic_cast<const GisGraduatedSymbolRenderer&>(*layer.symbolRenderer());
    const LegendContent legend = LegendContent::of(layer, {});
    QList<QList<double>> rows;
    QSet<qsizetype> decimals;
    for (qsizetype row = 0; row < renderer.ranges().size(); ++row) {
        rows.append(QList<double>());
        for (const QString& bound : boundsOf(legend.rows[row].label)) {
            const QString digits = bound.section('e', 0, 0);
            decimals.insert(digits.contains('.') ? digits.size() - digits.indexOf('.') : 0);
            rows.last().append(bound.toDouble());
        }
    }
    EXPECT_EQ(decimals.size(), 1) << "digits after the point differ";
    for (const auto& shape : layer.items()) {
        const GisSymbolContext context(*shape);
        bool ok = false;
        const double value = context.attribute(field).toDouble(&ok);
        if (ok) {
            ASSERT_EQ(rowsOf(value, rows), QList<qsizetype>{renderer.legendIndexForFeature(context)})
                << qPrintable(QString::number(value, 'g', 17));
        }
    }
}

TEST(LegendBounds, PutEachFeatureOfTheSampleDataIntoTheRowOfItsColour) {
    Layers::GisLayerOgrVector countries(CARTOLITH_DATA_DIR "/world-countries.gpkg");
    Layers::GisLayerOgrVector roads(CARTOLITH_DATA_DIR "/gothenburg-roads.gpkg");
    ASSERT_TRUE(countries.open() && roads.open());
    for (const QString field : {"pop", "gdpPercap", "lifeExp", "area_km2", "maxspeed"}) {
        auto& layer = field == "maxspeed" ? roads : countries;
        for (const Method method : {Method::EqualInterval, Method::Quantile, Method::NaturalBreaks,
                                    Method::GeometricalInterval, Method::KMeans, Method::StandardDeviation}) {
            for (int classes = 3; classes <= 9; ++classes) {
                SCOPED_TRACE(testing::Message() << qPrintable(field) << ", method " << int(method) << ", " << classes);
                GisClassificationSettings settings;
                settings.method = method;
                settings.classCount = classes;
                settings.interval = 0.5;
                layer.setSymbolRenderer(GisSymbolRendererFactory::graduated(layer, field, settings));
                expectEachInTheRowOfItsColour(layer, field);
            }
        }
    }
}

TEST(LegendBounds, PutEachValueOfAnyColumnIntoTheRowOfItsColour) {
    std::mt19937 random(test::seed());
    std::normal_distribution<> normal;
    for (int round = 0; round < 120; ++round) {
        const double scale = std::pow(10.0, 3.0 * normal(random));
        const double offset = round % 3 == 0 ? 0.0 : 100.0 * scale * normal(random);
        const double step = round % 2 == 0 ? 0.0 : scale / 7.0;
        QVariantList values;
        for (int i = 0; i < 60; ++i) {
            const double value = offset + scale * std::exp(normal(random));
            values.append(step > 0.0 ? std::round(value / step) * step : value);
        }
        const auto layer = test::squaresOf(values);
        GisClassificationSettings settings;
        settings.method = static_cast<Method>(2 + round % 9);
        settings.classCount = 2 + round % 11;
        SCOPED_TRACE(testing::Message() << "round " << round << ", seed " << test::seed());
        layer->setSymbolRenderer(GisSymbolRendererFactory::graduated(*layer, "v", settings));
        expectEachInTheRowOfItsColour(*layer, "v");
    }
}

TEST(LegendBounds, AreShortAndAlike) {
    constexpr double huge = std::numeric_limits<double>::max();
    const struct {
        const char* what;
        QVariantList values;
        Method method;
        int classes;
        QString labels;
    } rows[] = {
        {"the greatest value alone", {1, 2, 3, 100}, Method::NaturalBreaks, 2, "1 – 50 | 100"},
        {"neighbours", {1, 2, 3}, Method::NaturalBreaks, 3, "1 – 2 | 2 – 3 | 3"},
        {"one value", {7, 7}, Method::NaturalBreaks, 3, "7"},
        {"the ends go outwards",
         {1'012'345, 1'650'000, 2'345'678},
         Method::EqualInterval,
         2,
         "1,000,000 – 1,680,000 | 1,680,000 – 2,350,000"},
        {"zeros alike", {0.5, 1, 1.25, 3}, Method::EqualInterval, 2, "0.50 – 1.75 | 1.75 – 3.00"},
        {"a year is not rounded to ten",
         {1994, 2001, 2003, 2010},
         Method::EqualInterval,
         2,
         "1,994 – 2,002 | 2,002 – 2,010"},
        {"wide apart", {-huge, 0, huge}, Method::Quantile, 2, {}},
        {"hardly apart", {1, std::nextafter(1, 2)}, Method::Quantile, 2, {}},
        {"powers of ten", {1e-30, 3e-30, 9e-30}, Method::EqualInterval, 2, "1e-30 – 5e-30 | 5e-30 – 9e-30"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const auto layer = test::squaresOf(row.values);
        GisClassificationSettings settings;
        settings.method = row.method;
        settings.classCount = row.classes;
        layer->setSymbolRenderer(GisSymbolRendererFactory::graduated(*layer, "v", settings));
        expectEachInTheRowOfItsColour(*layer, "v");
        QStringList labels;
        for (const LegendContent::Row& shown : LegendContent::of(*layer, {}).rows) {
            labels.append(shown.label);
        }
        if (!row.labels.isEmpty()) {
            EXPECT_EQ(labels.join(" | "), row.labels);
        }
    }
}

TEST(NumberText, ReadsBackAndIsAlike) {
    EXPECT_EQ(NumberText::alike({0, -0.0, 1364270000}).join(' '), "0 0 1,364,270,000");
    EXPECT_EQ(NumberText::alike({2.5, 1000, 0.1}).join(' '), "2.5 1,000.0 0.1");
    EXPECT_EQ(NumberText::alike({1e300, 1.5, std::numeric_limits<double>::infinity()}).join(' '),
              "1.0e+300 1.5e+00 inf");
}

TEST(Legend, StaysInItsRoomAndCountsWhatItDoesNotShow) {
    constexpr int margin = 10;
    for (const QSizeF room : {QSizeF(20, 20), QSizeF(120, 90), QSizeF(300, 400), QSizeF(700, 800)}) {
        for (const int classes : {0, 1, 7, 60, 1000}) {
            LegendContent content;
            content.title = "A title that is rather long for most of the rooms it has to fit into";
            content.smallPrint = "Small print";
            for (int i = 0; i < classes; ++i) {
                GisLayerStyle style;
                style.setFillColor(GisColorRamp::colorText(255, i % 256, i / 256));
                style.setFillOpacity(255);
                content.rows.append({QString("class %1").arg(i).repeated(1 + i % 4), style, i, false});
            }
            content.rows.append({"No value", {}, 3, true});
            const Legend legend(content, SheetColours(), room, 16);
            const QString what = QString("%1 classes in %2 x %3").arg(classes).arg(room.width()).arg(room.height());
            EXPECT_LE(legend.size().width(), room.width()) << qPrintable(what);
            EXPECT_LE(legend.size().height(), room.height()) << qPrintable(what);

            const auto drawn = [&room](const Legend& drawnLegend) {
                QImage image(room.toSize() + 2 * QSize(margin, margin), QImage::Format_RGB32);
                image.fill(Qt::white);
                QPainter painter(&image);
                drawnLegend.draw(painter, {margin, margin});
                return image;
            };
            const QImage image = drawn(legend);
            QSet<QRgb> colours;
            const QRectF mine = QRectF({margin, margin}, legend.size()).adjusted(-1, -1, 1, 1);
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    colours.insert(image.pixel(x, y));
                    ASSERT_TRUE(mine.contains(x, y) || image.pixel(x, y) == 0xFFFFFFFF)
                        << qPrintable(what) << " at " << x << ", " << y;
                }
            }
            if (room.width() < 100) {
                continue; // no room for a whole row
            }
            if (legend.shownRows() < classes) {
                content.rows.remove(classes - 1);
                EXPECT_NE(drawn(Legend(content, SheetColours(), room, 16)), image)
                    << qPrintable(what) << ": how many are missing is not drawn";
                content.rows.insert(classes - 1, LegendContent::Row());
            }
            for (qsizetype i = 0; i < classes; ++i) {
                const bool shown = colours.contains(QColor(content.rows[i].style.fillColor()).rgb());
                ASSERT_EQ(shown, i < legend.shownRows()) << qPrintable(what) << ", class " << i;
            }
        }
    }
}

// Nor is it measured, of tens of thousands.
TEST(Legend, WhatHasNoRoomTakesNone) {
    LegendContent content;
    for (int i = 0; i < 5000; ++i) {
        content.rows.append({QString::number(i), {}, 1});
    }
    const QSizeF size = Legend(content, {}, {300, 200}, 10).size();
    content.rows.last().label = QString(200, u'W');
    EXPECT_EQ(Legend(content, {}, {300, 200}, 10).size(), size);
    content.rows.first().label = QString(200, u'W');
    EXPECT_NE(Legend(content, {}, {300, 200}, 10).size(), size);
}

} // namespace
