#include "EditingTestShapes.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

using namespace test;
using namespace Cartolith::Core::Topology;
using CoordinateSystems::CoordinateSystemFactory;

// GEOS 3.11 forgets what it works with when it is interrupted or gives up.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:geos::operation::buffer::BufferBuilder::getNoder\n"
           "leak:geos::operation::overlay::PolygonBuilder::buildMaximalEdgeRings\n"
           "leak:geos::noding::";
}

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(Buffers, HaveTheAreaOfTheirStyle) {
    const char* const line = "LINESTRING(0 0,10 0)";
    const char* const corner = "LINESTRING(0 0,10 0,10 10)";
    const char* const square = "POLYGON((0 0,10 0,10 10,0 10,0 0),(4 4,4 6,6 6,6 4,4 4))";
    using Cap = GisBufferCap;
    using Join = GisBufferJoin;
    using Side = GisBufferSide;
    const struct {
        const char* name;
        const char* shape;
        double distance;
        GisBufferStyle style;
        double area;
    } rows[] = {
        {"a point", "POINT(5 5)", 2, {Cap::Round, Join::Round, 5, 1000}, M_PI * 4},
        {"a diamond", "POINT(5 5)", 2, {Cap::Round, Join::Round, 5, 1}, 8},
        {"flat", line, 1, {Cap::Flat}, 20},
        {"square", line, 1, {Cap::Square}, 24},
        {"round", line, 1, {Cap::Round, Join::Round, 5, 1000}, 20 + M_PI},
        {"left", corner, 1, {Cap::Round, Join::Mitre, 5, 8, Side::Left}, 19},
        {"right", corner, 1, {Cap::Round, Join::Mitre, 5, 8, Side::Right}, 21},
        {"right by distance", corner, -1, {Cap::Round, Join::Mitre, 5, 8, Side::Left}, 21},
        {"mitred", corner, 1, {Cap::Flat, Join::Mitre}, 40},
        {"bevelled", corner, 1, {Cap::Flat, Join::Bevel}, 39.5},
        {"out of a polygon", square, 0.5, {Cap::Flat, Join::Mitre, 5, 8, Side::Left}, 121 - 1},
        {"into a polygon", square, -0.5, {Cap::Flat, Join::Mitre}, 81 - 9},
        {"nothing left", square, -3, {}, 0},
        {"no distance", square, 0, {}, 96},
        {"no distance from a line", line, 0, {}, 0},
        {"negative from a line", line, -1, {}, 0},
        {"empty", "LINESTRING EMPTY", 1, {}, 0},
    };
    for (const auto& row : rows) {
        const auto buffer = GisTopology().Buffer(*shapeOf(row.shape), row.distance, row.style);
        ASSERT_NE(dynamic_cast<const GisShapePolygon*>(buffer.get()), nullptr);
        EXPECT_NEAR(GisTopology::Area(*buffer), row.area, 2e-5) << row.name << wktOf(buffer);
        EXPECT_EQ(buffer->isEmpty(), row.area == 0) << row.name;
        EXPECT_TRUE(hasIdAndAttributes(*buffer)) << row.name;
    }
    const auto strange = shapeOfParts<GisShapePolyline>({{{0, 0}, {nan, 3}, {infinity, 2}, {10, 0}}, {{1, infinity}}});
    EXPECT_NEAR(GisTopology::Area(*GisTopology().Buffer(*strange, 1, {Cap::Flat})), 20, 1e-9);
}

