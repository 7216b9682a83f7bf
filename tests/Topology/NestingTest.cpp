// Shells and holes told apart, by the operations that need it, against structures that are known.

#include "EditingTestShapes.h"

#include <gtest/gtest.h>
#include <ogr_api.h>

#include <algorithm>
#include <functional>

using namespace test;

namespace {

/// Rings, each with the number of those around it.
struct Structure {
    QList<Part> rings;
    QList<int> depths;

    void add(Part ring, int depth) {
        rings.append(std::move(ring));
        depths.append(depth);
    }
    /// By GEOS, which is told what is a shell and what a hole.
    double area() const {
        double sum = 0;
        for (qsizetype i = 0; i < rings.size(); ++i) {
            const double ring = geometryOf(*shapeOfParts<GisShapePolygon>({rings[i]}))->toPolygon()->get_Area();
            sum += depths[i] % 2 == 0 ? ring : -ring;
        }
        return sum;
    }
    /// The rings in any order, from any vertex, either way round.
    std::unique_ptr<GisShapePolygon> polygon(Random& random) const {
        QList<Part> parts = rings;
        for (qsizetype i = parts.size(); i > 0; --i) {
            Part& part = parts[i - 1];
            part.removeLast();
            std::rotate(part.begin(), part.begin() + random.whole(0, static_cast<int>(part.size()) - 1), part.end());
            if (random.whole(0, 1) == 0) {
                std::reverse(part.begin(), part.end());
            }
            part.append(GisShapePoint(part.constFirst()));
            parts.swapItemsAt(i - 1, random.whole(0, static_cast<int>(i) - 1));
        }
        return shapeOfParts<GisShapePolygon>(parts);
    }
};

double offByUlp(Random& random, double value) {
    const int way = random.whole(-1, 1);
    return way == 0 ? value : std::nextafter(value, way * 1e300);
}

/// Triangles in the ring, which is convex, and in those, that touch the one around them in a vertex or
/// somewhere on an edge, as exactly as numbers can or an ulp beside.
void addTouching(Structure& all, const Part& around, int depth, int deepest, Random& random) {
    const int corners = static_cast<int>(around.size()) - 1;
    GisShapePoint middle(0, 0);
    for (int i = 0; i < corners; ++i) {
        middle = GisShapePoint(middle.x() + around[i].x() / corners, middle.y() + around[i].y() / corners);
    }
    const auto between = [](const GisShapePoint& a, const GisShapePoint& b, double t) {
        return GisShapePoint(a.x() + t * (b.x() - a.x()), a.y() + t * (b.y() - a.y()));
    };
    const int touching = random.whole(1, 2);
    const int first = random.whole(0, corners - 1);
    Part ring;
    for (int i = 0; i < 3; ++i) {
        const int edge = (first + i) % corners;
        GisShapePoint p = between(around[edge], around[edge + 1],
                                  random.whole(0, 4) == 0   ? 0
                                  : random.whole(0, 2) == 0 ? 0.5
                                                            : random.between(0.2, 0.8));
        if (i >= touching) {
            p = between(p, middle, random.between(0.1, 0.5));
        } else {
            p = GisShapePoint(offByUlp(random, p.x()), offByUlp(random, p.y()));
        }
        ring.append(p);
    }
    ring.append(GisShapePoint(ring.constFirst()));
    all.add(ring, depth);
    if (depth < deepest) {
        addTouching(all, ring, depth + 1, deepest, random);
    }
}

TEST(Nesting, KnownStructures) {
    const char* const square = "(0 0,9 0,9 9,0 9,0 0)";
    const char* const hole = "(2 2,2 8,8 8,8 2,2 2)";
    const struct {
        const char* name;
        std::string rings;
        double area;
        int shells;
    } rows[] = {
        {"a hole whose first vertex is on an edge of its shell, about",
         "(29.8 51.4,65.9 78.9,98.9 74.5,29.8 51.4),(47.85000000000001 65.15000000000001,55.9 69.3,56.8 64.2,"
         "47.85000000000001 65.15000000000001)",
         510.775, 1},
        {"triangles that touch", "(3 5,3.5 3,5 4,3 5),(3.35 3.6,3.05 3.5,3.05 3.4,3.35 3.6)", 1.765, 2},
        {"all vertices on the shell", std::string(square) + ",(0 4,4 0,9 4,4 9,0 4)", 81 - 40.5, 1},
        {"all vertices on the shell, outside", "(0 0,9 0,9 9,8 9,8 1,1 1,1 9,0 9,0 0),(1 9,8 9,4.5 5,1 9)", 25 + 14, 2},
        {"a shell in the bay of another", "(0 0,9 0,9 9,8 9,8 1,1 1,1 9,0 9,0 0),(2 2,7 2,7 8,2 8,2 2)", 25 + 30, 2},
        {"along two edges", std::string(square) + ",(0 0,5 0,5 5,0 5,0 0)", 81 - 25, 1},
        {"neighbours along an edge", std::string(square) + ",(9 0,18 0,18 9,9 9,9 0)", 162, 2},
        {"the same twice", std::string(square) + "," + square, 162, 2},
        {"the same twice, of other vertices",
         std::string(square) + ",(9 9,9 4.1,9 3,9 0,0 0,0 9,9 9),(0 0,0 4,0 9,7.7 9,9 9,9 0,0 0)", 243, 3},
        {"a copy off by a rounding that has the same size",
         "(0 0,1 0,1 1,0 1,0 0),(0 0,1 0,1 1,0 1.0000000000000002,0 0)", 0, 1},
        {"a ring in two such copies",
         "(0 0,9 0,9 9,0 9,0 0),(0 0,9 0,9 9,0 9.0000000000000018,0 0),(1 1,2 1,2 2,1 2,1 1)", 1, 2},
        {"a hole in what is there twice", std::string(square) + "," + square + ",(1 1,2 1,2 2,1 2,1 1)", 161, 2},
        {"a part that fills a hole", std::string(square) + "," + hole + ",(8 2,8 8,2 8,2 2,8 2)", 81, 2},
        {"most of a ring", std::string(square) + ",(1 -1,2 -1,2 5,1 5,1 -1)", 81 - 6, 1},
        {"most of a ring, but for a long arm",
         std::string(square) + ",(1 1,3 1,3 8,1 8,1 4.5,-14 4.5,-14 4.3,1 4.3,1 1)", 81 - 17, 1},
        {"less than half of it", std::string(square) + ",(1 -6,2 -6,2 5,1 5,1 -6)", 81 + 11, 2},
        {"out of the box by an ulp", std::string(square) + ",(-5e-324 3,3 2,9.0000000000000018 3,3 4,-5e-324 3)",
         81 - 9, 1},
        {"nothing halfway up that a double could tell",
         "(1000 1000,1010 1000,1010 1010,1000 1010,1000 1000),(1008.2 1001.9,1008.3126451832087 "
         "1005.7862588207008,1007.8 1008.8,1008.8 1008.8,1008.3126451832088 1005.7862588207008,1008.2 1001.9)",
         98.4931294, 1},
        {"two holes with a bridge of no width",
         "(0 0,10 0,10 10,0 10,0 0),(2 1,2 3,2.5 3,2.5 7,2 7,2 9,3 9,3 7,2.5 7,2.5 3,3 3,3 1,2 1)", 96, 1},
        {"thinner than rounding",
         "(1e9 1e9,1000000009 1e9,1000000009 1000000009,1e9 1000000009,1e9 1e9),(1000000001 1000000001,"
         "1000000001.0000002 1000000002,1000000001 1000000003,1000000001 1000000001)",
         81 - 2.384185791015625e-07, 1},
        {"flat", std::string(square) + ",(1 1,2 2,3 3,1 1)", 81, 2},
    };
    Random random;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto polygon = shapeOf(("POLYGON(" + row.rings + ")").c_str());
        EXPECT_NEAR(GisTopology::Area(*polygon), row.area, 1e-9 * row.area);
        const auto oriented = GisTopology::OrientRings(static_cast<const GisShapePolygon&>(*polygon));
        const auto isShell = [](const Part& ring) {
            return geometryOf(*shapeOfParts<GisShapePolygon>({ring}))->toPolygon()->getExteriorRing()->isClockwise() ==
                   0;
        };
        EXPECT_EQ(std::count_if(oriented->parts().begin(), oriented->parts().end(), isShell), row.shells);
    }
}

