#include "EditingTestShapes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>
#include <utility>

using namespace test;

namespace {

std::string wktOfPieces(const std::vector<std::unique_ptr<GisShape>>& shapes) {
    QStringList texts;
    for (const auto& shape : shapes) {
        EXPECT_TRUE(hasIdAndAttributes(*shape));
        texts += QString::fromStdString(test::wktOf(shape));
    }
    return texts.join(QStringLiteral("; ")).toStdString();
}

TEST(Loops, AreFoundAndRemoved) {
    struct Row {
        const char* name;
        const char* shape;
        const char* loops; ///< place, area and length of each
        double minArea;
        const char* rest;
    };
    const Row rows[] = {
        {"none", "LINESTRING(0 0,4 0,4 4)", "", 9, "LINESTRING (0 0,4 0,4 4)"},
        {"one", "LINESTRING(0 0,4 0,4 2,2 2,2 -4)", "2 0: 4, 8", 5, "LINESTRING (0 0,2 0,2 -4)"},
        {"too large", "LINESTRING(0 0,4 0,4 2,2 2,2 -4)", "2 0: 4, 8", 4, "LINESTRING (0 0,4 0,4 2,2 2,2 -4)"},
        {"at a vertex", "LINESTRING(0 0,2 0,4 0,4 2,2 2,2 0,2 -4)", "2 0: 4, 8", 5, "LINESTRING (0 0,2 0,2 -4)"},
        {"a lasso", "LINESTRING(0 0,4 0,4 2,2 2,2 0)", "2 0: 4, 8", 5, "LINESTRING (0 0,2 0)"},
        {"one on another", "LINESTRING(0 0,8 0,8 8,6 8,6 10,7 10,7 7,4 7,4 -1)", "7 8: 2, 6; 4 0: 29, 24", 10,
         "LINESTRING (0 0,8 0,8 8,7 8,7 7,4 7,4 -1)"},
        {"both", "LINESTRING(0 0,8 0,8 8,6 8,6 10,7 10,7 7,4 7,4 -1)", "7 8: 2, 6; 4 0: 29, 24", 30,
         "LINESTRING (0 0,4 0,4 -1)"},
        {"a small one that a large one hangs on stays",
         "LINESTRING(0 0,2 0,2 1,9 1,9 9,1.5 9,1.5 0.5,2.5 0.5,2.5 0.2,1 0.2,1 -1)", nullptr, 3, nullptr},
        {"a bow tie, the ring begins on the small side", "POLYGON((0 0,1 1,9 -7,9 9,0 0))", "", 99, nullptr},
        {"a tail at the first vertex", "POLYGON((-1 0,0 1,8 -7,8 9,-1 0))", nullptr, 1e9, nullptr},
        {"a ring with a small loop", "POLYGON((0 0,9 0,9 9,4 9,4 10,5 10,5 8,0 8,0 0))", "5 9: 1, 4", 2,
         "POLYGON ((0 0,9 0,9 9,5 9,5 8,0 8,0 0))"},
        {"a loop over the first vertex", "POLYGON((5 10,5 8,0 8,0 0,9 0,9 9,4 9,4 10,5 10))", "5 9: 1, 4", 2,
         "POLYGON ((5 8,0 8,0 0,9 0,9 9,5 9,5 8))"},
        {"a spike", "POLYGON((0 0,4 0,8 0,4 0,4 4,0 0))", "", 99, "POLYGON ((0 0,4 0,8 0,4 0,4 4,0 0))"},
        {"a point", "POINT(1 2)", "", 9, "POINT (1 2)"},
    };
    for (const Row& row : rows) {
        const auto shape = shapeOf(row.shape);
        QStringList loops;
        for (const auto& loop : GisTopology().FindLoops(*shape)) {
            loops +=
                QStringLiteral("%1 %2: %3, %4").arg(loop.place.x()).arg(loop.place.y()).arg(loop.area).arg(loop.length);
        }
        if (row.loops != nullptr) {
            EXPECT_EQ(loops.join(QStringLiteral("; ")).toStdString(), row.loops) << row.name;
        }
        const auto rest = GisTopology().RemoveLoops(*shape, row.minArea);
        if (row.rest != nullptr) {
            EXPECT_EQ(test::wktOf(rest), row.rest) << row.name;
        }
        EXPECT_TRUE(hasIdAndAttributes(*rest)) << row.name;
    }
}

/// Without a limit no loop stays, and nothing moves: what is left is made of old vertices and crossings.
TEST(Loops, AreAllGoneWithoutALimit) {
    Random random;
    const GisTopology topology;
    for (int round = 0; round < 300; ++round) {
        const auto line = shapeOfParts<GisShapePolyline>({random.walk(random.whole(4, 30), false)});
        const auto rest = topology.RemoveLoops(*line, std::numeric_limits<double>::infinity());
        SCOPED_TRACE(line->toWkt().toStdString());
        EXPECT_TRUE(topology.FindLoops(*rest).isEmpty()) << wktOf(rest);
        const auto places = topology.GetCrossings(*line);
        for (const GisShapePoint& vertex : static_cast<const GisShapePolyline&>(*rest).parts().constFirst()) {
            const auto isVertex = [&vertex](const GisShapePoint& p) {
                return p.x() == vertex.x() && p.y() == vertex.y();
            };
            const Part& old = std::as_const(*line).parts().constFirst();
            EXPECT_TRUE(std::any_of(old.begin(), old.end(), isVertex) ||
                        std::any_of(places.begin(), places.end(), [&](const auto& c) { return isVertex(c.point); }));
        }
    }
}

/// Places about as far apart as the tolerance, on a line alone and beside so many crossings that these are not
/// kept but looked for again.
TEST(Loops, DoNotDependOnTheSearch) {
    Random random;
    const auto textOf = [](const auto& loops) {
        QString text;
        for (const auto& loop : loops) {
            text += QStringLiteral("%1 %2, %3; ").arg(loop.place.x()).arg(loop.place.y()).arg(loop.area);
        }
        return text.toStdString();
    };
    for (int round = 0; round < 8; ++round) {
        const auto line = std::make_unique<GisShapePolyline>();
        for (int i = 0; i < 120; ++i) {
            line->parts().resize(i / 20 + 1);
            line->parts().last().append(
                {random.whole(0, 2) + 1e-10 * random.whole(0, 9), random.whole(0, 2) + 1e-10 * random.whole(0, 9)});
        }
        const auto alone = GisTopology().FindLoops(*line);
        for (int i = 0; i < 300; ++i) {
            line->parts().append({{10.0 + i, 9}, {10.0 + i, 300}});
            line->parts().append({{9, 10.0 + i}, {300, 10.0 + i}});
        }
        EXPECT_EQ(textOf(GisTopology().FindLoops(*line)), textOf(alone)) << "seed " << seed() << " round " << round;
    }
}

TEST(Splits, OfLines) {
    const GisTopology topology;
    const char* const corner = "MULTILINESTRING((0 0,4 0,4 4),(9 9,9 8))";
    const struct {
        const char* name;
        const char* line;
        Part points;
        const char* expected;
    } rows[] = {
        {"nowhere", corner, {}, "LINESTRING (0 0,4 0,4 4); LINESTRING (9 9,9 8)"},
        {"in any order",
         corner,
         {{3, 0}, {1, 0}, {3, 0}},
         "LINESTRING (0 0,1 0); LINESTRING (1 0,3 0); LINESTRING (3 0,4 0,4 4); LINESTRING (9 9,9 8)"},
        {"at a vertex", corner, {{4, 0}}, "LINESTRING (0 0,4 0); LINESTRING (4 0,4 4); LINESTRING (9 9,9 8)"},
        {"at the ends",
         corner,
         {{0, 0}, {4, 4}, {2, 1}, {}, {std::nan(""), 0}},
         "LINESTRING (0 0,4 0,4 4); LINESTRING (9 9,9 8)"},
        {"the second part",
         corner,
         {{9, 8.5}},
         "LINESTRING (0 0,4 0,4 4); LINESTRING (9 9,9 8.5); LINESTRING (9 8.5,9 8)"},
        {"an end stored thrice", "LINESTRING(0 0,4 0,4 0,4 0)", {{4, 0}}, "LINESTRING (0 0,4 0,4 0,4 0)"},
        {"beside an end", "LINESTRING(0 0,4 0,4 1e-10)", {{4, 0}}, "LINESTRING (0 0,4 0,4 0.0000000001)"},
        {"beside each other",
         "LINESTRING(0 0,4 0)",
         {{2, 0}, {2 + 4e-10, 0}},
         "LINESTRING (0 0,2 0); LINESTRING (2 0,4 0)"},
        {"forth and back",
         "LINESTRING(0 0,4 0,0 0)",
         {{1, 0}},
         "LINESTRING (0 0,1 0); LINESTRING (1 0,4 0,1 0); LINESTRING (1 0,0 0)"},
        {"inside a corner, farther from it than from its sides",
         "LINESTRING(0 0,4 0,4 4)",
         {{4 - 9e-10, 9e-10}},
         "LINESTRING (0 0,3.9999999990999999 0); LINESTRING (3.9999999990999999 0,4 0,4 4)"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(wktOfPieces(topology.SplitAtPoints(*shapeOf(row.line), row.points)), row.expected) << row.name;
    }
    const struct {
        const char* name;
        const char* line;
        const char* by; ///< null: itself
        const char* expected;
    } lines[] = {
        {"by a ring", corner, "POLYGON((1 -1,5 -1,5 3,1 3,1 -1))",
         "LINESTRING (0 0,1 0); LINESTRING (1 0,4 0,4 3); LINESTRING (4 3,4 4); LINESTRING (9 9,9 8)"},
        {"at an end stored twice", "LINESTRING(0 0,4 0,4 0)", "LINESTRING(4 -1,4 1)", "LINESTRING (0 0,4 0,4 0)"},
        {"a loop", "LINESTRING(0 0,4 0,4 2,2 2,2 -4)", nullptr,
         "LINESTRING (0 0,2 0); LINESTRING (2 0,4 0,4 2,2 2,2 0); LINESTRING (2 0,2 -4)"},
        {"a turn stored twice", "LINESTRING(2 2,0 2,2 2,1 1,1 1,2 2)", nullptr,
         "LINESTRING (2 2,0 2); LINESTRING (0 2,2 2); LINESTRING (2 2,1 1); LINESTRING (1 1,1 1,2 2)"},
    };
    for (const auto& row : lines) {
        const auto line = shapeOf(row.line);
        EXPECT_EQ(wktOfPieces(row.by != nullptr ? topology.SplitByLine(*line, *shapeOf(row.by))
                                                : topology.SplitAtSelfCrossings(*line)),
                  row.expected)
            << row.name;
    }
}

/// Each time that a way is gone, the line across it meets it a rounding apart.
TEST(Splits, OfAWayGoneTwiceAndCrossed) {
    const auto pieces = GisTopology().SplitAtSelfCrossings(*shapeOf("LINESTRING(4 2,1 2,2 4,4 1,4 2,1 2)"));
    ASSERT_EQ(pieces.size(), 6U);
    std::set<std::pair<double, double>> ends;
    for (const auto& piece : pieces) {
        const Part& part = static_cast<const GisShapePolyline&>(*piece).parts().constFirst();
        EXPECT_GT(GisTopology::Length(*piece), 0.1);
        ends.insert({part.constFirst().x(), part.constFirst().y()});
        ends.insert({part.constLast().x(), part.constLast().y()});
    }
    EXPECT_EQ(ends.size(), 3U);
}

TEST(Splits, OfPolygons) {
    const struct {
        const char* name;
        const char* polygon;
        const char* line;
        QList<double> areas;
    } rows[] = {
        {"in two", "POLYGON((0 0,4 0,4 4,0 4,0 0))", "LINESTRING(1 -1,1 5)", {4, 12}},
        {"in four", "POLYGON((0 0,4 0,4 4,0 4,0 0))", "MULTILINESTRING((1 -1,1 5),(-1 2,5 2))", {2, 2, 6, 6}},
        {"not through", "POLYGON((0 0,4 0,4 4,0 4,0 0))", "LINESTRING(1 -1,1 3)", {16}},
        {"along an edge", "POLYGON((0 0,4 0,4 4,0 4,0 0))", "LINESTRING(0 0,4 0)", {16}},
        {"through a hole", "POLYGON((0 0,4 0,4 4,0 4,0 0),(1 1,1 3,3 3,3 1,1 1))", "LINESTRING(2 -1,2 5)", {6, 6}},
        {"beside a hole", "POLYGON((0 0,9 0,9 4,0 4,0 0),(1 1,1 3,3 3,3 1,1 1))", "LINESTRING(5 -1,5 5)", {16, 16}},
        {"round a hole and inside it",
         "POLYGON((0 0,4 0,4 4,0 4,0 0),(1 1,1 3,3 3,3 1,1 1))",
         "LINESTRING(0.5 0.5,3.5 0.5,3.5 3.5,0.5 3.5,0.5 0.5,3 3)",
         {5, 7}},
        {"two shells, one cut",
         "POLYGON((0 0,4 0,4 4,0 4,0 0),(6 0,8 0,8 2,6 2,6 0))",
         "LINESTRING(7 -1,7 5)",
         {2, 2, 16}},
        {"a bow tie", "POLYGON((0 0,4 4,4 0,0 4,0 0))", "LINESTRING(1 -1,1 5)", {1, 3, 4}},
        {"by a loop, of which a part fills the hole",
         "POLYGON((0 0,4 0,4 4,0 4,0 0))",
         "LINESTRING(1 1,3 1,3 3,1 3,1 1,1 3)",
         {4, 12}},
        {"by a broken line", "POLYGON((0 0,4 0,4 4,0 4,0 0))", "LINESTRING(1 -1,1 5,3 5,3 -1)", {4, 4, 8}},
    };
    for (const auto& row : rows) {
        QList<double> areas;
        for (const auto& piece : GisTopology().SplitByLine(*shapeOf(row.polygon), *shapeOf(row.line))) {
            EXPECT_TRUE(hasIdAndAttributes(*piece)) << row.name;
            EXPECT_TRUE(geometryOf(*piece)->IsValid()) << row.name;
            areas.append(GisTopology::Area(*piece));
        }
        std::sort(areas.begin(), areas.end());
        EXPECT_EQ(areas, row.areas) << row.name;
    }
}

/// Edges of 45 degrees through places that rounding has set apart.
TEST(Splits, OfTrianglesByLinesThroughOnePlace) {
    const struct {
        const char* polygon;
        const char* line;
        int pieces;
    } rows[] = {
        {"POLYGON((10 5,2.5 2.5,7.5 2.5,10 5))", "MULTILINESTRING((10 -1.25,5 8.75),(-1.25 7.5,8.75 2.5))", 3},
        {"POLYGON((-2 1,-4 -1,-2 -31,-2 1))", "MULTILINESTRING((-10 16,12 -31),(-3 -8,-2 17))", 2},
        {"POLYGON((3 0,-1 -0.99999999999999978,-9 5,3 0))",
         "MULTILINESTRING((-20 -22,45 43),(-1 0,7 -0.99999999999999978))", 2},
    };
    for (const auto& row : rows) {
        const auto polygon = shapeOf(row.polygon);
        const auto pieces = GisTopology().SplitByLine(*polygon, *shapeOf(row.line));
        double area = 0;
        for (const auto& piece : pieces) {
            area += GisTopology::Area(*piece);
        }
        EXPECT_NEAR(area, GisTopology::Area(*polygon), 1e-12) << row.polygon;
        EXPECT_EQ(static_cast<int>(pieces.size()), row.pieces) << row.polygon;
    }
}

/// Too thin for a grid of twelve digits.
TEST(Splits, OfASliverFarOut) {
    const auto sliver =
        shapeOf("POLYGON((6540149.242492058314 1504096.221499327570,6540156.548040433787 1504086.799783973023,"
                "6540163.853589290753 1504077.378068618476,6540163.651694294997 1504077.638441753574,"
                "6540154.359315072186 1504089.622504205210,6540147.426167348400 1504098.563947394025,"
                "6540149.242492058314 1504096.221499327570))");
    const auto line =
        shapeOf("LINESTRING(6540158.287083914504 1504084.557001335779,6540154.663127984852 1504089.230690937024,"
                "6540162.634722222574 1504078.950003814651,6540147.950766697526 1504097.887393871089)");
    double area = 0;
    for (const auto& piece : GisTopology().SplitByLine(*sliver, *line)) {
        area += GisTopology::Area(*piece);
    }
    EXPECT_NEAR(area, GisTopology::Area(*sliver), 1e-6);
    EXPECT_GT(area, 5e-5);
}

/// Pieces as thin as rounding are pieces, not holes of their neighbours.
TEST(Splits, ByALineThatFollowsTheBoundary) {
    Random random;
    for (int round = 0; round < 60; ++round) {
        const double noise = std::pow(10.0, -random.between(3, 9));
        QList<GisShapePoint> ring;
        QList<GisShapePoint> line;
        for (int i = 0; i < 40; ++i) {
            const double angle = 2 * M_PI * i / 40;
            const double radius = random.between(30, 50);
            ring.append({std::round((4e5 + radius * std::cos(angle)) * 100) / 100,
                         std::round((5.8e6 + radius * std::sin(angle)) * 100) / 100});
            if (i > 10) {
                line.append(
                    {ring.last().x() + random.between(-noise, noise), ring.last().y() + random.between(-noise, noise)});
            }
        }
        ring.append(GisShapePoint(ring.constFirst()));
        const auto polygon = shapeOfParts<GisShapePolygon>({ring, {{4e5, 5.8e6}, {4e5, 5800001}, {400001, 5.8e6}}});
        double area = 0;
        for (const auto& piece : GisTopology().SplitByLine(*polygon, *shapeOfParts<GisShapePolyline>({line}))) {
            ASSERT_TRUE(GisTopology().CheckShape(*piece).isEmpty()) << "seed " << seed() << ", round " << round;
            area += GisTopology::Area(*piece);
        }
        ASSERT_NEAR(area, GisTopology::Area(*polygon), 1e-5) << "seed " << seed() << ", round " << round;
    }
}

TEST(Splits, OfPolygonsOfAnySize) {
    for (const int exponent : {-1060, -660, -340, 0, 340, 660, 1015}) {
        const auto size = [exponent](double value) { return std::ldexp(value, exponent); };
        const auto square = shapeOfParts<GisShapePolygon>({{{0, 0}, {size(4), 0}, {size(4), size(4)}, {0, size(4)}}});
        const auto line = shapeOfParts<GisShapePolyline>({{{size(1), size(-1)}, {size(1), size(5)}}});
        QList<double> areas;
        for (const auto& piece : GisTopology().SplitByLine(*square, *line)) {
            for (GisShapePoint& vertex : static_cast<GisShapePolygon&>(*piece).parts().first()) {
                vertex = GisShapePoint(std::ldexp(vertex.x(), -exponent), std::ldexp(vertex.y(), -exponent));
            }
            areas.append(GisTopology::Area(*piece));
        }
        std::sort(areas.begin(), areas.end());
        EXPECT_EQ(areas, QList<double>({4, 12})) << exponent;
    }
}

/// Of which GEOS takes 20 s to say that the faces are valid.
TEST(Splits, OfAStar) {
    const auto star = shapeOfParts<GisShapePolygon>({spikes(10'000, 5, 10)});
    const auto pieces = GisTopology().SplitByLine(*star, *shapeOf("LINESTRING(-20 0.1,20 0.3)"));
    double area = 0;
    for (const auto& piece : pieces) {
        area += GisTopology::Area(*piece);
    }
    EXPECT_EQ(pieces.size(), 66U);
    EXPECT_NEAR(area, GisTopology::Area(*star), 1e-9);
}

/// Less is rounding, of which each makes its own.
constexpr double leastArea = 1e-9;

/// How many faces in the polygon GEOS makes of its outline and the whole of a line.
int facesOf(const GisShapePolygon& polygon, const GisShapePolyline& line) {
    GisShapePolyline outline;
    outline.parts() = polygon.parts();
    const Geometry noded(geometryOf(outline)->Union(geometryOf(line).get()));
    const Geometry faces(noded->Polygonize());
    int count = 0;
    for (OGRGeometry* face : *faces->toGeometryCollection()) {
        QByteArray bytes(static_cast<qsizetype>(face->WkbSize()), '\0');
        face->exportToWkb(wkbNDR, reinterpret_cast<unsigned char*>(bytes.data()));
        GisShapePolygon shape;
        shape.fromWkb(bytes);
        if (GisTopology::Area(shape) < leastArea) {
            continue;
        }
        const GisShapePoint inside = GisTopology::PointOnSurface(shape);
        const auto isAround = [&inside](const Part& ring) { return GisShapePolygon::pointInPolygon(inside, ring); };
        count += std::count_if(polygon.parts().begin(), polygon.parts().end(), isAround) % 2 != 0 ? 1 : 0;
    }
    return count;
}

TEST(Splits, SumToTheWhole) {
    Random random;
    const GisTopology topology;
    for (int round = 0; round < 100; ++round) {
        const auto line = shapeOfParts<GisShapePolyline>({random.walk(random.whole(2, 12), round % 2 == 0)});
        const auto cutter = shapeOfParts<GisShapePolyline>({random.walk(random.whole(2, 12), round % 2 == 0)});
        SCOPED_TRACE(QStringLiteral("%1 by %2").arg(line->toWkt(), cutter->toWkt()).toStdString());
        double length = 0;
        for (const auto& piece : topology.SplitByLine(*line, *cutter)) {
            length += GisTopology::Length(*piece);
            for (const auto& c : topology.GetCrossings(*piece, *cutter)) { // cut already, unless at a spike's tip
                EXPECT_NE(c.kind, Topology::GisCrossingKind::Crossing) << wktOf(piece);
            }
        }
        EXPECT_NEAR(length, GisTopology::Length(*line), 1e-9);
        const auto polygon = shapeOfParts<GisShapePolygon>(
            {random.star(0, 0, 9, 24), random.star(0, 0, 2.5, 9), random.star(10, 5, 1, 5), random.star(20, 0, 5, 5)});
        double area = 0;
        const auto pieces = topology.SplitByLine(*polygon, *cutter);
        int large = 0;
        for (const auto& piece : pieces) {
            EXPECT_TRUE(topology.CheckShape(*piece).isEmpty());
            area += GisTopology::Area(*piece);
            large += GisTopology::Area(*piece) < leastArea ? 0 : 1;
        }
        EXPECT_EQ(large, facesOf(*polygon, *cutter));
        EXPECT_NEAR(area, GisTopology::Area(*polygon), 1e-9);
    }
}

} // namespace
