// How colours look, and colours chosen by that.

#include <Cartolith/Core/Symbology/GisColorPerception.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>
#include <Cartolith/Core/Symbology/GisDefaultSymbolStyles.h>
#include <Cartolith/Core/Symbology/GisReadableColors.h>

#include <QSet>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace Cartolith::Core::Symbology;

namespace {

using Perception = GisColorPerception;

// Of the pairs that Sharma, Wu and Dalal (2005) published to test programs with, those of each kind: blues,
// greys, hues beside each other across 0 and opposite each other, and everyday ones.
TEST(GisColorPerception, MeasuresThePublishedDifferences) {
    const struct {
        GisLabColor one;
        GisLabColor other;
        double difference;
    } rows[] = {
        {{50, 2.6772, -79.7751}, {50, 0, -82.7485}, 2.0425},
        {{50, 3.1571, -77.2803}, {50, 0, -82.7485}, 2.8615},
        {{50, 2.8361, -74.0200}, {50, 0, -82.7485}, 3.4412},
        {{50, -1.3802, -84.2814}, {50, 0, -82.7485}, 1.0000},
        {{50, 0, 0}, {50, -1, 2}, 2.3669},
        {{50, 2.49, -0.001}, {50, -2.49, 0.0009}, 7.1792},
        {{50, 2.49, -0.001}, {50, -2.49, 0.0011}, 7.2195},
        {{50, -0.001, 2.49}, {50, 0.0009, -2.49}, 4.8045},
        {{50, -0.001, 2.49}, {50, 0.0011, -2.49}, 4.7461},
        {{50, 2.5, 0}, {50, 0, -2.5}, 4.3065},
        {{50, 2.5, 0}, {73, 25, -18}, 27.1492},
        {{50, 2.5, 0}, {61, -5, 29}, 22.8977},
        {{50, 2.5, 0}, {56, -27, -3}, 31.9030},
        {{50, 2.5, 0}, {58, 24, 15}, 19.4535},
        {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
        {{63.0109, -31.0961, -5.8663}, {62.8187, -29.7946, -4.0864}, 1.2630},
        {{35.0831, -44.1164, 3.7933}, {35.0232, -40.0716, 1.5901}, 1.8645},
        {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
        {{36.4612, 47.8580, 18.3852}, {36.2715, 50.5065, 21.2231}, 1.4146},
        {{90.9257, -0.5406, -0.9208}, {88.6381, -0.8985, -0.7239}, 1.5381},
        {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
    };
    for (const auto& row : rows) {
        EXPECT_NEAR(Perception::difference(row.one, row.other), row.difference, 5e-5) << "row " << &row - rows;
        EXPECT_NEAR(Perception::difference(row.other, row.one), row.difference, 5e-5) << "row " << &row - rows;
    }
}

TEST(GisColorPerception, SeesContrastAndKindsOfEyes) {
    EXPECT_NEAR(Perception::contrast("#FFFFFF", "#000000"), 21.0, 1e-9);
    EXPECT_NEAR(Perception::contrast("#fff", "767676"), 4.542, 5e-4) << "the lightest grey for text on white";
    EXPECT_NEAR(Perception::contrast("#FF0000", "#FFFFFF"), 3.998, 5e-4);
    EXPECT_NEAR(Perception::contrast("#0000FF", "#FFFFFF"), 8.592, 5e-4);
    EXPECT_TRUE(std::isnan(Perception::contrast("redd", "#FFFFFF")));
    EXPECT_TRUE(std::isnan(Perception::difference("#FFFFFF", "")));
    EXPECT_TRUE(std::isinf(Perception::leastDifference({"#123456"})));
    EXPECT_TRUE(std::isnan(Perception::leastDifference({"#123456", "redd", "#000000"})));
    // Green and red, which are much the same without cones for green; grey is grey to everybody.
    EXPECT_GT(Perception::difference("#2CA02C", "#D62728"), 50.0);
    EXPECT_LT(Perception::difference("#2CA02C", "#D62728", GisColorVision::Deuteranopia), 8.0);
    for (const auto vision : {GisColorVision::Deuteranopia, GisColorVision::Protanopia}) {
        EXPECT_NEAR(Perception::lab("#808080", vision).a, 0.0, 0.02);
        EXPECT_NEAR(Perception::lab("#808080", vision).lightness, 53.585, 0.01);
    }
    EXPECT_NEAR(Perception::lab("#2CA02C", GisColorVision::Deuteranopia).b, 43.786, 5e-3);
    EXPECT_NEAR(Perception::lab("#D62728", GisColorVision::Protanopia).lightness, 36.879, 5e-3);
}

QList<QString> backgrounds() {
    QList<QString> result{"#FFFFFF", "#DCE8F0", "#000000", "#777777"};
    for (const GisSymbolTheme& theme : GisDefaultSymbolStyles::themes()) {
        result.append(theme.backgroundColor);
    }
    return result;
}

TEST(GisReadableColors, CutRampsToWhatStandsOut) {
    for (const QString& background : backgrounds()) {
        for (const GisColorRamp& ramp : GisColorRampRegistry::ramps()) {
            const GisColorRamp part = GisReadableColors::partOf(ramp, background);
            for (const QString& color : part.colors(100)) {
                EXPECT_GE(Perception::contrast(color, background), 3.0)
                    << qPrintable(ramp.name()) << " on " << qPrintable(background);
            }
        }
    }
    const GisColorRamp viridis = GisColorRampRegistry::ramp("Viridis");
    EXPECT_EQ(GisReadableColors::partOf(viridis, "#FFFFFF").colorAt(0), "#440154") << "the dark end as it is";
    EXPECT_EQ(GisReadableColors::partOf(viridis, "#FFFFFF", 1.0).colors(9), viridis.colors(9)) << "all of it";
    EXPECT_TRUE(GisReadableColors::partOf(viridis, "#FFFFFF", 20.0).isEmpty());
    EXPECT_TRUE(GisReadableColors::partOf(viridis, "white").isEmpty());
    EXPECT_TRUE(GisReadableColors::partOf(GisColorRamp(), "#FFFFFF").isEmpty());
}

TEST(GisReadableColors, GiveCategoriesThatEveryEyeCanTell) {
    const struct {
        int count;
        double least;
    } rows[] = {{10, 10.0}, {20, 6.5}, {40, 4.5}};
    for (const QString& background : backgrounds()) {
        if (background == "#777777") {
            continue; // little has a contrast of 3 to it
        }
        const QList<QString> most = GisReadableColors::categories(40, background);
        for (const auto& row : rows) {
            for (int vision = 0; vision < 3; ++vision) {
                EXPECT_GE(Perception::leastDifference(most.first(row.count), static_cast<GisColorVision>(vision)),
                          row.least)
                    << row.count << " on " << qPrintable(background) << ", vision " << vision;
            }
        }
        for (const QString& color : most) {
            EXPECT_GE(Perception::contrast(color, background), 3.0) << qPrintable(color + background);
        }
    }
    EXPECT_EQ(GisReadableColors::categories(3, "?"), GisReadableColors::categories(40, "#FFFFFF").first(3));
    EXPECT_TRUE(GisReadableColors::categories(-1, "#FFFFFF").isEmpty());
    EXPECT_TRUE(GisReadableColors::categories(5, "#FFFFFF", 30.0).isEmpty());
    for (const double contrast : {3.0, 9.5}) { // more categories than colours of that kind
        const QList<QString> many = GisReadableColors::categories(600, "#FFFFFF", contrast);
        const qsizetype different = QSet<QString>(many.begin(), many.end()).size();
        EXPECT_EQ(many.mid(different, different), many.first(different)) << "they repeat in order";
        EXPECT_EQ(many.size(), 600);
    }
}

} // namespace