TEST(Buffers, RefuseBadArgumentsAndStop) {
    const auto point = shapeOf("POINT(0 0)");
    for (const double distance : {nan, infinity, -infinity}) {
        EXPECT_THROW(GisTopology().Buffer(*point, distance), std::invalid_argument);
    }
    for (const GisBufferStyle& style : {GisBufferStyle{.quadrantSegments = 0}, GisBufferStyle{.quadrantSegments = 1001},
                                        GisBufferStyle{.mitreLimit = 0.5}, GisBufferStyle{.mitreLimit = nan}}) {
        EXPECT_THROW(GisTopology().Buffer(*point, 1, style), std::invalid_argument);
    }
    // Long enough that GEOS is interrupted, not only asked before.
    Random random;
    const auto tangle = shapeOfParts<GisShapePolyline>({random.walk(100, false)});
    GisTopology topology;
    int calls = 0;
    topology.SetBusyCallback([&calls](int, int) { return ++calls < 3; });
    EXPECT_EQ(topology.Buffer(*tangle, 0.01), nullptr);
    EXPECT_EQ(calls, 3);
    topology.SetBusyCallback([&calls](int, int) { return ++calls < 6 ? true : throw std::logic_error("enough"); });
    EXPECT_THROW(topology.Buffer(*tangle, 0.01), std::logic_error);
    EXPECT_NE(GisTopology().Buffer(*point, 1), nullptr);
}

TEST(Simplification, IsThatOfTheShapeAndStops) {
    GisShapePolyline zigzag; // of which rounding decides which vertex is farthest
    zigzag.parts().append(Part());
    for (int i = 0; i < 9000; ++i) {
        const double side = i % 2 != 0 ? 1.0 : -1.0;
        zigzag.parts()[0].append({0.1 * i + side, 0.1 * i - side});
    }
    const auto ring = shapeOf("POLYGON((0 0,2 0.1,4 0,4 4,0 4,0 0),(1 1,1.1 1,1 1.1,1 1))");
    const auto line = shapeOf("MULTILINESTRING((0 0,2 0.1,4 0),(1 1))");
    for (const GisShape* shape : std::initializer_list<const GisShape*>{&zigzag, ring.get(), line.get()}) {
        EXPECT_EQ(wktOf(GisTopology().Simplify(*shape, 0.5)), wktOf(shape->simplify(0.5)));
    }
    EXPECT_TRUE(hasIdAndAttributes(*GisTopology().Simplify(*ring, 0.5)));
    EXPECT_EQ(wktOf(GisTopology().Simplify(GisShapePoint(1, 2), 0.5)), "POINT (1 2)");
    int calls = 0;
    GisTopology topology;
    topology.SetBusyCallback([&calls](int, int) { return ++calls < 2; });
    EXPECT_EQ(topology.Simplify(zigzag, 0.5), nullptr);
    EXPECT_EQ(calls, 2);
    calls = 0;
    EXPECT_NE(topology.Simplify(zigzag, 0.05), nullptr); // all stay: hardly any work
    EXPECT_EQ(calls, 0);
}

