#include "PlacesCheck.h"
#include "TestSeed.h"

#include <Cartolith/Map/Labels/LabelPlacer.h>

#include <QPainterPath>
#include <QPolygonF>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <vector>

using Cartolith::Map::MapView;
using namespace Cartolith::Map::Labels;

namespace {

const QRectF window(0, 0, 960, 540);
const MapView onePixelUnits({0, 0, 960, 540}, window); // x right, y up, 1 unit a pixel

struct RandomPoint {
    QPointF place;
    QSizeF size;
    LabelSettings settings;
};

/// Names around places of all sizes, as a map has them: few great ones.
std::vector<RandomPoint> randomPoints(int count, const QRectF& area, std::mt19937& random) {
    std::uniform_real_distribution<double> x(area.left(), area.right());
    std::uniform_real_distribution<double> y(area.top(), area.bottom());
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<RandomPoint> points;
    for (int i = 0; i < count; ++i) {
        RandomPoint point{{x(random), y(random)}, {20.0 + 60.0 * unit(random), 12.0}, {}};
        point.settings.priorityValue = std::floor(1000.0 / (unit(random) + 0.01));
        points.push_back(point);
    }
    return points;
}

LabelPlaces placePoints(const MapView& view, const std::vector<RandomPoint>& points, const LabelPlaces& previous = {}) {
    LabelPlacer placer(view);
    for (const RandomPoint& point : points) {
        placer.addPoint(point.settings, point.size, point.place, 3.0);
    }
    placer.setPrevious(previous);
    return placer.place();
}

/// What holds of all places: none out of the frame, none on another one that does not allow it.
void check(const LabelPlaces& result, const QRectF& frame, const std::vector<bool>& mayOverlap) {
    constexpr double rounding = 1e-6;
    std::vector<std::pair<qsizetype, test::Corners>> boxes;
    for (const LabelPlace& place : result.places) {
        ASSERT_EQ(place.outcome == LabelOutcome::Placed, place.boxCount > 0);
        for (qsizetype i = place.firstBox; i < place.firstBox + place.boxCount; ++i) {
            boxes.emplace_back(place.label, test::cornersOf(result.boxes.at(i)));
            for (const QPointF corner : boxes.back().second) {
                ASSERT_TRUE(frame.adjusted(-rounding, -rounding, rounding, rounding).contains(corner)) << place.label;
            }
        }
    }
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        for (std::size_t k = i + 1; k < boxes.size(); ++k) {
            const auto& [a, b] = std::pair(boxes[i].first, boxes[k].first);
            if (a != b && !mayOverlap[static_cast<std::size_t>(a)] && !mayOverlap[static_cast<std::size_t>(b)]) {
                ASSERT_LT(test::depth(boxes[i].second, boxes[k].second), rounding) << a << " on " << b;
            }
        }
    }
}

std::vector<double> circle(QPointF center, double radius, double from, double to) {
    std::vector<double> line;
    for (int i = 0; i <= 100; ++i) {
        const double angle = from + (to - from) * i / 100;
        line.push_back(center.x() + radius * std::cos(angle));
        line.push_back(center.y() + radius * std::sin(angle));
    }
    return line;
}

} // namespace