Part squareOf(double x, double y, double side) {
    return {{x, y}, {x + side, y}, {x + side, y + side}, {x, y + side}, {x, y}};
}

/// Multipolygons of which parts are stored several times and parts fill holes of others, by their union.
TEST(Nesting, OfCopies) {
    Random random;
    const GisTopology topology;
    for (int round = 0; round < 500; ++round) {
        std::vector<QList<Part>> polygons; // a shell that runs counterclockwise, and its hole that does not
        for (int i = random.whole(1, 3); i > 0; --i) {
            const int side = random.whole(0, 3) == 0 ? 3 : 9; // the inner one fills the hole of the outer
            polygons.push_back({squareOf(-side, -side, 2 * side)});
            if (random.whole(0, 1) == 0) {
                Part hole = squareOf(-side / 3, -side / 3, 2 * (side / 3));
                std::reverse(hole.begin(), hole.end());
                polygons.back().append(hole);
            }
            polygons.insert(polygons.end(), static_cast<std::size_t>(random.whole(0, 2)), polygons.back());
        }
        const auto isLarge = [](const QList<Part>& polygon) { return polygon[0][0].x() == -9; };
        if (std::none_of(polygons.begin(), polygons.end(),
                         [&](const auto& polygon) { return isLarge(polygon) && polygon.size() > 1; })) {
            continue; // what is in none of their holes looks like one
        }
        OGRMultiPolygon known;
        QList<Part> parts;
        const bool isClockwise = random.whole(0, 1) == 0;
        for (std::size_t i = polygons.size(); i > 0; --i) {
            std::swap(polygons[i - 1], polygons[static_cast<std::size_t>(random.whole(0, static_cast<int>(i) - 1))]);
            known.addGeometryDirectly(geometryOf(*shapeOfParts<GisShapePolygon>(polygons[i - 1])).release());
            for (Part ring : polygons[i - 1]) {
                ring.removeLast();
                std::rotate(ring.begin(), ring.begin() + random.whole(0, 3), ring.end());
                ring.append(GisShapePoint(ring.constFirst()));
                if (isClockwise) {
                    std::reverse(ring.begin(), ring.end());
                }
                parts.append(ring);
            }
        }
        const auto polygon = shapeOfParts<GisShapePolygon>(parts);
        SCOPED_TRACE(QStringLiteral("seed %1 round %2 %3").arg(seed()).arg(round).arg(polygon->toWkt()).toStdString());
        const Geometry expected(known.UnionCascaded());
        ASSERT_EQ(GisTopology::Area(*topology.FixShape(*polygon).shape),
                  OGR_G_Area(OGRGeometry::ToHandle(expected.get())));
        const GisShapePoint inside = GisTopology::PointOnSurface(*polygon);
        const OGRPoint point(inside.x(), inside.y());
        ASSERT_TRUE(expected->Contains(&point));
        const QList<Part> written = GisTopology::OrientRings(*polygon)->parts();
        for (qsizetype i = 0; i < parts.size(); ++i) { // polygon by polygon, as before
            ASSERT_EQ(std::fabs(written[i][0].x()), std::fabs(parts[i][0].x()));
        }
    }
}