TEST(Measures, Planar) {
    const struct {
        const char* shape;
        double length;
        double area;
        const char* inside; ///< null: only that it is inside
    } rows[] = {
        {"POINT(1 2)", 0, 0, "POINT (1 2)"},
        {"LINESTRING EMPTY", 0, 0, "POINT EMPTY"},
        {"MULTILINESTRING((0 0,3 4),(0 0,10 0))", 15, 0, "POINT (5 0)"},
        {"LINESTRING(2 2,2 2)", 0, 0, "POINT (2 2)"},
        {"POLYGON((0 0,4 0,4 4,0 4,0 0))", 16, 16, "POINT (2 2)"},
        {"POLYGON((0 0,4 0,4 4,0 4,0 0),(1 1,3 1,3 3,1 3,1 1))", 24, 12, nullptr},
        {"POLYGON((1 1,3 1,3 3,1 3,1 1),(0 0,0 4,4 4,4 0,0 0))", 24, 12, nullptr},
        {"POLYGON((0 0,10 0,10 10,0 10,0 0),(1 1,9 1,9 9,1 9,1 2,8 2,8 8,2 8,2 1,1 1))", 98, 1, "POINT (0.5 5)"},
        {"POLYGON((0 0,4 0,4 4,0 4,0 0),(1 1,3 1,3 3,1 3,1 1),(1.5 1.5,2 1.5,2 2,1.5 2,1.5 1.5))", 26, 12.25, nullptr},
        {"POLYGON((0 0,1 0,1 1,0 1,0 0),(9 9,11 9,11 11,9 11,9 9))", 12, 5, "POINT (10 10)"},
        {"POLYGON((1e9 1e9,1000000000.0009765625 1e9,1000000000.0009765625 1000000000.0009765625,1e9 1e9))",
         (2 + std::sqrt(2)) / 1024, 0.5 / 1024 / 1024, nullptr},
        {"POLYGON((0 0,1 1,2 2,0 0))", 2 * std::sqrt(8), 0, "POINT EMPTY"},
        {"POLYGON((0 0,2 0,2 2,0 2,0 0,2 0,2 2,0 2,0 0))", 16, 8, "POINT (1 1)"}, // gone round twice
        {"POLYGON((-1.7e308 -1.7e308,1.7e308 -1.7e308,1.7e308 1.7e308,-1.7e308 1.7e308))", infinity, infinity,
         "POINT (0 0)"},
        {"LINESTRING(-1.7e308 5,1.7e308 5)", infinity, 0, "POINT (0 5)"},
    };
    for (const auto& row : rows) {
        const auto shape = shapeOf(row.shape);
        EXPECT_DOUBLE_EQ(GisTopology::Length(*shape), row.length) << row.shape;
        EXPECT_DOUBLE_EQ(GisTopology::Area(*shape), row.area) << row.shape;
        const GisShapePoint inside = GisTopology::PointOnSurface(*shape);
        if (row.inside != nullptr) {
            EXPECT_EQ(inside.toWkt().toStdString(), row.inside) << row.shape;
        } else {
            EXPECT_TRUE(geometryOf(*shape)->Contains(geometryOf(inside).get())) << row.shape;
        }
    }
    Part spiked{{0, 0}, {100, 0}}; // the highest strips hold nothing but spikes
    for (int i = 1; i < 400; ++i) {
        spiked.append({{100 - i / 4.0, 1 + 0.01 * i}, {100 - i / 4.0, 10.0 * i}, {100 - i / 4.0, 1 + 0.01 * i}});
    }
    EXPECT_TRUE(
        GisShapePolygon::pointInPolygon(GisTopology::PointOnSurface(*shapeOfParts<GisShapePolygon>({spiked})), spiked));
    const auto placeIn = [](const char* wkt) { return GisTopology::PointOnSurface(*shapeOf(wkt)); };
    EXPECT_FALSE(placeIn("POLYGON((0 0,2 2,2 0,0 2,0 0))").isEmpty()) << "its signed area is 0";
    for (const char* const holes :
         {"(0.1 0.1,9.9 0.1,9.9 9.9,0.1 9.9,0.1 0.1)", "(0 0,5 0,5 10,0 10,0 0),(5 0,10 0,10 10,5 10,5 0)"}) {
        const std::string other = ",(20 0,25 0,25 5,20 5,20 0))"; // of less than the shell, of more than is left
        EXPECT_GT(placeIn(("POLYGON((0 0,10 0,10 10,0 10,0 0)," + (holes + other)).c_str()).x(), 20) << holes;
    }
    const double beside = std::nextafter(4e5, 1e6); // slivers an ulp wide, in which no number lies
    for (const Part& sliver : {Part{{4e5, 5e6}, {beside, 5e6 + 20}, {4e5, 5e6 + 20}},
                               Part{{5e6, 4e5}, {5e6 + 20, beside}, {5e6 + 20, 4e5}}}) {
        const auto polygon = shapeOfParts<GisShapePolygon>({sliver});
        EXPECT_LT(GisTopology().Distance(GisTopology::PointOnSurface(*polygon), *polygon), 1e-9);
    }
    for (const double bad : {nan, infinity}) {
        const auto polygon = shapeOfParts<GisShapePolygon>({{{0, 0}, {4, 0}, {4, bad}, {0, 4}, {0, 0}}});
        EXPECT_TRUE(std::isnan(GisTopology::Length(*polygon)) && std::isnan(GisTopology::Area(*polygon)));
        EXPECT_FALSE(GisTopology::PointOnSurface(*polygon).isEmpty());
    }
}

