#include <Cartolith/Core/Symbology/GisColorRamp.h>
#include <Cartolith/Core/Symbology/GisColorRampRegistry.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace Cartolith::Core::Symbology;

namespace {

const auto continuous = GisColorRampMode::Continuous;
const auto discrete = GisColorRampMode::Discrete;

TEST(GisColorRamp, ReadsColoursAsPeopleWriteThem) {
    const struct {
        const char* text;
        const char* normalized;
    } rows[] = {
        {"1e88e5", "#1E88E5"},
        {" #1E88E5\t", "#1E88E5"},
        {"#18e", "#1188EE"},
        {"1AF", "#11AAFF"},
        {"", ""},
        {"#", ""},
        {"red", ""},
        {"#12345", ""},
        {"#FF1E88E5", ""},
        {"#1E88E", ""},
        {"#12345G", ""},
        {"#+1+2+3", ""},
        {"##12345", ""},
        {"##12", ""},
        {"# 12345", ""},
        {"#1 E", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(GisColorRamp::normalizedColor(row.text), QString(row.normalized)) << row.text;
    }
    EXPECT_EQ(GisColorRamp::colorText(-5, 300, 10), "#00FF0A");
    EXPECT_EQ(GisColorRamp::interpolateColor("#000", "#0F0F0F", 0.1), "#020202") << "1.5 goes away from zero";
    EXPECT_EQ(GisColorRamp::interpolateColor("#000", "#FFF", -3), "#000000");
    EXPECT_EQ(GisColorRamp::interpolateColor("#000", "#FFF", 7), "#FFFFFF");
    EXPECT_EQ(GisColorRamp::interpolateColor("#000", "blue", 0.5), "");
}

TEST(GisColorRamp, KeepsItsStopsNormalised) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double above = std::nextafter(0.5, 1.0); // within the machine epsilon of 0.5
    GisColorRamp ramp("x", {{1.5, "#00f"}, {nan, "#FFFFFF"}, {0.25, "red"}, {0.5, "#ff0000"}, {INFINITY, "#FFF"}});
    EXPECT_EQ(ramp.stops(), (QList<GisColorRampStop>{{0.5, "#FF0000"}, {1.0, "#0000FF"}}));
    ramp.addStop({above, "#00ff00"});
    EXPECT_EQ(ramp.stops(), (QList<GisColorRampStop>{{0.5, "#00FF00"}, {1.0, "#0000FF"}}));
    ramp.addStop({-2, "abc"});
    EXPECT_EQ(ramp.stops().constFirst(), (GisColorRampStop{0.0, "#AABBCC"}));
    ramp.clearStops();
    EXPECT_EQ(ramp.colorAt(0.5), "");
    EXPECT_EQ(ramp.colors(3), QStringList());
}

TEST(GisColorRamp, Samples) {
    const GisColorRamp viridis = GisColorRampRegistry::defaultRamp();
    const struct {
        double t;
        bool reversed;
        const char* color;
    } rows[] = {
        {-3, false, "#440154"},   {0, false, "#440154"},   {0.125, false, "#402A70"},
        {0.25, false, "#3B528B"}, {0.25, true, "#5DC863"}, {0.75, false, "#5DC863"},
        {7, false, "#FDE725"},    {7, true, "#440154"},    {NAN, false, "#440154"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(viridis.colorAt(row.t, row.reversed), row.color) << row.t << row.reversed;
    }
    const GisColorRamp middle("m", {{0.2, "#000000"}, {0.8, "#FFFFFF"}});
    EXPECT_EQ(middle.colorAt(0.1), "#000000");
    EXPECT_EQ(middle.colorAt(0.9), "#FFFFFF");
    EXPECT_EQ(GisColorRamp("one", {{0.7, "#123456"}}).colors(2), (QStringList{"#123456", "#123456"}));

    EXPECT_EQ(viridis.colors(0, continuous), QStringList());
    EXPECT_EQ(viridis.colors(1, discrete, true), QStringList("#21918C"));
    EXPECT_EQ(viridis.colors(3, continuous, true), (QStringList{"#FDE725", "#21918C", "#440154"}));
    EXPECT_EQ(viridis.colors(3, discrete),
              (QStringList{viridis.colorAt(0.5 / 3), "#21918C", viridis.colorAt(2.5 / 3)}));
    EXPECT_EQ(viridis.colors(3, static_cast<GisColorRampMode>(9)), viridis.colors(3, continuous));
}

TEST(GisColorRampRegistry, FindsRampsByForgivingNames) {
    EXPECT_EQ(GisColorRampRegistry::names(),
              (QStringList{"GreenBlue", "YellowGreenBlue", "Viridis", "Plasma", "BrownGreen", "Unique"}));
    for (const char* name : {"yellow green blue", "YELLOWGREENBLUE", " Yellow\tGreenBlue"}) {
        EXPECT_EQ(GisColorRampRegistry::ramp(name).name(), "YellowGreenBlue") << name;
    }
    for (const char* name : {"Yellow-Green-Blue", "Inferno", ""}) {
        EXPECT_FALSE(GisColorRampRegistry::contains(name)) << name;
        GisColorRamp out("kept");
        EXPECT_FALSE(GisColorRampRegistry::tryGetRamp(name, out));
        EXPECT_EQ(out.name(), "kept");
    }
    try {
        GisColorRampRegistry::ramp("Inferno");
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), "Unknown Cartolith color ramp.");
    }
    const GisColorRamp unique = GisColorRampRegistry::ramp("unique");
    QStringList stops;
    for (const GisColorRampStop& stop : unique.stops()) {
        stops.append(stop.color);
    }
    EXPECT_EQ(unique.colors(10), stops) << "asked for ten colours, the ten themselves";
}

} // namespace