// Points of every density, turned or not, some of which may overlap, among obstacles.
TEST(LabelPlacer, NothingOverlapsNothingIsOutsideNothingCrossesWhatIsStronger) {
    std::mt19937 random(test::seed());
    const struct {
        const char* name;
        int count;
        double rotation;
        bool someOverlap;
        double viewRotation;
        std::size_t least; // placed
    } rows[] = {
        {"few", 60, 0, false, 0, 40},
        {"many", 1500, 0, false, 0, 300},
        {"turned", 600, 25, false, 0, 150},
        {"some may overlap", 600, 0, true, 0, 250},
        {"a turned map", 600, 0, false, 30, 200},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.name << ", seed " << test::seed());
        const MapView view = onePixelUnits.rotated(row.viewRotation, window.center());
        auto points = randomPoints(row.count, QRectF(0, 0, 960, 540), random);
        LabelPlacer placer(view);
        std::vector<bool> mayOverlap;
        std::vector<std::pair<test::Corners, double>> obstacles;
        for (std::size_t i = 0; i < points.size(); ++i) {
            points[i].settings.rotation = row.rotation;
            points[i].settings.allowOverlap = row.someOverlap && i % 5 == 0;
            points[i].settings.weight = static_cast<double>(i % 3);
            points[i].settings.avoidObstacles = i % 7 != 0;
            mayOverlap.push_back(points[i].settings.allowOverlap);
            placer.addPoint(points[i].settings, points[i].size, points[i].place, 3.0);
        }
        for (int i = 0; i < 30; ++i) {
            const QPointF place(37.0 * (i % 26), 18.0 * i);
            const double weight = 0.5 + i % 3;
            placer.addObstacle(place, {14, 9}, weight);
            const QPointF pixel = view.toPixel(place);
            obstacles.emplace_back(test::cornersOf(QRectF(pixel.x() - 7, pixel.y() - 4.5, 14, 9)), weight);
        }
        const auto addStrip = [&](QPointF a, QPointF b, double width, double weight) {
            const QPointF along = b - a;
            const QPointF aside = QPointF(-along.y(), along.x()) * (width / 2.01 / std::hypot(along.x(), along.y()));
            obstacles.push_back({{a + aside, b + aside, b - aside, a - aside}, weight});
        };
        const double line[] = {100, 400, 800, 30};
        placer.addLineObstacle(line, 4.0, 1.5);
        addStrip(view.toPixel(100, 400), view.toPixel(800, 30), 4.0, 1.5);
        // Stars with a hole in the middle, partly out of view; a place is inside by their outlines alone.
        std::vector<std::pair<QPainterPath, double>> areas;
        for (int i = 0; i < 8; ++i) {
            const QPointF middle(140.0 * i, 70.0 * (i * 5 % 9));
            const double weight = 0.5 + i % 3;
            std::vector<double> rings;
            const qsizetype ends[] = {40, 60};
            QPainterPath path;
            for (int ring = 0; ring < 2; ++ring) {
                const int corners = ring == 0 ? 40 : 20;
                QPolygonF polygon;
                for (int k = 0; k < corners; ++k) {
                    const double angle = 2.0 * M_PI * k / corners;
                    const double radius = (ring == 0 ? 60.0 : 30.0) + 45.0 * (k % 2) * (1 - ring);
                    const QPointF corner = middle + radius * QPointF(std::cos(angle), std::sin(angle));
                    rings.insert(rings.end(), {corner.x(), corner.y()});
                    polygon.append(view.toPixel(corner));
                }
                for (int k = 0; k < corners; ++k) {
                    addStrip(polygon[k], polygon[(k + 1) % corners], 2.0, weight);
                }
                path.addPolygon(polygon);
                path.closeSubpath();
            }
            placer.addAreaObstacle(rings, ends, 2.0, weight);
            areas.emplace_back(path, weight);
        }
        const QRectF legend(700, 300, 200, 150); // pixels
        placer.addClosedBox(legend);
        obstacles.emplace_back(test::cornersOf(legend), HUGE_VAL);

        const LabelPlaces result = placer.place();
        int insideLighter = 0;
        check(result, window, mayOverlap);
        EXPECT_GE(static_cast<std::size_t>(result.placed()), row.least);
        ASSERT_EQ(result.places.size(), row.count);
        for (const LabelPlace& place : result.places) {
            const auto i = static_cast<std::size_t>(place.label);
            if (place.outcome == LabelOutcome::Placed) {
                const auto corners = test::cornersOf(result.boxes.at(place.firstBox));
                for (const auto& [obstacle, weight] : obstacles) {
                    const bool matters =
                        weight > points[i].settings.weight && (points[i].settings.avoidObstacles || std::isinf(weight));
                    ASSERT_TRUE(!matters || test::depth(corners, obstacle) < 1e-6) << i;
                }
                for (const auto& [area, weight] : areas) {
                    ASSERT_TRUE(weight <= points[i].settings.weight || !points[i].settings.avoidObstacles ||
                                !area.contains(result.boxes.at(place.firstBox).center))
                        << i;
                }
                insideLighter += std::any_of(areas.begin(), areas.end(), [&](const auto& area) {
                    return area.first.contains(result.boxes.at(place.firstBox).center);
                });
            } else if (place.outcome == LabelOutcome::NoRoom) {
                ASSERT_GE(place.blockedBy, 0);
                ASSERT_EQ(result.places.at(place.blockedBy).outcome, LabelOutcome::Placed);
            }
        }
        EXPECT_GT(insideLighter, 0);
        const LabelPlaces again = placer.place();
        ASSERT_TRUE(std::equal(again.places.begin(), again.places.end(), result.places.begin(), result.places.end(),
                               [](const auto& p, const auto& q) { return p.candidate == q.candidate; }));
    }
}