/// Where rounding has moved a vertex across an edge, the rings cross there and no reader would call them valid;
/// what is meant is the area that they had before.
TEST(Nesting, OfRingsThatTouch) {
    Random random;
    const GisTopology topology;
    int invalid = 0;
    for (int round = 0; round < 2000; ++round) {
        const double x = round % 3 == 0 ? 0 : random.between(-1e6, 1e6);
        Part shell = random.walk(3, false);
        for (GisShapePoint& p : shell) {
            p = GisShapePoint(x + p.x(), x / 3 + p.y());
        }
        shell.append(GisShapePoint(shell.constFirst()));
        if (GisTopology::Area(*shapeOfParts<GisShapePolygon>({shell})) < 1) {
            continue;
        }
        Structure all;
        all.add(shell, 0);
        addTouching(all, shell, 1, random.whole(1, 4), random);
        const auto polygon = all.polygon(random);
        SCOPED_TRACE(QStringLiteral("seed %1 round %2 %3").arg(seed()).arg(round).arg(polygon->toWkt()).toStdString());
        const double area = all.area();
        ASSERT_NEAR(GisTopology::Area(*polygon), area, 1e-9 * area + 1e-9);
        ASSERT_NEAR(GisTopology::Area(*GisTopology::OrientRings(*polygon)), area, 1e-9 * area + 1e-9);
        if (round % 5 != 0) {
            continue;
        }
        invalid += topology.CheckShape(*polygon).isEmpty() ? 0 : 1;
        ASSERT_NEAR(GisTopology::Area(*topology.FixShape(*polygon).shape), area, 1e-7 * area);
        ASSERT_NEAR(GisTopology::Area(*topology.Buffer(*polygon, 0)), area, 1e-4 * area); // slivers go
        const GisShapePoint inside = GisTopology::PointOnSurface(*polygon);
        ASSERT_EQ(std::count_if(all.rings.begin(), all.rings.end(),
                                [&](const Part& ring) { return GisShapePolygon::pointInPolygon(inside, ring); }) %
                      2,
                  1);
    }
    EXPECT_GT(invalid, 30);
}

