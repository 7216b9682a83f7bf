#include "PlacesCheck.h"

#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Map/Labels/LabelStyle.h>
#include <Cartolith/Map/Labels/LabelTexts.h>
#include <Cartolith/Map/Labels/StyledLabels.h>

#include <QImage>
#include <QVariant>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
#include <vector>

using namespace Cartolith::Map::Labels;
using Cartolith::Core::Layers::GisLayerStyle;
using Cartolith::Core::Layers::LabelPlacementMode;
using Cartolith::Map::MapView;

namespace {

const MapView onePixelUnits({0, 0, 400, 300}, QRectF(0, 0, 400, 300));

GisLayerStyle namesStyle() {
    GisLayerStyle style;
    style.setShowLabels(true);
    style.setLabelField("name");
    style.setLabelFontFamily("DejaVu Sans");
    return style;
}

struct Drawn {
    LabelPlaces places;
    QImage picture;
};

/// Points close together, streets and an area in that style, and a few points in one of their own.
Drawn drawScene(const GisLayerStyle& style, double scale = 10000.0) {
    LabelTexts texts;
    StyledLabels labels(onePixelUnits, scale, texts);
    const int other = labels.addStyle(namesStyle());
    const int number = labels.addStyle(style);
    for (int i = 0; i < 5; ++i) {
        const double priority = style.labelPriorityField().isEmpty() ? qQNaN() : i;
        labels.addPoint(number, QString("Place %1").arg(i), priority, {60.0 + 10.0 * i, 250.0 - 2.0 * i});
        labels.addPoint(other, QString("Other %1").arg(i), qQNaN(), {62.0 + 10.0 * i, 246.0 - 3.0 * i});
    }
    labels.addPoint(number, "Aside", qQNaN(), {60, 150});
    labels.addPoint(other, "", qQNaN(), {80, 158}); // a symbol where the name would be
    const double street[] = {10, 60, 200, 90, 390, 60};
    const qsizetype streetEnd = 3;
    labels.addLine(number, "Long Street", qQNaN(), street, {&streetEnd, 1});
    const double area[] = {220, 150, 390, 150, 390, 280, 220, 280};
    const qsizetype areaEnd = 4;
    labels.addArea(number, "County", qQNaN(), area, {&areaEnd, 1});
    labels.place();
    Drawn drawn{labels.places(), QImage(400, 300, QImage::Format_ARGB32_Premultiplied)};
    drawn.picture.fill(Qt::transparent);
    LabelPainter painter;
    painter.draw(drawn.picture, labels.placedLabels());
    return drawn;
}

bool isSame(const LabelPlaces& a, const LabelPlaces& b) {
    return std::equal(a.boxes.begin(), a.boxes.end(), b.boxes.begin(), b.boxes.end(),
                      [](const LabelBox& p, const LabelBox& q) {
                          return p.center == q.center && p.size == q.size && p.rotation == q.rotation;
                      }) &&
           std::equal(a.places.begin(), a.places.end(), b.places.begin(), b.places.end(),
                      [](const LabelPlace& p, const LabelPlace& q) { return p.outcome == q.outcome; });
}

} // namespace