// A label without room has greater ones, or its equals, in every one of its places.
TEST(LabelPlacer, NobodyIsLeftOutForALesserOne) {
    std::mt19937 random(test::seed());
    const auto points = randomPoints(800, QRectF(0, 0, 960, 540), random);
    const LabelPlaces result = placePoints(onePixelUnits, points);
    int leftOut = 0;
    for (const LabelPlace& place : result.places) {
        if (place.outcome != LabelOutcome::NoRoom) {
            continue;
        }
        ++leftOut;
        const RandomPoint& point = points[static_cast<std::size_t>(place.label)];
        LabelPlacer alone(onePixelUnits);
        alone.addPoint(point.settings, point.size, point.place, 3.0);
        for (const LabelPlace& other : result.places) {
            if (other.outcome == LabelOutcome::Placed &&
                points[static_cast<std::size_t>(other.label)].settings.priorityValue >= point.settings.priorityValue) {
                const LabelBox& box = result.boxes.at(other.firstBox);
                alone.addObstacle(onePixelUnits.toMap(box.center), box.size - QSizeF(1e-6, 1e-6), 100.0);
            }
        }
        ASSERT_EQ(alone.place().places.first().outcome, LabelOutcome::Obstructed) << place.label;
    }
    EXPECT_GT(leftOut, 200);
}

// Of the labels whose place is still in view after a pan by a tenth, 98 in 100 stay where they are on the map.
TEST(LabelPlacer, LabelsStayWhenTheMapMoves) {
    std::mt19937 random(test::seed());
    const QRectF screen(0, 0, 1920, 1080);
    const MapView view({0, 0, 1920, 1080}, screen);
    const auto points = randomPoints(8000, screen.adjusted(-960, -540, 960, 540), random);
    const LabelPlaces before = placePoints(view, points);
    for (const QPointF pan :
         {QPointF(192, 0), QPointF(-192, 0), QPointF(0, 108), QPointF(192, -108), QPointF(0.3, 0.1)}) {
        SCOPED_TRACE(testing::Message() << pan.x() << ", " << pan.y() << ", seed " << test::seed());
        const LabelPlaces after = placePoints(view.panned(pan), points, before);
        int visible = 0;
        int kept = 0;
        for (qsizetype i = 0; i < before.places.size(); ++i) {
            const LabelPlace& place = before.places.at(i);
            if (place.outcome != LabelOutcome::Placed) {
                continue;
            }
            QRectF box(QPointF(), before.boxes.at(place.firstBox).size);
            box.moveCenter(before.boxes.at(place.firstBox).center + pan);
            if (screen.contains(box)) {
                ++visible;
                kept += after.places.at(i).candidate == place.candidate ? 1 : 0;
            }
        }
        EXPECT_GT(visible, 700);
        EXPECT_GE(kept, 0.98 * visible);
    }
}

