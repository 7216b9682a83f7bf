#include "Legend.h"

#include "../TestSeed.h"
#include "NumberText.h"
#include "TestLayers.h"

#include <Cartolith/Core/Symbology/GisCategorizedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisColorRamp.h>
#include <Cartolith/Core/Symbology/GisGraduatedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisRuleBasedSymbolRenderer.h>
#include <Cartolith/Core/Symbology/GisSimpleSymbolRenderer.h>

#include <QPainter>
#include <QSet>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Symbology;
using Layers::GisLayerStyle;

namespace {

using Method = GisClassificationMethod;

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
        {"the library's own label", {1}, ranges(Method::Quantile, {{0, 1234567, "0 - 1234567"}}), "0 – 1,230,000: 1"},
        {"bounds somebody gave", {1}, ranges(Method::Manual, {{0, 1234567}}), "0 – 1,234,567: 1"},
        {"negative numbers", {-1}, ranges(Method::Quantile, {{-10, -0.5}}), "-10 to -0.5: 1"},
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

TEST(NumberText, IsShortAndKeepsBoundsApart) {
    const struct {
        double value;
        int digits;
        const char* text;
    } cases[] = {{0, 3, "0"},          {-0.0, 3, "0"},        {1364270000, 3, "1,360,000,000"}, {999.96, 3, "1,000"},
                 {999.96, 4, "1,000"}, {999.96, 5, "999.96"}, {-0.0526, 2, "-0.053"},           {2.50, 5, "2.5"},
                 {1e-9, 3, "1e-09"},   {1e300, 3, "1e+300"},  {0.1, 17, "0.10000000000000001"}};
    for (const auto& test : cases) {
        EXPECT_EQ(NumberText::rounded(test.value, test.digits), test.text);
    }
    EXPECT_EQ(NumberText::digitsFor({0, 5e5, 1e6}), 3);
    EXPECT_EQ(NumberText::digitsFor({1994, 2002, 2010}), 4) << "a year is not rounded to ten";
    EXPECT_EQ(NumberText::digitsFor({1, std::nextafter(1, 2)}), 17);

    std::mt19937 random(test::seed());
    for (int round = 0; round < 300; ++round) {
        const double scale = std::pow(10.0, std::uniform_real_distribution<>(-12, 18)(random));
        QList<double> bounds = {std::uniform_real_distribution<>(-scale, scale)(random)};
        for (int i = 0; i < 5; ++i) {
            bounds.append(bounds.last() + scale * std::pow(10.0, std::uniform_real_distribution<>(-9, 1)(random)));
        }
        const int digits = NumberText::digitsFor(bounds);
        for (qsizetype i = 1; i < bounds.size(); ++i) {
            for (const double bound : {bounds[i - 1], bounds[i]}) {
                const double read = NumberText::rounded(bound, digits).remove(',').toDouble();
                ASSERT_LE(std::abs(read - bound), (bounds[i] - bounds[i - 1]) / 49) << bound;
            }
            ASSERT_NE(NumberText::rounded(bounds[i], digits), NumberText::rounded(bounds[i - 1], digits));
        }
    }
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

} // namespace