/// Whose horizontal sides leave one strip, with the crossing in its middle.
TEST(Measures, PointInBowTies) {
    QList<Part> rings{{{166.8, 70.2}, {166.2, 70.2}, {166.8, 70.1}, {166.2, 70.1}, {166.8, 70.2}},
                      {{400007.3, 5000001.5}, {400003, 5000001.5}, {400007.3, 5000004.8}, {400003, 5000004.8}},
                      {{108.9, 31.8}, {107.1, 31.8}, {111.5, 32}, {109.7, 32}}};
    Random random;
    for (int round = 0; round < 2000; ++round) {
        const double unit = std::pow(10.0, random.whole(1, 6)); // decimals
        const auto rounded = [unit](double value) { return std::round(value * unit) / unit; };
        const bool isMetres = round % 2 == 0;
        const double x = isMetres ? 400000 + random.between(0, 100) : random.between(-180, 180);
        const double y = isMetres ? 5000000 + random.between(0, 100) : random.between(-90, 90);
        const double right = x + random.between(0.2, 9);
        const double top = y + random.between(0.2, 9);
        const double lean = round % 4 < 2 ? 0 : random.between(-5, 5);
        rings.append({{rounded(x), rounded(y)},
                      {rounded(right), rounded(y)},
                      {rounded(x + lean), rounded(top)},
                      {rounded(right + lean), rounded(top)}});
    }
    for (const Part& ring : rings) {
        const auto bowTie = shapeOfParts<GisShapePolygon>({ring});
        const GisShapePoint inside = GisTopology::PointOnSurface(*bowTie);
        EXPECT_TRUE(geometryOf(*GisTopology().FixShape(*bowTie).shape)->Contains(geometryOf(inside).get()))
            << "seed " << seed() << ": " << wktOf(bowTie->clone());
    }
}

TEST(Measures, Geodesic) {
    const double earth = 510065621724088.5; // of the ellipsoid of WGS 84
    const auto degrees = CoordinateSystemFactory::fromEpsg(4326);
    const auto mercator = CoordinateSystemFactory::fromEpsg(3857);
    const auto grads = CoordinateSystemFactory::fromEpsg(4807); // NTF (Paris)
    const auto fiji = CoordinateSystemFactory::fromEpsg(32760);
    const auto antarctic = CoordinateSystemFactory::fromEpsg(3031);
    const struct {
        const char* name;
        const CoordinateSystems::CoordinateSystem& system;
        const char* shape;
        double length;
        double area;
    } rows[] = {
        {"a degree at the equator", *degrees, "LINESTRING(0 0,1 0)", 111319.49079327358, 0},
        {"on the ground, not in Mercator", *mercator, "LINESTRING(0 0,111319.49079327358 0)", 111319.49079327358, 0},
        {"once round the equator", *degrees, "LINESTRING(-180 0,180 0)", 40075016.68557849, 0},
        {"in grads, on another ellipsoid", *grads, "LINESTRING(0 0,100 0)", 6378249.2 * M_PI / 2, 0},
        {"the whole earth", *degrees, "POLYGON((-180 -90,180 -90,180 90,-180 90,-180 -90))", -1, earth},
        {"an octant", *degrees, "POLYGON((0 0,90 0,90 90,0 90,0 0))", -1, earth / 8},
        {"over the antimeridian", *degrees, "POLYGON((135 0,225 0,225 -90,135 -90,135 0))", -1, earth / 8},
        {"with a hole", *degrees, "POLYGON((0 0,90 0,90 90,0 90,0 0),(30 0,60 0,60 90,30 90,30 0))", -1, earth / 12},
        {"a point", *degrees, "POINT(0 0)", 0, 0},
        {"projected, over the antimeridian", *fiji, "LINESTRING(805000 8140000,825000 8140000)", 19983.462446477, 0},
        {"projected, over the antimeridian", *fiji,
         "POLYGON((805000 8140000,825000 8140000,825000 8160000,805000 8160000,805000 8140000))", -1, 399339087.611},
        {"projected, the whole world", *mercator,
         "POLYGON((-20037508 -2e7,20037508 -2e7,20037508 2e7,-20037508 2e7,-20037508 -2e7))", -1, 508277563208308.3},
        {"projected, round a pole", *antarctic, "POLYGON((-1e6 -1e6,1e6 -1e6,1e6 1e6,-1e6 1e6,-1e6 -1e6))", -1,
         4226850695987.0},
        {"projected, with a hole round the pole", *antarctic,
         "POLYGON((-2e6 -2e6,2e6 -2e6,2e6 2e6,-2e6 2e6,-2e6 -2e6),(-1e6 -1e6,-1e6 1e6,1e6 1e6,1e6 -1e6,-1e6 -1e6))", -1,
         16893608911007.3 - 4226850695987.0},
    };
    for (const auto& row : rows) {
        const auto shape = shapeOf(row.shape);
        if (row.length >= 0) {
            EXPECT_NEAR(GisTopology::GeodesicLength(*shape, row.system), row.length, 1e-6) << row.name;
        }
        EXPECT_NEAR(GisTopology::GeodesicArea(*shape, row.system), row.area, 1.0) << row.name;
    }
    EXPECT_TRUE(std::isnan(GisTopology::GeodesicLength(*shapeOf("LINESTRING(0 0,0 91)"), *degrees)));
    EXPECT_TRUE(std::isnan(GisTopology::GeodesicArea(*shapeOf("POLYGON((35 139,36 139,36 140,35 139))"), *degrees)));
    EXPECT_TRUE(
        std::isnan(GisTopology::GeodesicArea(*shapeOfParts<GisShapePolygon>({{{0, nan}, {1, 1}, {2, 0}}}), *mercator)));
    EXPECT_THROW(GisTopology::GeodesicLength(*shapeOf("POINT(0 0)"), {0, "Nowhere", true, " ", std::nullopt}),
                 std::runtime_error);
    EXPECT_THROW(GisTopology::GeodesicLength(*shapeOf("LINESTRING(0 0,1e30 0)"), *mercator), std::runtime_error);
}