TEST(LabelPlacer, PointsHaveTheirPlacesInOrder) {
    const QSizeF size(40, 10);
    // Each label finds the places of those before taken.
    const QPointF expected[] = {{24.5, -6.1}, {24.5, 6.1}, {-24.5, -6.1}, {-24.5, 6.1}};
    LabelPlacer placer(onePixelUnits);
    for (int i = 0; i < 5; ++i) {
        placer.addPoint({}, size, {400, 300}, 3.0);
    }
    LabelSettings shifted;
    shifted.offset = {100, 50};
    shifted.rotation = 90; // the offset turns with it
    placer.addPoint(shifted, size, {600, 300}, 3.0);
    const LabelPlaces result = placer.place();
    for (int i = 0; i < 4; ++i) {
        const QPointF way = result.boxes.at(i).center - onePixelUnits.toPixel(400, 300);
        EXPECT_NEAR(std::abs(way.x()), std::abs(expected[i].x()), 5.0) << i;
        EXPECT_EQ(way.x() > 0, expected[i].x() > 0) << i;
        EXPECT_EQ(way.y() > 0, expected[i].y() > 0) << i;
    }
    EXPECT_EQ(result.places.at(4).outcome, LabelOutcome::NoRoom);
    const QPointF way = result.boxes.at(result.places.at(5).firstBox).center - onePixelUnits.toPixel(600, 300);
    EXPECT_LT(way.x(), -40); // downwards became to the left
    EXPECT_GT(way.y(), 100);
    EXPECT_DOUBLE_EQ(result.boxes.last().rotation, 90.0);
}

