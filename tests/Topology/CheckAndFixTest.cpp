#include "EditingTestShapes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <stdexcept>

using namespace test;
using Topology::GisShapeProblem;
using Kind = Topology::GisShapeProblemKind;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

const Part square{{0, 0}, {9, 0}, {9, 9}, {0, 9}, {0, 0}};
const Part hole{{2, 2}, {2, 4}, {4, 4}, {4, 2}, {2, 2}};

Part moved(const Part& part, double dx, double dy) {
    Part result;
    for (const GisShapePoint& p : part) {
        result.append(GisShapePoint(p.x() + dx, p.y() + dy));
    }
    return result;
}

/// "kind@part:vertex", as numbers.
std::string textOf(const QList<GisShapeProblem>& problems) {
    QStringList texts;
    for (const GisShapeProblem& p : problems) {
        texts += QStringLiteral("%1@%2:%3").arg(static_cast<int>(p.kind)).arg(p.part).arg(p.vertex);
        EXPECT_FALSE(p.text.isEmpty());
    }
    return texts.join(QLatin1Char(' ')).toStdString();
}

TEST(ShapeCheck, FindsAndFixes) {
    const Part reversedHole(hole.crbegin(), hole.crend());
    const struct {
        const char* name;
        bool isPolygon;
        QList<Part> parts;
        const char* problems;
        const char* fixed;
    } rows[] = {
        {"sound", true, {square, hole, moved(square, 20, 0)}, "", nullptr},
        {"sound, all the other way", true, {Part(square.crbegin(), square.crend()), reversedHole}, "", nullptr},
        {"an island", true, {square, moved(hole, 0, 0), {{2.5, 2.5}, {3, 2.5}, {3, 3}, {2.5, 2.5}}}, "", nullptr},
        {"rings that touch", true, {square, {{9, 9}, {11, 9}, {11, 11}, {9, 9}}}, "", nullptr},
        {"no parts", true, {}, "", nullptr},
        {"a line across itself", false, {{{0, 0}, {4, 4}, {4, 0}, {0, 4}}}, "", nullptr},
        {"not a number", false, {{{0, 0}, {nan, 1}, {4, 4}}}, "0@0:1", "LINESTRING (0 0,4 4)"},
        {"infinite", true, {{{0, 0}, {9, 0}, {9, 9}, {infinity, 9}, {0, 0}}}, "1@0:3", "POLYGON ((0 0,9 0,9 9,0 0))"},
        {"one vertex", false, {{{0, 0}}, {{1, 1}, {2, 2}}}, "2@0:-1", "LINESTRING (1 1,2 2)"},
        {"no vertex", true, {{}}, "2@0:-1", "POLYGON EMPTY"},
        {"one place", false, {{{3, 3}, {3, 3}, {3, 3}}}, "4@0:1 4@0:2 2@0:-1", "LINESTRING EMPTY"},
        {"an open ring", true, {{{0, 0}, {9, 0}, {9, 9}}}, "3@0:2", "POLYGON ((0 0,9 0,9 9,0 0))"},
        {"repeated", true, {{{0, 0}, {9, 0}, {9, 0}, {9, 9}, {0, 0}}}, "4@0:2", "POLYGON ((0 0,9 0,9 9,0 0))"},
        {"a spike", true, {{{0, 0}, {9, 0}, {15, 0}, {9, 0}, {9, 9}, {0, 0}}}, "5@0:2", "POLYGON ((0 0,9 0,9 9,0 0))"},
        {"a spike at the first vertex",
         true,
         {{{-3, 0}, {9, 0}, {9, 9}, {0, 0}, {-3, 0}}},
         "5@0:0",
         "POLYGON ((9 0,9 9,0 0,9 0))"},
        {"flat", true, {square, {{1, 1}, {2, 2}, {3, 3}, {1, 1}}}, "5@1:2 2@1:-1", "POLYGON ((0 0,9 0,9 9,0 9,0 0))"},
        {"a bow tie", true, {{{0, 0}, {4, 4}, {4, 0}, {0, 4}, {0, 0}}}, "6@0:0", nullptr},
        {"touches itself", true, {{{0, 0}, {9, 0}, {9, 9}, {4, 0}, {0, 9}, {0, 0}}}, "6@0:0", nullptr},
        {"rings across", true, {square, moved(square, 4, 4)}, "7@0:1 7@0:2", nullptr},
        {"an edge in common", true, {square, moved(square, 9, 0)}, "7@0:1", nullptr},
        {"two others through one place",
         true,
         {square, {{5, -5}, {6, -5}, {5, 5}, {5, -5}}, {{5, -5}, {5, 5}, {4, -5}, {5, -5}}},
         "7@0:0 7@0:0 7@0:0 7@1:2",
         nullptr},
        {"across through vertices alone",
         true,
         {{{4, 0}, {8, 4}, {4, 8}, {0, 4}, {4, 0}}, {{1, 3}, {3, 4}, {1, 5}, {-4, 5}, {-4, 3}, {1, 3}}},
         "7@0:2 7@0:3",
         nullptr},
        {"shells that touch twice",
         true,
         {{{0, 0}, {9, 0}, {1, 1}, {0, 9}, {0, 0}}, {{9, 0}, {9, 9}, {0, 9}, {5, 5}, {9, 0}}},
         "",
         nullptr},
        {"twice the same", true, {square, square}, "7@0:0 7@0:1 7@0:2 7@0:3", nullptr},
        {"a hole that is none", true, {square, moved(hole, 20, 0)}, "8@1:-1", nullptr},
        {"wound like its shell", true, {square, reversedHole}, "9@1:-1", nullptr},
        {"crosses again when its crossings are rounded",
         true,
         {{{3, 0}, {5, 0}, {2, 2}, {4, 3}, {5, 5}, {5, 1}, {6, 6}, {0, 1}, {6, 4}, {0, 2}, {3, 3}, {5, 1}, {3, 0}}},
         "5@0:9 6@0:1 6@0:1 6@0:2 6@0:3 6@0:3 6@0:4 6@0:4 6@0:4 6@0:5 6@0:5 6@0:7",
         nullptr},
        {"two bow ties that touch where they cross",
         true,
         {{{0, 0}, {2, 1}, {2, -1}, {0, 0}, {-2, 1}, {-2, -1}, {0, 0}},
          {{0, 0}, {1, 2}, {-1, 2}, {0, 0}, {1, -2}, {-1, -2}, {0, 0}}},
         "6@0:0 7@0:2 6@1:0",
         nullptr},
        {"one bow tie in another",
         true,
         {{{-4, -3}, {0, 0}, {4, 3}, {4, -3}, {0, 0}, {-4, 3}, {-4, -3}},
          {{-2, -1}, {0, 0}, {2, 1}, {2, -1}, {0, 0}, {-2, 1}, {-2, -1}}},
         "6@0:0 7@0:0 6@1:0",
         nullptr},
        {"cut in two by its holes", true, {square, {{0, 5}, {5, 7}, {9, 5}, {5, 3}, {0, 5}}}, "10@-1:-1", nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::unique_ptr<GisShape> shape;
        if (row.isPolygon) {
            shape = shapeOfParts<GisShapePolygon>(row.parts);
        } else {
            shape = shapeOfParts<GisShapePolyline>(row.parts);
        }
        const GisTopology topology;
        EXPECT_EQ(textOf(topology.CheckShape(*shape)), row.problems);
        const auto fix = topology.FixShape(*shape);
        EXPECT_EQ(textOf(fix.changes), row.problems);
        EXPECT_EQ(textOf(topology.CheckShape(*fix.shape)), "");
        if (*row.problems == '\0') {
            EXPECT_EQ(wktOf(fix.shape), wktOf(shape));
        } else if (row.fixed != nullptr) {
            EXPECT_EQ(wktOf(fix.shape), row.fixed);
        } else {
            EXPECT_GT(GisTopology::Area(*fix.shape), 7.0) << wktOf(fix.shape);
        }
    }
    // Two edges nearly on one line, whose meeting is at no place that rounding would leave of it.
    const auto thin = shapeOfParts<GisShapePolygon>({{{4.4897999999999998, 19.598333333333336},
                                                      {28.757400000000001, 125.52833333333335},
                                                      {99, 50},
                                                      {37.069200000000002, 161.81000000000006},
                                                      {12.889800000000001, 56.265000000000008},
                                                      {4.4897999999999998, 19.598333333333336}}});
    const auto found = GisTopology().CheckShape(*thin);
    ASSERT_FALSE(found.isEmpty());
    EXPECT_TRUE(GisTopology::PointOnBoundary(*thin, found[0].place, 1e-9)) << found[0].place.toWkt().toStdString();
    EXPECT_EQ(textOf(GisTopology().CheckShape(GisShapePoint(infinity, 0))), "1@0:0");
    EXPECT_TRUE(GisTopology().FixShape(GisShapePoint(infinity, 0)).shape->isEmpty());
    EXPECT_EQ(textOf(GisTopology().CheckShape(GisShapePoint())), "");
}

/// What a ring goes round, by strips between the heights of vertices and crossings: no code of the library.
double enclosedArea(const Part& ring) {
    std::vector<double> heights;
    for (int i = 1; i < ring.size(); ++i) {
        heights.push_back(ring[i].y());
        for (int j = 1; j < i; ++j) {
            const GisShapePoint r(ring[i].x() - ring[i - 1].x(), ring[i].y() - ring[i - 1].y());
            const GisShapePoint s(ring[j].x() - ring[j - 1].x(), ring[j].y() - ring[j - 1].y());
            const GisShapePoint d(ring[j - 1].x() - ring[i - 1].x(), ring[j - 1].y() - ring[i - 1].y());
            const double t = (d.x() * s.y() - d.y() * s.x()) / (r.x() * s.y() - r.y() * s.x());
            if (t > 0 && t < 1) {
                heights.push_back(ring[i - 1].y() + t * r.y());
            }
        }
    }
    std::sort(heights.begin(), heights.end());
    double area = 0;
    for (std::size_t k = 1; k < heights.size(); ++k) {
        const double y = (heights[k - 1] + heights[k]) / 2;
        std::vector<std::pair<double, int>> crossings;
        for (int i = 1; i < ring.size(); ++i) {
            const GisShapePoint &a = ring[i - 1], &b = ring[i];
            if ((a.y() > y) != (b.y() > y)) {
                crossings.emplace_back(a.x() + (b.x() - a.x()) * (y - a.y()) / (b.y() - a.y()), b.y() > y ? 1 : -1);
            }
        }
        std::sort(crossings.begin(), crossings.end());
        int winding = 0;
        for (std::size_t i = 1; i < crossings.size(); ++i) {
            winding += crossings[i - 1].second;
            area += winding == 0 ? 0 : (crossings[i].first - crossings[i - 1].first) * (heights[k] - heights[k - 1]);
        }
    }
    return area;
}

/// GEOS leaves out up to 95 % by structure, and by lines adds what lies between edges gone over twice.
TEST(ShapeCheck, KeepsWhatARingGoesRound) {
    QList<Part> rings{{{3, 0}, {2, 4}, {6, 6}, {0, 3}, {0, 4}, {4, 3}, {3, 0}},
                      {{1, 1}, {6, 0}, {7, 4}, {2, 3}, {6, 7}, {3, 5}, {1, 1}},
                      {{7, 5}, {5, 1}, {8, 7}, {3, 2}, {6, 2}, {6, 6}, {7, 5}}};
    Random random;
    for (int i = 0; i < 3825; ++i) {
        rings.append(random.walk(6, true));
        for (GisShapePoint& p : rings.last()) {
            p = GisShapePoint(std::fabs(p.x()), std::fabs(p.y()));
        }
        rings.last().append(GisShapePoint(rings.last().constFirst()));
    }
    for (Part& ring : rings) {
        for (GisShapePoint& p : ring) {
            p = GisShapePoint(p.x() / 3, p.y() / 3);
        }
        const double area = enclosedArea(ring);
        const auto shape = shapeOfParts<GisShapePolygon>({ring});
        ASSERT_NEAR(GisTopology::Area(*GisTopology().FixShape(*shape).shape), area, 1e-9 * area + 1e-12)
            << "seed " << seed() << shape->toWkt().toStdString();
    }
}

/// Teeth hang down side by side.
Part comb(int teeth, double left) {
    Part ring;
    for (int i = 0; i < teeth; ++i) {
        for (const auto& [x, y] : {std::pair(0, 9), {0, 0}, {1, 0}, {1, 9}}) {
            ring.append(GisShapePoint(left + 2 * i + x, y));
        }
    }
    ring.append({left + 2 * teeth - 1, 10});
    ring.append({left, 10});
    ring.append(GisShapePoint(ring.constFirst()));
    return ring;
}

/// A ring of which GEOS's repair by structure loses a part.
Part lossy() {
    return {{1, 1}, {6, 0}, {7, 4}, {2, 3}, {6, 7}, {3, 5}, {1, 1}};
}

/// The area is that of the rings fixed one by one and united.
TEST(ShapeCheck, FixesRingsByWhatTheyGoRound) {
    const Part bowTie{{0, 0}, {10, 10}, {10, 0}, {0, 10}, {0, 0}};
    const Part frame{{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}};
    const int teeth = 4000;
    const double ofComb = 11.0 * teeth - 1; // what is compared tooth by tooth takes minutes
    const struct {
        const char* name;
        QList<Part> parts;
        double divisor;
        double area;
    } rows[] = {
        {"a hole in a bow tie", {bowTie, {{1, 4}, {2, 4}, {2, 6}, {1, 6}, {1, 4}}}, 1, 48},
        {"a bow tie as a hole", {frame, {{4, 4}, {6, 6}, {6, 4}, {4, 6}, {4, 4}}}, 1, 98},
        {"a bow tie in a bow tie", {bowTie, {{1, 2}, {9, 8}, {9, 2}, {1, 8}, {1, 2}}}, 1, 26},
        {"a bow tie twice", {bowTie, bowTie}, 1, 50},
        {"a hole where a star goes round twice",
         {{{0, 3}, {9, 3}, {2, 9}, {4.5, 0}, {7, 9}, {0, 3}}, {{4, 4}, {5, 4}, {5, 5}, {4, 5}, {4, 4}}},
         1,
         26.450549450549450 - 1},
        {"a hole in a ring gone round twice", {frame + frame.mid(1), {{1, 1}, {3, 1}, {3, 3}, {1, 1}}}, 1, 98},
        {"a comb beside a ring of which GEOS loses a part",
         {comb(teeth, 60), lossy()},
         3,
         (ofComb + enclosedArea(lossy())) / 9},
        {"all but on one line",
         {{{2.6344915615937827, -1.8490138758977397},
           {4.545826099707952, -3.1904811001532196},
           {2.154693934143137, -1.5122686424032956},
           {4.9299212352919684, -3.4600576860045731},
           {1.1672445187381952, -0.81922878143774713},
           {5.8034656933005859, -4.073153524716008},
           {4.86010061617608, -3.4110541891932451},
           {0.62352275681913971, -0.43761849386950874},
           {2.8742661824015201, -2.0172993270355732},
           {1.3883806164691019, -0.97443281364157919},
           {2.6344915615937827, -1.8490138758977397}}},
         1,
         5.6956253e-9},
        {"twice, in one place twice, begun elsewhere",
         {{{1, 3}, {0, 2.75}, {0.75, 2}, {0.75, 2.75}, {0, 2.75}, {1, 2.25}, {1, 2.75}, {1, 3}},
          {{1, 2.75}, {1, 2.25}, {0, 2.75}, {0.75, 2.75}, {0.75, 2}, {0, 2.75}, {1, 3}, {1, 2.75}}},
         1,
         0.515625},
        {"edges at 45 degrees",
         {{{6, 5}, {-13, -14}, {9, 11}, {6, 5}},
          {{8, 0}, {-17, -4}, {-6, -2}, {8, 0}},
          {{-8, -1}, {15, -2}, {4, -1}, {-8, -1}}},
         1,
         36.550345669817666},
        {"GEOS gives up",
         {{{3, 5}, {5, 6}, {3, 5}, {5, 1}, {0, 2}, {1, 5}, {5, 4}, {3, 5}},
          {{1, 2}, {2, 6}, {3, 0}, {6, 3}, {4, 1}, {0, 0}, {6, 0}, {1, 2}},
          {{0, 1}, {4, 2}, {2, 0}, {2, 2}, {2, 0}, {5, 0}, {6, 5}, {0, 1}}},
         3,
         1.862782631}, // of the second ring 54 % lie in the first: a hole
        {"GEOS gives up again",
         {{{4, 1}, {2, 2}, {1, 3}, {1, 2}, {0, 5}, {5, 0}, {2, 6}, {4, 1}},
          {{4, 2}, {5, 0}, {1, 1}, {2, 3}, {3, 3}, {2, 5}, {3, 2}, {4, 2}}},
         10,
         0.088},
    };
    for (const auto& row : rows) {
        QList<Part> parts = row.parts;
        for (Part& part : parts) {
            for (GisShapePoint& p : part) {
                p = GisShapePoint(p.x() / row.divisor, p.y() / row.divisor);
            }
        }
        const auto fix = GisTopology().FixShape(*shapeOfParts<GisShapePolygon>(parts));
        EXPECT_NEAR(GisTopology::Area(*fix.shape), row.area, 1e-9 * std::max(1.0, row.area)) << row.name;
        EXPECT_EQ(textOf(GisTopology().CheckShape(*fix.shape)), "") << row.name;
    }
}

/// Where an edge is run back and forth, so that only rounding parts what lies on it.
TEST(ShapeCheck, KeepsTheBitsOfVertices) {
    Random random;
    for (int i = 0; i < 300; ++i) {
        Part ring = random.star(0, 0, 10, 9);
        const Part corners = ring;
        const auto onEdge = [&corners](double share) {
            return GisShapePoint(corners[3].x() + share * (corners[4].x() - corners[3].x()),
                                 corners[3].y() + share * (corners[4].y() - corners[3].y()));
        };
        ring.insert(4, onEdge(random.between(0.5, 1)));
        ring.insert(5, onEdge(random.between(0, 0.5)));
        const auto fix = GisTopology().FixShape(*shapeOfParts<GisShapePolygon>({ring}));
        const Part fixed = static_cast<const GisShapePolygon&>(*fix.shape).parts().value(0);
        for (const GisShapePoint& p : corners) {
            EXPECT_TRUE(std::any_of(fixed.begin(), fixed.end(),
                                    [&p](const GisShapePoint& q) { return p.x() == q.x() && p.y() == q.y(); }))
                << "seed " << seed() << ", " << i;
        }
    }
}

/// Also while edges are cut.
TEST(ShapeCheck, FixStopsAtAnyTime) {
    QList<Part> parts{comb(1000, 60), lossy()};
    for (Part& part : parts) {
        for (GisShapePoint& p : part) {
            p = GisShapePoint(p.x() / 3, p.y() / 3);
        }
    }
    const auto shape = shapeOfParts<GisShapePolygon>(parts);
    GisTopology topology;
    int most = 0;
    topology.SetBusyCallback([&most](int, int) { return ++most > 0; });
    EXPECT_NE(topology.FixShape(*shape).shape, nullptr);
    for (const int share : {0, 1, 2, 3, 4}) {
        int left = std::max(1, most * share / 4);
        topology.SetBusyCallback([&left](int, int) { return --left > 0; });
        EXPECT_EQ(topology.FixShape(*shape).shape, nullptr) << share;
    }
}

TEST(ShapeCheck, CrossingsAreFixedUpToANumber) {
    GisShapePolygon star; // five
    star.fromWkt("POLYGON ((0 10, 6 -8, -10 3, 10 3, -6 -8, 0 10))");
    GisShapePolygon box;
    box.fromWkt("POLYGON ((0 0, 9 0, 9 9, 0 9, 0 0))");
    GisShapePolyline comb; // crosses the boundary of the box ten times
    comb.fromWkt("LINESTRING (1 -1, 1 10, 2 10, 2 -1, 3 -1, 3 10, 4 10, 4 -1, 5 -1, 5 10)");
    GisTopology topology;
    topology.SetForceShapeFixing(true);
    const struct {
        const char* name;
        int crossings;
        std::function<void()> operation;
    } rows[] = {
        {"fixed", 5, [&] { topology.FixShape(star); }},
        {"buffer at 0", 5, [&] { topology.Buffer(star, 0); }},
        {"fixed before an overlay", 5, [&] { topology.Union(star, box); }},
        {"split", 10, [&] { topology.SplitByLine(box, comb); }},
    };
    for (const auto& row : rows) {
        topology.SetMostCrossings(row.crossings);
        EXPECT_NO_THROW(row.operation()) << row.name;
        topology.SetMostCrossings(row.crossings - 1);
        EXPECT_THROW(row.operation(), std::runtime_error) << row.name;
    }
}

TEST(ShapeCheck, OfAnySize) {
    for (const double size : {1e200, 1e307, 1e100, 1.0, 1e-160, 1e-310}) {
        SCOPED_TRACE(size);
        const auto bowTie =
            shapeOfParts<GisShapePolygon>({{{0, 0}, {4 * size, 4 * size}, {4 * size, 0}, {0, 4 * size}}});
        const auto found = GisTopology().CheckShape(*bowTie);
        EXPECT_EQ(textOf(found), "3@0:3 6@0:0");
        EXPECT_TRUE(found[1].place.x() == 2 * size && found[1].place.y() == 2 * size);
        const auto fix = GisTopology().FixShape(*bowTie);
        EXPECT_EQ(textOf(fix.changes), "3@0:3 6@0:0");
        EXPECT_EQ(textOf(GisTopology().CheckShape(*fix.shape)), "");
        EXPECT_EQ(static_cast<const GisShapePolygon&>(*fix.shape).parts().size(), 2);
        EXPECT_TRUE(fix.shape->extent().xMax() == 4 * size && fix.shape->extent().yMax() == 4 * size);
    }
    Random random;
    for (int i = 0; i < 600; ++i) { // crossings are rounded again
        Part ring = random.walk(i % 2 == 0 ? 6 : 20, true);
        for (GisShapePoint& p : ring) { // every other one is thin
            p = GisShapePoint(p.x() * 5e-324, (i % 2 == 0 ? p.y() : p.x() * 7 / 10 + p.y() / 10) * 5e-324);
        }
        const auto fix = GisTopology().FixShape(*shapeOfParts<GisShapePolygon>({ring}));
        EXPECT_EQ(textOf(GisTopology().CheckShape(*fix.shape)), "") << "seed " << seed() << ", " << i;
    }
}

/// Numbers of which products vanish, beside ordinary ones.
TEST(ShapeCheck, FixesTinyRingsBesideOrdinaryOnes) {
    const auto tiny = shapeOfParts<GisShapePolygon>({{{1e-160, 5e-160},
                                                      {5e-160, 2e-160},
                                                      {6e-160, 6e-160},
                                                      {1e-160, 3e-160},
                                                      {4e-160, 3e-160},
                                                      {2e-160, 4e-160},
                                                      {1e-160, 5e-160}},
                                                     square});
    GisTopology topology;
    topology.SetForceShapeFixing(true);
    EXPECT_EQ(textOf(topology.CheckShape(*topology.FixShape(*tiny).shape)), "");
    const double area = GisTopology::Area(*shapeOfParts<GisShapePolygon>({square}));
    EXPECT_DOUBLE_EQ(GisTopology::Area(*topology.Union(*tiny, *tiny)), area);
    EXPECT_DOUBLE_EQ(GisTopology::Area(*topology.CascadedUnion({tiny.get()})), area);
}

/// Of which all boxes meet.
TEST(ShapeCheck, OfSlantedStripsSideBySide) {
    QList<Part> strips;
    for (int i = 0; i < 8000; ++i) {
        strips.append(moved({{0, 0}, {0.004, 0}, {37.004, 100}, {37, 100}, {0, 0}}, i * 0.005, 0));
    }
    int calls = 0;
    GisTopology topology;
    topology.SetBusyCallback([&calls](int, int) { return ++calls > 0; });
    EXPECT_TRUE(topology.CheckShape(*shapeOfParts<GisShapePolygon>(strips)).isEmpty());
    EXPECT_LT(calls, 30); // hundreds for all pairs
}

/// GEOS calls every fixed shape valid, and everything that CheckShape finds nothing in.
TEST(ShapeCheck, AgreesWithGeosOnRubbish) {
    Random random;
    const GisTopology topology;
    int sound = 0;
    for (int round = 0; round < 1500; ++round) {
        QList<Part> parts;
        for (int i = random.whole(1, 4); i > 0; --i) {
            parts.append(random.whole(0, 2) == 0 ? random.star(random.whole(-5, 5), 0, random.whole(1, 9), 6)
                                                 : random.walk(random.whole(0, 7), round % 3 != 0));
            Part& part = parts.last();
            if (part.size() > 1 && random.whole(0, 3) != 0) {
                part.append(GisShapePoint(part.constFirst()));
            }
            if (part.size() > 2 && random.whole(0, 9) == 0) {
                part[1].setX(random.whole(0, 1) == 0 ? nan : infinity);
            }
        }
        if (round % 5 == 1) { // which touch, and cross through vertices
            parts = QList<Part>(4);
            for (Part& part : parts) {
                for (int i = random.whole(3, 5); i > 0; --i) {
                    part.append(GisShapePoint(random.whole(0, 4), random.whole(0, 4)));
                }
            }
        }
        if (round % 5 == 0) { // all but on one line, near and far
            parts = {random.walk(random.whole(4, 40), false)};
            const double size = std::pow(10.0, random.whole(-6, 8));
            for (GisShapePoint& p : parts[0]) {
                const double along = size * (p.x() + 11);
                p = GisShapePoint(along, 0.7 * along + size * p.y() * 1e-16);
            }
        }
        auto shape = shapeOfParts<GisShapePolygon>(parts);
        shape->setId(7);
        shape->attributes().insert(QStringLiteral("name"), QStringLiteral("seven"));
        SCOPED_TRACE(QStringLiteral("seed %1: %2").arg(seed()).arg(shape->toWkt()).toStdString());
        const bool isSound = topology.CheckShape(*shape).isEmpty();
        sound += isSound ? 1 : 0;
        const auto fix = topology.FixShape(*shape);
        EXPECT_EQ(fix.changes.isEmpty(), isSound);
        EXPECT_TRUE(geometryOf(*fix.shape)->IsValid()) << wktOf(fix.shape);
        EXPECT_EQ(textOf(topology.CheckShape(*fix.shape)), "") << wktOf(fix.shape);
        EXPECT_TRUE(hasIdAndAttributes(*fix.shape));
        if (round % 5 != 0 && !fix.shape->isEmpty()) {
            const GisShapePoint inside = GisTopology::PointOnSurface(*shape);
            EXPECT_TRUE(geometryOf(*fix.shape)->Contains(geometryOf(inside).get())) << inside.toWkt().toStdString();
        }
    }
    EXPECT_GT(sound, 30);
}

} // namespace
