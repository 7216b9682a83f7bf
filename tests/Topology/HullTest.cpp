#include "EditingTestShapes.h"

#include <gtest/gtest.h>

#include <limits>

using namespace test;

namespace {

TEST(ConvexHull, OfFewPoints) {
    struct Row {
        const char* shape;
        const char* expected;
    };
    const Row rows[] = {
        {"POINT(1 2)", "POINT (1 2)"},
        {"LINESTRING(4 4,1 1,2 2,4 4)", "LINESTRING (1 1,4 4)"},
        {"LINESTRING(0.1 0.1,0.3 0.3,0.7 0.7)", "LINESTRING (0.1 0.1,0.7 0.7)"},
        {"LINESTRING(1 1,1 1)", "POINT (1 1)"},
        {"LINESTRING(0 0,1 1,2 0)", "POLYGON ((0 0,2 0,1 1,0 0))"},
        {"LINESTRING(0 0,1 -1,2 0)", "POLYGON ((0 0,1 -1,2 0,0 0))"},
        {"POLYGON((0 0,2 0,4 0,4 4,2 2,0 4,0 0))", "POLYGON ((0 0,4 0,4 4,0 4,0 0))"},
        {"LINESTRING EMPTY", "POLYGON EMPTY"},
    };
    for (const Row& row : rows) {
        const auto hull = GisTopology().ConvexHull(*shapeOf(row.shape));
        EXPECT_EQ(wktOf(hull), row.expected) << row.shape;
        EXPECT_TRUE(hasIdAndAttributes(*hull)) << row.shape;
    }
}

TEST(ConvexHull, OfSeveralShapes) {
    GisTopology topology;
    const auto a = shapeOf("POINT(0 0)");
    const GisShapePoint b(3, 4);
    const double infinity = std::numeric_limits<double>::infinity();
    const auto odd = shapeOfParts<GisShapePolyline>({{{infinity, 0}, {0, 5}, {std::nan(""), 1}}});
    EXPECT_EQ(wktOf(topology.ConvexHull(*a, b)), "LINESTRING (0 0,3 4)");
    EXPECT_TRUE(hasIdAndAttributes(*topology.ConvexHull(*a, b)));
    EXPECT_EQ(wktOf(topology.ConvexHull({nullptr, a.get(), &b, odd.get()})), "POLYGON ((0 0,3 4,0 5,0 0))");
    EXPECT_EQ(wktOf(topology.ConvexHull(QList<const GisShape*>{})), "POLYGON EMPTY");
    topology.SetBusyCallback([](int current, int total) { return current < total; });
    EXPECT_EQ(topology.ConvexHull(*a, b), nullptr);
}

/// Nearly collinear points, where rounded orientation goes wrong, and others.
TEST(ConvexHull, TurnsLeftEverywhereAndContainsAll) {
    Random random;
    for (int round = 0; round < 300; ++round) {
        Part points = random.walk(random.whole(3, 60), round % 3 == 0);
        if (round % 3 == 1) {
            for (GisShapePoint& p : points) {
                p.setY(p.x() * (1.0 / 3) + std::ldexp(random.whole(-2, 2), -52));
            }
        }
        const auto hull = GisTopology().ConvexHull(*shapeOfParts<GisShapePolyline>({points}));
        const auto* polygon = dynamic_cast<const GisShapePolygon*>(hull.get());
        ASSERT_NE(polygon, nullptr);
        const Part ring = polygon->parts().constFirst();
        SCOPED_TRACE(QStringLiteral("seed %1 round %2").arg(seed()).arg(round).toStdString());
        const auto turn = [](const GisShapePoint& a, const GisShapePoint& b, const GisShapePoint& c) {
            // 113 bits hold these differences and products without rounding
            const auto x = [](const GisShapePoint& p) { return static_cast<__float128>(p.x()); };
            const auto y = [](const GisShapePoint& p) { return static_cast<__float128>(p.y()); };
            const __float128 cross = (x(b) - x(a)) * (y(c) - y(a)) - (y(b) - y(a)) * (x(c) - x(a));
            return (cross > 0) - (cross < 0);
        };
        for (qsizetype i = 1; i < ring.size(); ++i) {
            const GisShapePoint& next = ring[i + 1 == ring.size() ? 1 : i + 1];
            EXPECT_EQ(turn(ring[i - 1], ring[i], next), 1);
            for (const GisShapePoint& p : points) {
                EXPECT_GE(turn(ring[i - 1], ring[i], p), 0);
            }
        }
    }
}

} // namespace