TEST(Nearest, PointsOfTwoShapes) {
    const char* const ring = "POLYGON((0 0,9 0,9 9,0 9,0 0),(2 2,2 7,7 7,7 2,2 2))";
    const struct {
        const char* a;
        const char* b;
        const char* onA; ///< null when there is no distance
        const char* onB;
    } rows[] = {
        {"POINT(1 2)", "POINT(4 6)", "POINT (1 2)", "POINT (4 6)"},
        {"POINT(1 2)", "LINESTRING(0 0,4 0)", "POINT (1 2)", "POINT (1 0)"},
        {"LINESTRING(0 0,4 4)", "LINESTRING(0 4,4 0)", "POINT (2 2)", "POINT (2 2)"},
        {"POINT(1 1)", ring, "POINT (1 1)", "POINT (1 1)"},
        {"POINT(1 0)", "LINESTRING(0 0,49 0)", "POINT (1 0)", "POINT (1 0)"}, // 1 / 49 * 49 is not 1
        {"LINESTRING(0 0,49 0)", "LINESTRING(1 1,1 0)", "POINT (1 0)", "POINT (1 0)"},
        {ring, "POINT(4 5)", "POINT (2 5)", "POINT (4 5)"},
        {"LINESTRING(4 4,5 5)", ring, "POINT (4 4)", "POINT (2 4)"},
        {"POLYGON((1 3,1.5 3,1.5 4,1 3))", ring, "POINT (1 3)", "POINT (1 3)"},
        {"POLYGON((-9 -9,20 -9,20 20,-9 20,-9 -9))", ring, "POINT (0 0)", "POINT (0 0)"},
        {"POINT(9 5)", "MULTIPOLYGON(((0 0,10 0,10 10,0 10,0 0)),((8 0,18 0,18 10,8 10,8 0)))", "POINT (9 5)",
         "POINT (9 5)"},
        {"POINT(5 5)", "POLYGON((0 0,9 0,9 9,0 9,0 0,9 0,9 9,0 9,0 0))", "POINT (5 5)", "POINT (5 5)"}, // twice
        {"POINT(5 5)", "POLYGON((0 0,9 0,9 9,0 9,0 0),(2 2,8 2,8 8,2 8,2 2),(2 2,8 2,8 8,2 8,2 2))", "POINT (5 5)",
         "POINT (5 2)"},   // a hole stored twice
        {"POINT(15.5 10)", // in an island that leaves its hole
         "MULTIPOLYGON(((0 0,20 0,20 20,0 20,0 0),(5 5,15 5,15 15,5 15,5 5)),((6 6,16 6,16 14,6 14,6 6)))",
         "POINT (15.5 10)", "POINT (15.5 10)"},
        {"POINT(11 5)", // in a hole that leaves its shell
         "POLYGON((0 0,10 0,10 10,0 10,0 0),(5 2,12 2,12 8,5 8,5 2))", "POINT (11 5)", "POINT (12 5)"},
        {"POINT(1 1)", "LINESTRING EMPTY", nullptr, nullptr},
        {"POLYGON EMPTY", "LINESTRING EMPTY", nullptr, nullptr},
    };
    for (const auto& row : rows) {
        const auto nearest = GisTopology().NearestPoints(*shapeOf(row.a), *shapeOf(row.b));
        EXPECT_EQ(std::isinf(nearest.distance), row.onA == nullptr) << row.a;
        if (row.onA != nullptr) {
            EXPECT_EQ(nearest.onFirst.toWkt().toStdString(), row.onA) << row.a << row.b;
            EXPECT_EQ(nearest.onSecond.toWkt().toStdString(), row.onB) << row.a << row.b;
        }
    }
    const auto broken = shapeOfParts<GisShapePolyline>({{{0, 0}, {nan, 0}, {0, 5}, {5, infinity}}, {{9, 1}}});
    EXPECT_EQ(GisTopology().Distance(*broken, GisShapePoint(10, 1)), 1);
    const auto gap = shapeOfParts<GisShapePolyline>({{{-9, 0}, {0, 0}, {nan, nan}, {10, 0}, {19, 0}}});
    EXPECT_EQ(GisTopology().Distance(*gap, GisShapePoint(5, 0)), 5);
}