/// In numbers that comparing each ring with each would take minutes for.
TEST(Nesting, OfManyRings) {
    constexpr int side = 200;
    struct Row {
        const char* name;
        std::function<void(Structure&)> make;
    };
    const Row rows[] = {
        {"side by side",
         [](Structure& all) {
             for (int i = 0; i < side * side; ++i) {
                 all.add(squareOf(i / side, i % side, 1), 0);
             }
         }},
        {"holes and islands in one",
         [](Structure& all) {
             all.add(squareOf(-1, -1, side + 2), 0);
             for (int i = 0; i < side * side; ++i) {
                 all.add(squareOf(i / side, i % side, 0.5), 1);
                 all.add(squareOf(i / side, i % side + 0.25, 0.25), 2);
             }
         }},
        {"one in another",
         [](Structure& all) {
             for (int i = 0; i < side * side; ++i) {
                 all.add(squareOf(-i, -i, 2 * i + 1), side * side - 1 - i);
             }
         }},
        {"one in another's corner",
         [](Structure& all) {
             for (int i = 0; i < side * side; ++i) {
                 all.add(squareOf(0, 0, i + 1), side * side - 1 - i);
             }
         }},
        {"slanted strips with holes",
         [](Structure& all) { // all boxes meet
             for (int i = 0; i < side * side; ++i) {
                 const double x = i * 0.05;
                 const double length = 100 + i % 97;
                 const auto strip = [&](double left, double right, double low, double high) {
                     return Part{{x + left + 0.37 * low, low},
                                 {x + right + 0.37 * low, low},
                                 {x + right + 0.37 * high, high},
                                 {x + left + 0.37 * high, high},
                                 {x + left + 0.37 * low, low}};
                 };
                 all.add(strip(0, 0.04, 0, length), 0);
                 all.add(strip(0.01, 0.03, 1, length - 1), 1);
             }
         }},
    };
    Random random;
    for (const Row& row : rows) {
        Structure all;
        row.make(all);
        const double area = all.area();
        EXPECT_NEAR(GisTopology::Area(*all.polygon(random)), area, 1e-12 * area) << row.name;
    }
}

} // namespace
