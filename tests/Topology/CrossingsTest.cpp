#include "EditingTestShapes.h"

#include <gtest/gtest.h>

using namespace test;
using namespace Cartolith::Core::Topology;

namespace {

/// "X(x y)@part:place", with X crossing, V vertex, E end, < and > a stretch; the place is segment plus fraction.
std::string textOf(const QList<GisCrossing>& crossings) {
    QStringList texts;
    for (const GisCrossing& c : crossings) {
        texts += QStringLiteral("%1(%2 %3)@%4:%5")
                     .arg(QChar::fromLatin1("XVE<>"[static_cast<int>(c.kind)]))
                     .arg(c.point.x())
                     .arg(c.point.y())
                     .arg(c.position.part)
                     .arg(c.position.segment + c.position.fraction);
    }
    return texts.join(QStringLiteral(", ")).toStdString();
}

TEST(Crossings, OfTwoShapes) {
    struct Row {
        const char* name;
        const char* a;
        const char* b;
        const char* expected;
    };
    const Row rows[] = {
        {"inside segments", "LINESTRING(0 0,4 0,4 4)", "LINESTRING(3 -1,3 1,5 1)", "X(3 0)@0:0.75, X(4 1)@0:1.25"},
        {"at a vertex of each", "LINESTRING(0 0,2 0,4 0)", "LINESTRING(2 -1,2 0,2 1)", "V(2 0)@0:1"},
        {"at a vertex of one", "LINESTRING(0 0,4 0)", "LINESTRING(2 -1,2 0,2 1)", "V(2 0)@0:0.5"},
        {"an end on the inside", "LINESTRING(0 0,4 0)", "LINESTRING(1 0,1 5)", "E(1 0)@0:0.25"},
        {"end to end", "LINESTRING(0 0,4 0)", "LINESTRING(4 0,4 5)", "E(4 0)@0:1"},
        {"a point on a line", "POINT(1 0)", "LINESTRING(0 0,4 0)", "E(1 0)@0:0"},
        {"a point on a point", "POINT(1 0)", "POINT(1 0)", "E(1 0)@0:0"},
        {"a point in a polygon", "POINT(3 1)", "POLYGON((0 0,4 0,4 4,0 0))", ""},
        {"a stretch of several segments", "LINESTRING(0 0,2 0,4 0,6 0)", "LINESTRING(5 0,3 0,1 0,1 1)",
         "<(1 0)@0:0.5, >(5 0)@0:2.5"},
        {"two stretches", "LINESTRING(0 0,9 0)", "LINESTRING(1 0,2 0,2 1,3 1,3 0,4 0)",
         "<(1 0)@0:0.111111, >(2 0)@0:0.222222, <(3 0)@0:0.333333, >(4 0)@0:0.444444"},
        {"a crossing on a stretch", "LINESTRING(0 0,8 0)", "MULTILINESTRING((1 0,7 0),(4 -1,4 1))",
         "<(1 0)@0:0.125, X(4 0)@0:0.5, >(7 0)@0:0.875"},
        {"a crossing at the end of a stretch", "LINESTRING(0 0,4 0)", "LINESTRING(1 0,2 0,2 1,2 -1)",
         "<(1 0)@0:0.25, >(2 0)@0:0.5"},
        {"a crossing at its start, over the first vertex", "POLYGON((0 0,4 0,4 4,0 4,0 0))",
         "MULTILINESTRING((0 0,2 0),(-1 -1,1 1))", "<(0 0)@0:0, >(2 0)@0:0.5"},
        {"a stretch over the first vertex", "POLYGON((0 0,4 0,4 4,0 4,0 0))", "LINESTRING(0 2,0 0,2 0)",
         ">(2 0)@0:0.5, <(0 2)@0:3.5"},
        {"the same ring", "POLYGON((0 0,4 0,4 4,0 0))", "POLYGON((4 0,4 4,0 0,4 0))", "<(0 0)@0:0, >(0 0)@0:3"},
        {"at the first vertex of a ring, once", "POLYGON((0 0,4 1,4 4,0 0))", "LINESTRING(-1 0,1 0)", "V(0 0)@0:0"},
        {"a place passed twice", "LINESTRING(0 0,4 0,4 4,2 4,2 -4)", "LINESTRING(1 -1,3 1)",
         "X(2 0)@0:0.5, X(2 0)@0:3.5"},
        {"several parts", "MULTILINESTRING((0 0,4 0),(0 2,4 2))", "LINESTRING(1 -1,1 3)",
         "X(1 0)@0:0.25, X(1 2)@1:0.25"},
        {"apart", "LINESTRING(0 0,4 0)", "LINESTRING(0 1,4 1)", ""},
    };
    for (const Row& row : rows) {
        const auto a = shapeOf(row.a);
        const auto b = shapeOf(row.b);
        EXPECT_EQ(textOf(GisTopology().GetCrossings(*a, *b)), row.expected) << row.name;
    }
}

TEST(Crossings, OfOneShapeWithItself) {
    struct Row {
        const char* name;
        const char* shape;
        const char* expected;
    };
    const Row rows[] = {
        {"a plain ring", "POLYGON((0 0,4 0,4 4,0 0))", ""},
        {"a bow tie", "POLYGON((0 0,4 4,4 0,0 4,0 0))", "X(2 2)@0:0.5"},
        {"a loop", "LINESTRING(0 0,4 0,4 4,2 4,2 -4)", "X(2 0)@0:0.5"},
        {"a lasso", "LINESTRING(0 0,4 0,4 4,2 0)", "E(2 0)@0:0.5"},
        {"through a vertex", "LINESTRING(0 0,2 0,4 0,4 4,2 4,2 0,2 -4)", "V(2 0)@0:1"},
        {"a spike", "LINESTRING(0 0,4 0,2 0,2 5)", "<(2 0)@0:0.5, >(4 0)@0:1"},
        {"repeated vertices", "LINESTRING(0 0,4 0,4 0,4 0,4 4)", ""},
        {"parts", "MULTILINESTRING((0 0,4 0),(1 -1,1 3))", "X(1 0)@0:0.25"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(textOf(GisTopology().GetCrossings(*shapeOf(row.shape))), row.expected) << row.name;
    }
}

TEST(Crossings, MergeWithinTheTolerance) {
    const auto line = shapeOf("LINESTRING(0 0,10 0)");
    const auto comb = shapeOf("MULTILINESTRING((5 -1,5 1),(5.4 -1,5.4 1),(7 -1,7 1),(9.8 -1,9.8 1))");
    GisTopology topology;
    topology.SetTolerance(0.5);
    EXPECT_EQ(textOf(topology.GetCrossings(*line, *comb)), "X(5 0)@0:0.5, X(7 0)@0:0.7, E(10 0)@0:1");
}

/// Every crossing lies on both shapes, they are in order, and none is missing where two segments meet.
TEST(Crossings, AgreeWithEachPairOfSegments) {
    Random random;
    const GisTopology topology;
    for (int round = 0; round < 400; ++round) {
        const bool onGrid = round % 2 == 0;
        const auto a =
            shapeOfParts<GisShapePolyline>({random.walk(random.whole(1, 8), onGrid), random.walk(3, onGrid)});
        const auto b = shapeOfParts<GisShapePolygon>({random.walk(random.whole(2, 8), onGrid)});
        Part& ring = b->parts().first();
        ring.append(GisShapePoint(ring.constFirst()));
        const QList<GisCrossing> crossings = topology.GetCrossings(*a, *b);
        SCOPED_TRACE(QStringLiteral("seed %1: %2 %3").arg(seed()).arg(a->toWkt(), b->toWkt()).toStdString());
        double last = -1;
        for (const GisCrossing& c : crossings) {
            EXPECT_TRUE(GisTopology::PointOnBoundary(*a, c.point, 1e-7));
            EXPECT_TRUE(GisTopology::PointOnBoundary(*b, c.point, 1e-7));
            const double place = 1000 * c.position.part + c.position.segment + c.position.fraction;
            EXPECT_LE(last, place);
            last = place;
        }
        for (const Part& line : a->parts()) {
            for (qsizetype i = 1; i < line.size(); ++i) {
                for (qsizetype j = 1; j < ring.size(); ++j) {
                    GisShapePoint p;
                    if (!GisTopology::ProperSegmentIntersection(line[i - 1], line[i], ring[j - 1], ring[j], 1e-9)) {
                        continue;
                    }
                    GisTopology::SegmentIntersectionPoint(line[i - 1], line[i], ring[j - 1], ring[j], 1e-9, &p);
                    EXPECT_TRUE(std::any_of(crossings.begin(), crossings.end(), [&](const GisCrossing& c) {
                        return GisTopology::SamePoint(c.point, p, 1e-7);
                    })) << p.toWkt().toStdString();
                }
            }
        }
    }
}

} // namespace