/// The quotient for the place where nearly collinear segments cross is noise.
TEST(Nearest, OfSegmentsOnAboutOneLineThatCross) {
    Random random;
    int crossings = 0;
    for (int round = 0; round < 20000; ++round) {
        const double x = 1e6 * random.whole(0, 2);
        const double dx = random.between(1, 100);
        const double dy = random.whole(0, 3) == 0 ? 0 : random.between(1, 300);
        const auto near = [&] { // a place of the line or an ulp beside it
            const double share = random.between(0, 1);
            const double y = x + 7 + share * dy;
            return GisShapePoint(x + share * dx, std::nextafter(y, random.whole(0, 2) * y));
        };
        const auto a = shapeOfParts<GisShapePolyline>({{near(), near()}});
        const auto b = shapeOfParts<GisShapePolyline>({{near(), near()}});
        const auto nearest = GisTopology().NearestPoints(*a, *b);
        crossings += nearest.distance == 0 ? 1 : 0;
        for (const auto& [shape, p] : {std::pair(a.get(), nearest.onFirst), {b.get(), nearest.onSecond}}) {
            ASSERT_TRUE(GisTopology::PointOnBoundary(*shape, p, 1e-9))
                << "seed " << seed() << a->toWkt().toStdString() << b->toWkt().toStdString();
        }
    }
    EXPECT_GT(crossings, 1000);
}

TEST(Nearest, LooksAtFewPairs) {
    GisShapePolyline lower;
    GisShapePolyline upper;
    GisShapePolygon squares;
    GisShapePolygon others;
    lower.parts().append(Part());
    upper.parts().append(Part());
    for (int i = 0; i < 4000; ++i) {
        lower.parts()[0].append({i == 0 ? 1e-101 : i, std::sin(i * 0.01)});
        upper.parts()[0].append({i * 1.0, 5 + std::sin(i * 0.013)});
        for (const auto& [polygon, x] : {std::pair(&squares, 4.0 * i), {&others, 4.0 * i + 2}}) {
            polygon->parts().append({{x, 0}, {x + 1, 0}, {x + 1, 1}, {x, 1}, {x, 0}});
        }
    }
    const struct {
        const char* name;
        const GisShape& a;
        const GisShape& b;
        double distance;
    } rows[] = {{"a tiny coordinate", lower, upper, geometryOf(lower)->Distance(geometryOf(upper).get())},
                {"a row of squares", squares, others, 1}};
    for (const auto& row : rows) {
        int millions = 0;
        GisTopology topology;
        topology.SetBusyCallback([&millions](int, int) { return ++millions > 0; });
        EXPECT_NEAR(topology.Distance(row.a, row.b), row.distance, 1e-9);
        EXPECT_LT(millions, 3) << row.name;
    }
}

