#include "TestSeed.h"

#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <random>
#include <utility>

using namespace Cartolith::Core::Shapes;

namespace {

using Vertices = QList<GisShapePoint>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

Vertices vertices(std::initializer_list<std::pair<double, double>> coordinates) {
    Vertices list;
    for (const auto& [x, y] : coordinates) {
        list.emplaceBack(x, y);
    }
    return list;
}

template <typename Shape>
Shape shapeOf(std::initializer_list<Vertices> parts) {
    Shape shape;
    shape.parts() = QList<Vertices>(parts);
    return shape;
}

const Vertices square = vertices({{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}});
const Vertices hole = vertices({{4, 4}, {4, 6}, {6, 6}, {6, 4}, {4, 4}});
const Vertices cShape = vertices({{0, 0}, {10, 0}, {10, 2}, {2, 2}, {2, 8}, {10, 8}, {10, 10}, {0, 10}, {0, 0}});

TEST(GisShape, CopyAttributesMergesIntoTheTarget) {
    GisShapePoint source(1, 2);
    source.setId(7);
    source.attributes() = {{"name", "a"}, {"pop", 3}};
    GisShapePolyline target;
    target.attributes() = {{"name", "old"}, {"kept", true}};
    source.copyAttributesTo(target);
    EXPECT_EQ(target.id(), 7);
    EXPECT_EQ(target.shapeType(), GisShapeType::Polyline);
    EXPECT_EQ(target.attributes(), (QHash<QString, QVariant>{{"name", "a"}, {"pop", 3}, {"kept", true}}));
}

TEST(GisShape, ClonesAreDeepAndKeepIdAndAttributes) {
    GisShapePoint point(1, 2);
    auto line = shapeOf<GisShapePolyline>({vertices({{0, 0}, {1, 1}})});
    auto polygon = shapeOf<GisShapePolygon>({square});
    for (GisShape* shape : std::initializer_list<GisShape*>{&point, &line, &polygon}) {
        shape->setId(7);
        shape->attributes().insert("name", "x");
        const auto copy = shape->clone();
        EXPECT_EQ(copy->id(), 7);
        EXPECT_EQ(copy->shapeType(), shape->shapeType());
        EXPECT_EQ(copy->attributes(), shape->attributes());
        copy->attributes().insert("name", "changed");
        EXPECT_EQ(shape->attributes().value("name"), "x");
    }
    const auto copy = line.clone();
    static_cast<GisShapePolyline&>(*copy).parts().first().first().setX(99);
    EXPECT_EQ(line.parts().first().first().x(), 0);
}

TEST(GisShapePoint, ContainsIsInclusiveAndRefusesNan) {
    struct Row {
        const char* name;
        GisShapePoint a, b;
        double tolerance;
        bool expected;
    };
    const Row rows[] = {
        {"exactly the tolerance", {0, 0}, {3, 4}, 5, true},
        {"one ulp short", {0, 0}, {3, 4}, std::nextafter(5.0, 0.0), false},
        {"same place, tolerance 0", {1, 1}, {1, 1}, 0, true},
        {"negative tolerance", {1, 1}, {1, 1}, -1, false},
        {"NaN tolerance", {1, 1}, {1, 1}, nan, false},
        {"empty against itself", {}, {}, 1e300, false},
        {"only y is NaN", {1, nan}, {1, 1}, 1e300, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.a.contains(row.b, row.tolerance), row.expected) << row.name;
    }
}

TEST(GisShapePoint, HasAPaddedExtent) {
    const GisExtent box = GisShapePoint(1, 2).extent();
    EXPECT_EQ(box.xMin(), 1 - 1e-9);
    EXPECT_EQ(box.yMin(), 2 - 1e-9);
    EXPECT_EQ(box.xMax(), 1 + 1e-9);
    EXPECT_EQ(box.yMax(), 2 + 1e-9);
    EXPECT_TRUE(GisShapePoint(1, 2).intersects(GisExtent(1 + 5e-10, 0, 3, 3)));
    EXPECT_TRUE(GisShapePoint(1, nan).isEmpty());
    EXPECT_TRUE(GisShapePoint(1, nan).extent().isEmpty());
    EXPECT_EQ(GisShapePoint(1, 2).simplify(0), nullptr);
}

TEST(GisShapePolyline, AShortPartHasAnExtentButIsEmpty) {
    const auto line = shapeOf<GisShapePolyline>({vertices({{3, 4}})});
    EXPECT_TRUE(line.isEmpty());
    EXPECT_EQ(line.extent().width(), 0);
    EXPECT_EQ(line.extent().xMin(), 3);
    EXPECT_TRUE(GisShapePolyline().extent().isEmpty());
}

TEST(GisShapePolyline, DistanceToSegment) {
    struct Row {
        const char* name;
        GisShapePoint p, a, b;
        double expected;
    };
    const Row rows[] = {
        {"beside", {5, 3}, {0, 0}, {10, 0}, 3},
        {"before the start", {-3, 4}, {0, 0}, {10, 0}, 5},
        {"beyond the end", {13, 4}, {0, 0}, {10, 0}, 5},
        {"degenerate", {3, 4}, {0, 0}, {0, 0}, 5},
        {"so short that its square is 0: measured to the end", {1e-200, 0}, {0, 0}, {1e-200, 0}, 0},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(GisShapePolyline::distancePointToSegment(row.p, row.a, row.b), row.expected) << row.name;
    }
    const auto line = shapeOf<GisShapePolyline>({vertices({{0, 0}}), vertices({{0, 0}, {10, 0}})});
    EXPECT_TRUE(line.contains({5, 3}, 3));
    EXPECT_FALSE(line.contains({5, 3}, std::nextafter(3.0, 0.0)));
}

TEST(GisShapePolyline, SimplifyDropsWhatIsNotStrictlyFartherThanTheTolerance) {
    const Vertices bent = vertices({{0, 0}, {5, 2}, {10, 0}});
    EXPECT_EQ(GisShapePolyline::simplifyPart(bent, 2).size(), 2);
    EXPECT_EQ(GisShapePolyline::simplifyPart(bent, std::nextafter(2.0, 0.0)).size(), 3);
    for (const double tolerance : {0.0, -1.0}) {
        EXPECT_EQ(GisShapePolyline::simplifyPart(bent, tolerance).size(), 3) << tolerance;
    }
    auto line = shapeOf<GisShapePolyline>({vertices({{1, 1}}), bent});
    line.setId(4);
    const auto copy = line.simplify(-1);
    EXPECT_EQ(static_cast<GisShapePolyline&>(*copy).parts().size(), 1);
    EXPECT_EQ(copy->id(), 4);
}

TEST(GisShapePolyline, SimplifyEqualsTheTextbookRecursionAndNeedsNoStack) {
    // A convex arc halves evenly; a saw of growing teeth splits one vertex at a time, as deep as it is long. On
    // lattices and level zigzags many are equally far, along slanted ones rounding alone decides.
    QList<Vertices> parts(9);
    std::mt19937 random(test::seed());
    const auto among = [&random](int count) { return static_cast<int>(random() % static_cast<unsigned>(count)); };
    for (int i = 0; i <= 2000; ++i) {
        const double side = i % 2 != 0 ? 1.0 : -1.0;
        parts[0].emplaceBack(std::cos(i * 0.0007), std::sin(i * 0.0007));
        parts[1].emplaceBack(i, side * i);
        parts[2].emplaceBack(i, side);
        parts[3].emplaceBack(0.1 * i + side, 0.1 * i - side);
        parts[4].emplaceBack(among(9), among(9));
        parts[5].emplaceBack(1e6 + side, -0.3 * i);
        parts[6].emplaceBack(i % 900 == 7 ? nan : std::cos(i * 0.01) * i, std::sin(i * 0.01) * i);
        parts[7].emplaceBack(1e-160 * among(99), 1e-160 * among(99));
        parts[8].emplaceBack(among(1000) * 0.37, i);
    }
    parts[8].append(Vertices(parts[8]));
    const auto reference = [](const auto& self, const Vertices& v, int first, int last, double tolerance,
                              QList<bool>& keep) -> void {
        int index = -1;
        double best = -1;
        for (int i = first + 1; i < last; ++i) {
            const double d = GisShapePolyline::distancePointToSegment(v[i], v[first], v[last]);
            if (d > best) {
                best = d;
                index = i;
            }
        }
        if (best > tolerance) {
            keep[index] = true;
            self(self, v, first, index, tolerance, keep);
            self(self, v, index, last, tolerance, keep);
        }
    };
    for (const Vertices& part : parts) {
        for (const double tolerance : {1e-200, 1e-3, 0.15, 0.5}) {
            const int last = static_cast<int>(part.size()) - 1;
            QList<bool> expected(part.size(), false);
            QList<bool> keep(part.size(), false);
            reference(reference, part, 0, last, tolerance, expected);
            GisShapePolyline::simplifyDouglasPeucker(part, 0, last, tolerance, keep);
            EXPECT_EQ(keep, expected) << &part - parts.data() << ", " << tolerance;
        }
    }
    Vertices zigzag; // each vertex takes a look at few others: all with all would take hours
    for (int i = 0; i < 200'000; ++i) {
        zigzag.emplaceBack(i, i % 2);
    }
    EXPECT_EQ(GisShapePolyline::simplifyPart(zigzag, 0.5).size(), zigzag.size());
}

TEST(GisShapePolygon, ContainsCountsEveryRingAsAnArea) {
    const auto polygon = shapeOf<GisShapePolygon>({square, hole});
    EXPECT_TRUE(polygon.contains({1, 1}, 0));
    EXPECT_TRUE(polygon.contains({5, 5}, 0)) << "in the hole";
    EXPECT_FALSE(polygon.contains({10.5, 5}, 1e6)) << "the tolerance is not used";
    EXPECT_TRUE(shapeOf<GisShapePolygon>({square.first(4)}).contains({1, 1}, 0)) << "an open ring";
    EXPECT_FALSE(GisShapePolygon::pointInPolygon({0.5, 0.5}, vertices({{0, 0}, {1, 1}})));
}

TEST(GisShapePolygon, LabelPointLiesInside) {
    const auto convex = shapeOf<GisShapePolygon>({square});
    EXPECT_EQ(convex.labelPoint().x(), 5);
    const auto c = shapeOf<GisShapePolygon>({cShape});
    EXPECT_FALSE(c.contains(c.centroid(), 0));
    const GisShapePoint label = c.labelPoint();
    EXPECT_TRUE(c.contains(label, 0));
    EXPECT_EQ(label.x(), 1); // the first of the equally deep grid points, column by column
    EXPECT_EQ(label.y(), 1);
    EXPECT_TRUE(GisShapePolygon().findInteriorPoint().isEmpty());
    EXPECT_EQ(GisShapePolygon().distanceToBoundary({0, 0}), DBL_MAX);
}

TEST(GisShapePolygon, CentroidFallsBackToTheMeanOfTheVertices) {
    const Vertices sliver = vertices({{0, 0}, {1, 0}, {2, 1e-13}});
    EXPECT_TRUE(GisShapePolygon::calculatePolygonCentroid(sliver).isEmpty());
    EXPECT_EQ(shapeOf<GisShapePolygon>({sliver}).centroid().x(), 1);
    EXPECT_EQ(GisShapePolygon::calculatePolygonCentroid(vertices({{0, 0}, {4, 0}, {4, 6}, {0, 6}})).y(), 3);
    EXPECT_EQ(shapeOf<GisShapePolygon>({sliver, square}).centroid().x(), 5) << "the first usable ring decides";
    EXPECT_TRUE(GisShapePolygon().centroid().isEmpty());
}

TEST(GisShapePolygon, SimplifyKeepsClosedRingsClosed) {
    const Vertices triangle = vertices({{0, 0}, {5, 0.2}, {10, 0}, {0, 0}});
    const auto polygon = shapeOf<GisShapePolygon>({square, triangle, square.first(4)});
    const auto simplified = polygon.simplify(0.5);
    const auto& parts = static_cast<GisShapePolygon&>(*simplified).parts();
    ASSERT_EQ(parts.size(), 2) << "the triangle loses a vertex and goes";
    EXPECT_EQ(parts[0].size(), 5);
    EXPECT_EQ(parts[0].last().x(), parts[0].first().x());
    EXPECT_EQ(parts[1].size(), 4) << "an open ring stays open";
}

} // namespace