TEST(StyledLabels, EachSettingOfAStyleChangesTheMap) {
    enum class Changes { Look, Places, NoneOfItsOwn };
    using Style = GisLayerStyle;
    const struct {
        const char* name;
        std::function<void(Style&)> set;
        Changes changes;
    } rows[] = {
        {"showLabels", [](Style& s) { s.setShowLabels(false); }, Changes::NoneOfItsOwn},
        {"labelField", [](Style& s) { s.setLabelField({}); }, Changes::NoneOfItsOwn},
        {"labelColor", [](Style& s) { s.setLabelColor("#FF0000"); }, Changes::Look},
        {"labelFontSize", [](Style& s) { s.setLabelFontSize(12); }, Changes::Places},
        {"labelHaloEnabled", [](Style& s) { s.setLabelHaloEnabled(false); }, Changes::Places},
        {"labelHaloColor", [](Style& s) { s.setLabelHaloColor("#FFFF00"); }, Changes::Look},
        {"labelHaloWidth", [](Style& s) { s.setLabelHaloWidth(4); }, Changes::Places},
        {"labelFontFamily", [](Style& s) { s.setLabelFontFamily("DejaVu Sans Mono"); }, Changes::Places},
        {"labelBold", [](Style& s) { s.setLabelBold(true); }, Changes::Places},
        {"labelItalic", [](Style& s) { s.setLabelItalic(true); }, Changes::Places},
        {"labelMinVisibleScale", [](Style& s) { s.setLabelMinVisibleScale(10001); }, Changes::NoneOfItsOwn},
        {"labelMaxVisibleScale", [](Style& s) { s.setLabelMaxVisibleScale(9999); }, Changes::NoneOfItsOwn},
        {"labelAllowOverlap", [](Style& s) { s.setLabelAllowOverlap(true); }, Changes::Places},
        {"labelPriority", [](Style& s) { s.setLabelPriority(1); }, Changes::Places},
        {"labelPriorityField", [](Style& s) { s.setLabelPriorityField("inhabitants"); }, Changes::Places},
        {"labelAvoidObstacles", [](Style& s) { s.setLabelAvoidObstacles(false); }, Changes::Places},
        {"labelObstacleWeight", [](Style& s) { s.setLabelObstacleWeight(0); }, Changes::Places},
        {"labelMaxCandidatesPerFeature", [](Style& s) { s.setLabelMaxCandidatesPerFeature(1); }, Changes::Places},
        {"labelPlacementMode", [](Style& s) { s.setLabelPlacementMode(LabelPlacementMode::Point); }, Changes::Places},
        {"labelOffsetX", [](Style& s) { s.setLabelOffsetX(3); }, Changes::Places},
        {"labelOffsetY", [](Style& s) { s.setLabelOffsetY(3); }, Changes::Places},
        {"labelRotationDegrees", [](Style& s) { s.setLabelRotationDegrees(15); }, Changes::Places},
        {"labelRepeatDistance", [](Style& s) { s.setLabelRepeatDistance(50); }, Changes::Places},
    };
    const Drawn plain = drawScene(namesStyle());
    ASSERT_GE(plain.places.placed(), 8);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        GisLayerStyle style = namesStyle();
        row.set(style);
        const Drawn changed = drawScene(style);
        EXPECT_NE(changed.picture, plain.picture);
        if (row.changes != Changes::NoneOfItsOwn) {
            EXPECT_EQ(isSame(changed.places, plain.places), row.changes == Changes::Look);
        } else {
            EXPECT_EQ(changed.places.places.size(), 6); // the other style's
        }
    }
}