/// Against a look at all rings and at all pairs of vertices and segments.
TEST(Nearest, OfManyPartsAsAPlainSearchSays) {
    Random random;
    int zeros = 0;
    for (int round = 0; round < 400; ++round) {
        const auto shape = [&](int parts) {
            auto polygon = std::make_unique<GisShapePolygon>();
            for (int i = 0; i < parts; ++i) {
                const double x = random.whole(-9, 9);
                const double size = random.whole(0, 4) == 0 ? random.whole(1, 9) : 0.3;
                polygon->parts().append(Part{{x, x}, {x + size, x}, {x + size, x + size * random.whole(0, 1)}});
                for (GisShapePoint& vertex : polygon->parts().last()) {
                    vertex.setY(vertex.y() + (round % 2 == 0 ? random.whole(-9, 9) : random.between(-9, 9)));
                }
            }
            return polygon;
        };
        const auto a = shape(random.whole(1, 40));
        const auto b = shape(random.whole(1, 3));
        double least = std::numeric_limits<double>::infinity();
        for (const auto& [one, other] : {std::pair(a.get(), b.get()), {b.get(), a.get()}}) {
            for (const Part& part : one->parts()) {
                const auto isAround = [&](const Part& r) { return GisShapePolygon::pointInPolygon(part[0], r); };
                const auto around = std::count_if(other->parts().begin(), other->parts().end(), isAround);
                least = around % 2 != 0 ? 0 : least;
                for (const Part& ring : other->parts()) {
                    for (int i = 0; i < 9; ++i) {
                        const auto &p = part[i / 3], &q = part[(i / 3 + 1) % 3];
                        const auto &r = ring[i % 3], &s = ring[(i % 3 + 1) % 3];
                        const bool cross = GisTopology::ProperSegmentIntersection(p, q, r, s, 0);
                        least = std::min(least, cross ? 0 : GisShapePolyline::distancePointToSegment(p, r, s));
                    }
                }
            }
        }
        zeros += least == 0 ? 1 : 0;
        EXPECT_NEAR(GisTopology().Distance(*a, *b), least, 1e-12) << "seed " << seed() << " round " << round;
    }
    EXPECT_LT(zeros, 380);
}

TEST(Nearest, AsGeosSays) {
    Random random;
    const GisTopology topology;
    for (int round = 0; round < 300; ++round) {
        const int count = round % 10 == 0 ? 2000 : random.whole(3, 60);
        const auto a = shapeOfParts<GisShapePolygon>({random.star(0, 0, 10, count), random.star(0, 0, 2.5, 9)});
        std::unique_ptr<GisShape> b =
            shapeOfParts<GisShapePolygon>({random.star(random.between(-30, 30), 0, random.between(0.5, 9), count)});
        if (round % 3 == 0) {
            b = shapeOfParts<GisShapePolyline>({random.walk(3, false), random.walk(2, true)});
        }
        SCOPED_TRACE(QStringLiteral("seed %1 round %2").arg(seed()).arg(round).toStdString());
        const auto nearest = topology.NearestPoints(*a, *b);
        EXPECT_NEAR(nearest.distance, geometryOf(*a)->Distance(geometryOf(*b).get()), 1e-9);
        EXPECT_NEAR(std::hypot(nearest.onFirst.x() - nearest.onSecond.x(), nearest.onFirst.y() - nearest.onSecond.y()),
                    nearest.distance, 1e-12);
        for (const auto& [shape, p] :
             {std::pair<const GisShape*, GisShapePoint>(a.get(), nearest.onFirst), {b.get(), nearest.onSecond}}) {
            EXPECT_LT(geometryOf(*shape)->Distance(geometryOf(p).get()), 1e-9);
        }
        EXPECT_EQ(topology.Distance(*b, *a), nearest.distance);
    }
}

} // namespace