TEST(LabelPlacer, TextFollowsLines) {
    const std::vector<double> twenty(20, 6.0); // 120 pixels
    const struct {
        const char* name;
        std::vector<double> line;
        std::vector<double> advances;
        LabelOutcome outcome;
        qsizetype boxes;
        double firstRotation, lastRotation;
    } rows[] = {
        {"straight", {100, 100, 500, 100}, twenty, LabelOutcome::Placed, 1, 0, 0},
        {"from right to left", {500, 100, 100, 100}, twenty, LabelOutcome::Placed, 1, 0, 0},
        {"upwards", {100, 100, 400, 400}, twenty, LabelOutcome::Placed, 1, -45, -45},
        {"upwards, drawn downwards", {400, 400, 100, 100}, twenty, LabelOutcome::Placed, 1, -45, -45},
        {"straight up, reads from below", {100, 400, 100, 100}, twenty, LabelOutcome::Placed, 1, -90, -90},
        {"over an arch", circle({400, 200}, 60, 0, 3.1415926), twenty, LabelOutcome::Placed, 20, -54.4, 54.4},
        {"through a valley", circle({400, 200}, 60, 3.1415926, 6.2831853), twenty, LabelOutcome::Placed, 20, 54.4,
         -54.4},
        {"an arch is too bent for one piece",
         circle({400, 200}, 60, 0, 3.1415926),
         {120},
         LabelOutcome::DoesNotFit,
         0,
         0,
         0},
        {"a little bent is straight", circle({400, -2800}, 3000, 1.5, 1.6), twenty, LabelOutcome::Placed, 1, 1.2, 1.2},
        {"too short", {100, 100, 219, 100}, twenty, LabelOutcome::DoesNotFit, 0, 0, 0},
        {"just long enough", {100, 100, 220, 100}, twenty, LabelOutcome::Placed, 1, 0, 0},
        {"a hairpin", {100, 100, 170, 100, 100, 103}, twenty, LabelOutcome::DoesNotFit, 0, 0, 0},
        {"out of view", {100, 600, 500, 600}, twenty, LabelOutcome::OutsideView, 0, 0, 0},
        {"partly in view", {-5000, 100, 100, 100, 200, 100}, twenty, LabelOutcome::Placed, 1, 0, 0},
        {"a place repeated", {100, 100, 100, 100, 500, 100}, twenty, LabelOutcome::Placed, 1, 0, 0},
        {"one vertex", {100, 100}, twenty, LabelOutcome::NothingToPlace, 0, 0, 0},
        {"NaN", {100, 100, NAN, 100, 300, 100}, twenty, LabelOutcome::NothingToPlace, 0, 0, 0},
        {"no text", {100, 100, 500, 100}, {}, LabelOutcome::NothingToPlace, 0, 0, 0},
        {"a cluster without width", {100, 100, 500, 100}, {50, 0, 50}, LabelOutcome::Placed, 1, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        LabelPlacer placer(onePixelUnits);
        placer.addLine({}, 10.0, row.advances, row.line);
        const LabelPlaces result = placer.place();
        ASSERT_EQ(result.places.size(), 1);
        EXPECT_EQ(result.places.first().outcome, row.outcome);
        ASSERT_EQ(result.boxes.size(), row.boxes);
        if (row.boxes > 0) {
            EXPECT_NEAR(result.boxes.first().rotation, row.firstRotation, 1.0);
            EXPECT_NEAR(result.boxes.last().rotation, row.lastRotation, 1.0);
            EXPECT_LE(result.boxes.first().center.x(), result.boxes.last().center.x() + 1e-9);
            check(result, window, {false});
        }
    }
}

TEST(LabelPlacer, RepeatsKeepTheirDistance) {
    LabelPlacer placer(onePixelUnits);
    LabelSettings settings;
    settings.repeatDistance = 100.0;
    const double line[] = {0, 270, 960, 270};
    const double advances[] = {60.0};
    placer.addLine(settings, 10.0, advances, line);
    placer.addObstacle({480, 270}, {30, 30}, 2.0); // the middle is taken
    const LabelPlaces result = placer.place();
    EXPECT_EQ(result.placed(), 6);
    std::vector<double> middles;
    for (const LabelBox& box : result.boxes) {
        middles.push_back(box.center.x());
    }
    for (std::size_t i = 1; i < middles.size(); ++i) {
        EXPECT_GE(middles[i] - middles[i - 1], 100.0 - 1e-9);
    }
}

TEST(LabelPlacer, AreasHoldTheirText) {
    const std::vector<double> text(10, 8.0); // 80 x 10
    const struct {
        const char* name;
        std::vector<std::vector<double>> rings;
        LabelOutcome outcome;
        double rotation;
    } rows[] = {
        {"square", {{100, 100, 300, 100, 300, 300, 100, 300}}, LabelOutcome::Placed, 0},
        {"closed", {{100, 100, 300, 100, 300, 300, 100, 300, 100, 100}}, LabelOutcome::Placed, 0},
        {"the middle is a hole",
         {{100, 100, 300, 100, 300, 300, 100, 300}, {140, 140, 260, 140, 260, 260, 140, 260}},
         LabelOutcome::Placed,
         0},
        {"a hole wound the other way",
         {{100, 100, 300, 100, 300, 300, 100, 300}, {140, 140, 140, 260, 260, 260, 260, 140}},
         LabelOutcome::Placed,
         0},
        {"an island in the lake, only there is room",
         {{0, 0, 300, 0, 300, 300, 0, 300}, {5, 5, 295, 5, 295, 295, 5, 295}, {90, 90, 200, 90, 200, 110, 90, 110}},
         LabelOutcome::Placed,
         0},
        {"wide enough only at the foot",
         {{100, 100, 300, 100, 300, 115, 130, 115, 130, 300, 100, 300}},
         LabelOutcome::Placed,
         0},
        {"upright", {{100, 100, 120, 100, 120, 300, 100, 300}}, LabelOutcome::Placed, -90},
        {"aslant", {{100, 100, 110, 90, 310, 290, 300, 300}}, LabelOutcome::Placed, -45},
        {"aslant, its first ring is an islet",
         {{50, 50, 52, 50, 52, 52}, {100, 100, 110, 90, 310, 290, 300, 300}},
         LabelOutcome::Placed,
         -45},
        {"a ring without vertices", {{}, {100, 100, 120, 100, 120, 300, 100, 300}}, LabelOutcome::Placed, -90},
        {"too small", {{100, 100, 170, 100, 170, 140, 100, 140}}, LabelOutcome::DoesNotFit, 0},
        {"too thin", {{100, 100, 300, 100, 300, 108, 100, 108}}, LabelOutcome::DoesNotFit, 0},
        {"out of view", {{1100, 100, 1300, 100, 1300, 300, 1100, 300}}, LabelOutcome::OutsideView, 0},
        {"the view is a small part of it", {{-1e6, -1e6, 1e6, -1e6, 1e6, 1e6, -1e6, 1e6}}, LabelOutcome::Placed, 0},
        {"no ring", {}, LabelOutcome::NothingToPlace, 0},
        {"a single place", {{200, 200, 200, 200, 200, 200}}, LabelOutcome::DoesNotFit, 0},
        {"beyond all numbers", {{-1e300, 0, 1e300, 0, 0, 1e300}}, LabelOutcome::NothingToPlace, 0},
        {"infinite", {{100, 100, INFINITY, 100, 300, 300}}, LabelOutcome::NothingToPlace, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<double> coordinates;
        std::vector<qsizetype> ends;
        for (const auto& ring : row.rings) {
            coordinates.insert(coordinates.end(), ring.begin(), ring.end());
            ends.push_back(static_cast<qsizetype>(coordinates.size() / 2));
        }
        LabelPlacer placer(onePixelUnits);
        placer.addArea({}, 10.0, text, coordinates, ends);
        const LabelPlaces result = placer.place();
        ASSERT_EQ(result.places.size(), 1);
        EXPECT_EQ(result.places.first().outcome, row.outcome);
        check(result, window, {false});
        for (const LabelBox& box : result.boxes) {
            EXPECT_NEAR(box.rotation, row.rotation, 3.0);
            // All around the box is inside: in an odd number of rings.
            const test::Corners corners = test::cornersOf(box);
            for (int i = 0; i < 400; ++i) {
                const QPointF a = corners[static_cast<std::size_t>(i / 100)];
                const QPointF b = corners[static_cast<std::size_t>(i / 100 + 1) % 4];
                const QPointF p = box.center + (a + (b - a) * (i % 100) / 100 - box.center) * 0.999;
                int around = 0;
                for (const auto& ring : row.rings) {
                    QPolygonF polygon;
                    for (std::size_t k = 0; k + 1 < ring.size(); k += 2) {
                        polygon.append(onePixelUnits.toPixel(ring[k], ring[k + 1]));
                    }
                    around += polygon.containsPoint(p, Qt::OddEvenFill) ? 1 : 0;
                }
                ASSERT_EQ(around % 2, 1) << p.x() << ", " << p.y();
            }
        }
    }
}

TEST(LabelPlacer, ATextMayReachOverItsArea) {
    LabelSettings settings;
    settings.mayReachOut = true;
    const std::vector<double> text(10, 8.0);
    const double area[] = {400, 300, 430, 300, 430, 380, 400, 380, 410, 340}; // a notch on the left
    const qsizetype ends[] = {5};
    LabelPlacer placer(onePixelUnits);
    placer.addArea(settings, 10.0, text, area, ends);
    placer.addArea(settings, 10.0, text, area, ends); // finds another place
    const LabelPlaces result = placer.place();
    ASSERT_EQ(result.placed(), 2);
    check(result, window, {false, false});
    for (const LabelBox& box : result.boxes) {
        EXPECT_GT(box.center.x(), 410);
        EXPECT_LT(box.center.x(), 430);
    }
}

TEST(LabelPlacer, SaysWhyNot) {
    LabelSettings weak;
    weak.weight = 0.5;
    LabelPlacer placer(onePixelUnits);
    LabelSettings great;
    great.priority = 1;
    great.priorityValue = -5;
    placer.addPoint({}, {800, 400}, {80, 20}, 0.0);
    placer.addPoint(great, {900, 500}, {30, 20}, 0.0); // whose place the first one had
    placer.addPoint({}, {30, 10}, {-100, 20}, 0.0);
    placer.addPoint({}, {0, 10}, {10, 20}, 0.0);
    placer.addPoint({}, {10, 10}, {NAN, 20}, 0.0);
    placer.addPoint(weak, {50, 10}, {945, 3}, 0.0); // no room but for an obstacle that it must not cross
    placer.addObstacle({900, 10}, {60, 40}, 0.6);
    const LabelPlaces result = placer.place();
    const LabelOutcome expected[] = {LabelOutcome::NoRoom,         LabelOutcome::Placed,
                                     LabelOutcome::OutsideView,    LabelOutcome::NothingToPlace,
                                     LabelOutcome::NothingToPlace, LabelOutcome::Obstructed};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(result.places.at(i).outcome, expected[i]) << i;
    }
    EXPECT_EQ(result.places.at(0).blockedBy, 1);
    LabelPlacer nowhere{MapView()};
    nowhere.addPoint({}, {30, 10}, {0, 0}, 0.0);
    EXPECT_NE(nowhere.place().places.first().outcome, LabelOutcome::Placed);
    EXPECT_TRUE(LabelPlacer(onePixelUnits).place().places.isEmpty());
}