// Where labels go by kind of feature and mode: boxes of one label, counted, and what holds of the first.
TEST(StyledLabels, ModesPlaceBesideAlongAndInside) {
    const std::vector<double> line{50, 50, 350, 50};
    const std::vector<double> square{100, 100, 300, 100, 300, 250, 100, 250, 100, 100};
    const struct {
        const char* name;
        bool isArea;
        std::vector<double> coordinates;
        LabelPlacementMode mode;
        QPointF near; ///< pixel
        double distance;
    } rows[] = {
        {"a line, along it", false, line, LabelPlacementMode::Automatic, {200, 250}, 1.0},
        {"a line, beside its middle", false, line, LabelPlacementMode::Point, {200, 250}, 50.0},
        {"a closed line, inside", false, square, LabelPlacementMode::Area, {200, 125}, 2.0},
        {"an area, inside", true, square, LabelPlacementMode::Automatic, {200, 125}, 2.0},
        {"an area, along its outline", true, square, LabelPlacementMode::Line, {300, 50}, 60.0},
        {"an area, beside its middle", true, square, LabelPlacementMode::Point, {200, 125}, 50.0},
        {"too narrow an area, over it",
         true,
         {200, 100, 210, 100, 210, 110, 200, 110},
         LabelPlacementMode::Automatic,
         {205, 195},
         5.0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        GisLayerStyle style = namesStyle();
        style.setLabelPlacementMode(row.mode);
        LabelTexts texts;
        StyledLabels labels(onePixelUnits, qQNaN(), texts);
        const int number = labels.addStyle(style);
        const auto end = static_cast<qsizetype>(row.coordinates.size() / 2);
        if (row.isArea) {
            labels.addArea(number, "A name", qQNaN(), row.coordinates, {&end, 1});
        } else {
            labels.addLine(number, "A name", qQNaN(), row.coordinates, {&end, 1});
        }
        labels.place();
        ASSERT_EQ(labels.places().placed(), 1);
        const LabelBox& box = labels.places().boxes.first();
        EXPECT_LE(std::hypot(box.center.x() - row.near.x(), box.center.y() - row.near.y()), row.distance);
        if (row.mode == LabelPlacementMode::Point) {
            EXPECT_GT(std::hypot(box.center.x() - row.near.x(), box.center.y() - row.near.y()), 15.0);
        }
    }
    GisLayerStyle inside = namesStyle();
    inside.setLabelPlacementMode(LabelPlacementMode::Area);
    EXPECT_FALSE(labelSettings(inside, 1.0).mayReachOut);
}

// A lake of greater weight beside a town, whose name would lie on it.
TEST(StyledLabels, AreasAreObstacles) {
    const std::vector<double> lake{205, 100, 395, 100, 395, 280, 205, 280};
    const std::vector<double> hole{210, 140, 390, 140, 390, 180, 210, 180};
    const struct {
        const char* name;
        double weight;
        int opacity;
        bool hasHole, hasName;
        QRectF closed;
        bool isLeft; ///< the town's name
    } rows[] = {
        {"heavier", 2, 255, false, false, {}, true},
        {"its own name is in it", 2, 255, false, true, {}, true},
        {"as heavy as the name: where less is crossed", 1, 255, false, false, {}, true},
        {"without weight", 0, 255, false, false, {}, false},
        {"around the name", 2, 255, true, false, {}, false},
        {"an outline alone is not crossed", 2, 0, false, false, {}, true},
        {"one around the name is no obstacle", 2, 0, true, false, {}, false},
        {"a legend lies there", 0, 255, false, false, {205, 100, 190, 100}, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        LabelTexts texts;
        StyledLabels labels(onePixelUnits, qQNaN(), texts);
        GisLayerStyle water = namesStyle();
        water.setLabelObstacleWeight(row.weight);
        water.setFillOpacity(row.opacity);
        GisLayerStyle town = namesStyle();
        town.setLabelMaxCandidatesPerFeature(4); // right above, right below, left above, left below
        const int number = labels.addStyle(water);
        std::vector<double> rings = lake;
        std::vector<qsizetype> ends{4};
        if (row.hasHole) {
            rings.insert(rings.end(), hole.begin(), hole.end());
            ends.push_back(8);
        }
        labels.addArea(number, row.hasName ? "Lake" : "", qQNaN(), rings, ends);
        labels.addPoint(labels.addStyle(town), "Town", qQNaN(), {row.hasHole ? 215.0 : 195.0, 160});
        labels.addClosedBox(row.closed);
        labels.place();
        ASSERT_EQ(labels.places().placed(), row.hasName ? 2 : 1);
        EXPECT_EQ(labels.places().boxes.last().center.x() < 200, row.isLeft);
    }
}

TEST(StyledLabels, OneNameForOneStreet) {
    const struct {
        const char* name;
        std::vector<std::vector<double>> lines;
        QStringList texts;
        qsizetype labels;
        std::vector<qsizetype> features; ///< of the labels
    } rows[] = {
        {"in pieces", {{20, 50, 90, 50}, {90, 50, 200, 50}}, {"Street", "Street"}, 1, {0}},
        {"two carriageways", {{20, 50, 200, 50}, {20, 55, 210, 55}}, {"Street", "Street"}, 1, {1}},
        {"side by side", {{20, 50, 200, 50}, {20, 55, 210, 55}}, {"Street", "Way"}, 2, {0, 1}},
        {"far apart", {{20, 50, 200, 50}, {20, 155, 210, 155}}, {"Street", "Street"}, 2, {0, 1}},
        {"without a name", {{20, 50, 200, 50}, {200, 50, 300, 50}}, {"", ""}, 2, {0, 1}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        LabelTexts texts;
        StyledLabels labels(onePixelUnits, qQNaN(), texts);
        const int number = labels.addStyle(namesStyle());
        for (std::size_t i = 0; i < row.lines.size(); ++i) {
            const auto end = static_cast<qsizetype>(row.lines[i].size() / 2);
            labels.addLine(number, row.texts.at(static_cast<qsizetype>(i)), qQNaN(), row.lines[i], {&end, 1});
        }
        labels.place();
        ASSERT_EQ(labels.places().places.size(), row.labels);
        for (qsizetype i = 0; i < row.labels; ++i) {
            EXPECT_EQ(labels.featureOf(i), row.features[static_cast<std::size_t>(i)]);
            EXPECT_EQ(labels.places().places.at(i).outcome,
                      row.texts.first().isEmpty() ? LabelOutcome::NothingToPlace : LabelOutcome::Placed);
        }
    }
}

// Contours: thousands of lines have one name, some of them are long; a host that wants no more is heard.
TEST(StyledLabels, ManyLinesMayHaveOneName) {
    LabelTexts texts;
    StyledLabels labels(onePixelUnits, qQNaN(), texts);
    const int number = labels.addStyle(namesStyle());
    const auto addLine = [&](double x, double y, double step, qsizetype vertices) {
        std::vector<double> line;
        for (qsizetype i = 0; i < vertices; ++i) {
            line.insert(line.end(), {x + step * static_cast<double>(i), y + static_cast<double>(i % 2)});
        }
        labels.addLine(number, "100", qQNaN(), line, {&vertices, 1});
    };
    constexpr qsizetype longOnes = 16;
    for (qsizetype i = 0; i < longOnes; ++i) {
        addLine(0.0, -1000.0 * static_cast<double>(i), 2.0, 20000);
    }
    for (int i = 0; i < 20000; ++i) {
        addLine(i % 200 * 100.0, 250.0 + 50.0 * (i / 200), 50.0, 2);
    }
    addLine(100.0, 3.0, 100.0, 2); // beside the first long one
    bool isLookedFor = false;
    labels.setWatch([&] { isLookedFor = true; });
    labels.place();
    EXPECT_TRUE(isLookedFor);
    EXPECT_EQ(labels.places().places.size(), longOnes + 20000);
    EXPECT_GT(labels.places().placed(), 3);

    StyledLabels stopped(onePixelUnits, qQNaN(), texts);
    stopped.setWatch([] { throw std::runtime_error("no more"); });
    for (int i = 0; i < 2000; ++i) {
        stopped.addPoint(stopped.addStyle(namesStyle()), "name", qQNaN(), {200, 150});
    }
    EXPECT_THROW(stopped.place(), std::runtime_error);
}

// What cannot be read has no label, and takes neither room nor time.
TEST(StyledLabels, NonsenseIsNotPlaced) {
    const struct {
        const char* name;
        std::function<void(GisLayerStyle&)> set;
    } rows[] = {
        {"a tiny font", [](GisLayerStyle& style) { style.setLabelFontSize(0.05F); }},
        {"next to none", [](GisLayerStyle& style) { style.setLabelFontSize(1e-30F); }},
        {"below 0", [](GisLayerStyle& style) { style.setLabelFontSize(-8.0F); }},
        {"no number", [](GisLayerStyle& style) { style.setLabelOffsetX(NAN); }},
    };
    const double square[] = {100, 50, 300, 50, 300, 200, 100, 200};
    const qsizetype end = 4;
    LabelTexts texts;
    for (const auto& row : rows) {
        GisLayerStyle style = namesStyle();
        style.setLabelRepeatDistance(0.001);
        row.set(style);
        StyledLabels labels(onePixelUnits, qQNaN(), texts);
        const int number = labels.addStyle(style);
        labels.addPoint(number, "1", qQNaN(), {200, 150});
        labels.addLine(number, "1", qQNaN(), square, {&end, 1});
        labels.addArea(number, "1", qQNaN(), square, {&end, 1});
        labels.place();
        for (const LabelPlace& place : labels.places().places) {
            EXPECT_EQ(place.outcome, LabelOutcome::NothingToPlace) << row.name;
        }
        EXPECT_EQ(labels.places().places.size(), 3) << row.name;
    }
}

// Out of view a feature has its number and no more; broken ones say so; twice the pixels give twice the sizes.
TEST(StyledLabels, AllFeaturesCount) {
    LabelTexts texts;
    const auto place = [&](const MapView& view) {
        StyledLabels labels(view, qQNaN(), texts);
        GisLayerStyle hidden = namesStyle();
        hidden.setShowLabels(false);
        EXPECT_LT(labels.addStyle(hidden), 0);
        const int number = labels.addStyle(namesStyle());
        const qsizetype end = 2;
        labels.addPoint(-1, "hidden", 1.0, {100, 100});
        labels.addPoint(number, QString(100, u'x'), 1.0, {1e7, 100});
        labels.addArea(number, "far", 1.0, std::vector<double>{-1e6, 0, -1e5, 5}, {&end, 1});
        labels.addPoint(number, "broken", 1.0, {100, qInf()});
        labels.addArea(number, "empty", 1.0, {}, {});
        labels.addPoint(number, "here", 1.0, {100, 100});
        labels.addLine(number, "far", 1.0, std::vector<double>{-1e6, 0, -1e5, 5}, {&end, 1});
        labels.place();
        const LabelOutcome expected[] = {LabelOutcome::OutsideView,    LabelOutcome::OutsideView,
                                         LabelOutcome::NothingToPlace, LabelOutcome::NothingToPlace,
                                         LabelOutcome::Placed,         LabelOutcome::OutsideView};
        EXPECT_EQ(labels.places().places.size(), 6);
        for (qsizetype i = 0; i < 6; ++i) {
            EXPECT_EQ(labels.places().places.at(i).outcome, expected[i]) << i;
            EXPECT_EQ(labels.featureOf(i), i + 1);
        }
        EXPECT_EQ(labels.placedLabels().size(), 1U);
        return labels.places().boxes.first().size;
    };
    EXPECT_EQ(place(onePixelUnits) * 2.0, place(onePixelUnits.withDevicePixelRatio(2.0)));
    StyledLabels nowhere(MapView(), qQNaN(), texts);
    nowhere.addPoint(nowhere.addStyle(namesStyle()), "x", 0.0, {1, 1});
    nowhere.place();
    EXPECT_EQ(nowhere.places().placed(), 0);
}

TEST(LabelStyle, ValuesBecomeTextsAndPriorities) {
    const struct {
        QVariant value;
        const char* text;
        double priority;
    } rows[] = {
        {QVariant(), "", qQNaN()},
        {QVariant(QMetaType::fromType<QString>()), "", qQNaN()},
        {QString("Ulm"), "Ulm", qQNaN()},
        {QString("12.5"), "12.5", 12.5},
        {0.1, "0.1", 0.1},
        {qInf(), "", qInf()},
        {qlonglong{1} << 60, "1152921504606846976", std::ldexp(1.0, 60)},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(labelText(row.value).toStdString(), row.text);
        const double priority = labelPriority(row.value);
        EXPECT_TRUE(priority == row.priority || (std::isnan(priority) && std::isnan(row.priority))) << row.text;
    }
    GisLayerStyle style = namesStyle();
    style.setLabelMinVisibleScale(1000);
    style.setLabelMaxVisibleScale(2000);
    for (const auto& [scale, isVisible] : {std::pair(999.0, false), std::pair(1000.0, true), std::pair(2000.0, true),
                                           std::pair(2000.1, false), std::pair(0.0, true), std::pair(qQNaN(), true)}) {
        EXPECT_EQ(areLabelsVisible(style, scale), isVisible) << scale;
    }
}
