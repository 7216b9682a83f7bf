#include "EditingTestShapes.h"
#include "OverlayPairs.h"
#include "PlainAreas.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <utility>
#include <vector>

using namespace test;
using Shapes::GisExtent;
using Topology::GisOverlayEngine;
using Topology::GisTopologyCombineType;
using Type = GisTopologyCombineType;

namespace {

constexpr Type allTypes[] = {Type::Union, Type::Intersection, Type::Difference, Type::SymmetricalDifference};
constexpr double infinity = std::numeric_limits<double>::infinity();

GisTopology topologyWith(GisOverlayEngine engine) {
    GisTopology topology;
    topology.SetOverlayEngine(engine);
    return topology;
}

const GisShapePolygon& polygonOf(const std::unique_ptr<GisShape>& shape) {
    return dynamic_cast<const GisShapePolygon&>(*shape);
}

double signedArea(const GisShapePolygon& polygon) {
    double sum = 0.0;
    for (const Part& ring : polygon.parts()) {
        for (qsizetype i = 2; i < ring.size(); ++i) {
            sum += GisTopology::Cross(ring[0], ring[i - 1], ring[i]) / 2;
        }
    }
    return sum;
}

double areaOf(const GisShapePolygon& polygon) {
    return GisTopology::Area(polygon);
}

/// Polygons by rings and area, since engines start rings where they like; everything else as WKT; then the id,
/// and the name when there is one.
std::string summary(const std::unique_ptr<GisShape>& shape) {
    if (shape == nullptr) {
        return "null";
    }
    QString text = QString::fromStdString(wktOf(shape));
    if (const auto* polygon = dynamic_cast<const GisShapePolygon*>(shape.get())) {
        text = QStringLiteral("POLYGON %1 rings %2").arg(polygon->parts().size()).arg(areaOf(*polygon), 0, 'g', 9);
    }
    return QStringLiteral("%1 #%2%3")
        .arg(text)
        .arg(shape->id())
        .arg(shape->attributes().value(QStringLiteral("name")).toString().left(1))
        .toStdString();
}

/// b has the id 8 and the name "b".
std::unique_ptr<GisShape> secondOf(const char* wkt) {
    auto shape = shapeOf(wkt);
    shape->setId(8);
    shape->attributes().insert(QStringLiteral("name"), QStringLiteral("b"));
    return shape;
}

TEST(Overlay, KnownAnswersOfBothEngines) {
    constexpr const char* square = "POLYGON((0 0,2 0,2 2,0 2,0 0))";
    constexpr const char* shifted = "POLYGON((1 1,3 1,3 3,1 3,1 1))";
    constexpr const char* far = "POLYGON((5 5,6 5,6 6,5 6,5 5))";
    constexpr const char* ringed = "POLYGON((0 0,9 0,9 9,0 9,0 0),(3 3,3 6,6 6,6 3,3 3))";
    constexpr const char* tiny = "POLYGON((0 0,6e-7 0,6e-7 6e-7,0 6e-7,0 0))";
    constexpr const char* tinyShifted = "POLYGON((3e-7 0,9e-7 0,9e-7 6e-7,3e-7 6e-7,3e-7 0))";
    constexpr const char* cross = "LINESTRING(0 0,2 2)";
    constexpr const char* crossing = "LINESTRING(0 2,2 0)";
    constexpr const char* zigzag = "LINESTRING(0 1,1 -1,2 1,3 -1)";
    constexpr const char* across = "LINESTRING(-1 1,1 1)";
    const struct {
        const char* a;
        Type type;
        const char* b;
        const char* byPath;
        const char* byGeos; ///< null for the same
    } rows[] = {
        {square, Type::Union, shifted, "POLYGON 1 rings 7 #7s", nullptr},
        {square, Type::Union, far, "POLYGON 2 rings 5 #7s", nullptr},
        {square, Type::Intersection, shifted, "POLYGON 1 rings 1 #7s", nullptr},
        {square, Type::Intersection, far, "POLYGON 0 rings 0 #7s", nullptr},
        {square, Type::Intersection, "POLYGON((2 0,3 0,3 2,2 2,2 0))", "POLYGON 0 rings 0 #7s", nullptr},
        {square, Type::Difference, shifted, "POLYGON 1 rings 3 #7s", nullptr},
        {square, Type::Difference, square, "POLYGON 0 rings 0 #7s", nullptr},
        {square, Type::SymmetricalDifference, far, "POLYGON 2 rings 5 #7s", nullptr},
        {ringed, Type::Union, far, "POLYGON 2 rings 73 #7s", nullptr},
        {ringed, Type::Difference, square, "POLYGON 2 rings 68 #7s", nullptr},
        {ringed, Type::Intersection, "POLYGON((4 4,5 4,5 5,4 5,4 4))", "POLYGON 0 rings 0 #7s", nullptr},
        // rectangles that the painter path loses
        {tiny, Type::Intersection, tinyShifted, "POLYGON 1 rings 1.8e-13 #7s", nullptr},
        {tiny, Type::Difference, tinyShifted, "POLYGON 1 rings 1.8e-13 #7s", nullptr},
        {tiny, Type::Difference, tiny, "POLYGON 0 rings 0 #7s", nullptr},
        {tiny, Type::Union, tinyShifted, "POLYGON 0 rings 0 #7s", "POLYGON 1 rings 5.4e-13 #7s"},
        // other kinds
        {"POLYGON EMPTY", Type::Union, square, "POLYGON 1 rings 4 #8b", nullptr},
        {square, Type::Union, "LINESTRING EMPTY", "POLYGON 1 rings 4 #7s", nullptr},
        {"LINESTRING EMPTY", Type::Intersection, square, "LINESTRING EMPTY #0", "LINESTRING EMPTY #7s"},
        {square, Type::Difference, "POLYGON EMPTY", "POLYGON 1 rings 4 #7s", nullptr},
        {"POINT(1 1)", Type::Union, square, "POLYGON 1 rings 4 #8b", "POLYGON 1 rings 4 #7s"},
        {"POINT(1 1)", Type::Intersection, square, "POINT (1 1) #7s", nullptr},
        {"POINT(9 9)", Type::Intersection, square, "POINT EMPTY #0", "POINT EMPTY #7s"},
        {"POINT(0 0)", Type::Union, "POINT(3 4)", "LINESTRING (0 0,3 4) #7s",
         "MULTILINESTRING ((0 0,0 0),(3 4,3 4)) #7s"},
        {"MULTILINESTRING((1 1,1 1),(9 9,9 9),(2 1,2 1))", Type::Intersection, square, "LINESTRING EMPTY #0",
         "MULTILINESTRING ((1 1,1 1),(2 1,2 1)) #7s"},
        {"POINT(1 1)", Type::Difference, "POINT(1 1)", "POINT EMPTY #0", "POINT EMPTY #7s"},
        {cross, Type::Intersection, crossing, "POINT (1 1) #7s", nullptr},
        {"LINESTRING(0 0,3 0)", Type::Intersection, zigzag, "LINESTRING (0.5 0,1.5 0,2.5 0) #7s",
         "MULTILINESTRING ((0.5 0,0.5 0),(1.5 0,1.5 0),(2.5 0,2.5 0)) #7s"},
        {cross, Type::Intersection, "LINESTRING(0 1,1 2)", "LINESTRING EMPTY #0", "LINESTRING EMPTY #7s"},
        {cross, Type::Union, crossing, "MULTILINESTRING ((0 0,2 2),(0 2,2 0)) #0s",
         "MULTILINESTRING ((0 0,1 1),(1 1,2 2),(0 2,1 1),(1 1,2 0)) #7s"},
        {cross, Type::Difference, crossing, "LINESTRING (0 0,2 2) #7s", "MULTILINESTRING ((0 0,1 1),(1 1,2 2)) #7s"},
        {cross, Type::SymmetricalDifference, crossing, "MULTILINESTRING ((0 0,2 2),(0 2,2 0)) #0s",
         "MULTILINESTRING ((0 0,1 1),(1 1,2 2),(0 2,1 1),(1 1,2 0)) #7s"},
        {across, Type::Intersection, square, "LINESTRING EMPTY #0", "LINESTRING (0 1,1 1) #7s"},
        {across, Type::Difference, square, "LINESTRING (-1 1,1 1) #7s", "LINESTRING (-1 1,0 1) #7s"},
        {across, Type::Union, square, "POLYGON 1 rings 5 #7s", "POLYGON 1 rings 4 #7s"},
        {square, static_cast<Type>(7), shifted, "POLYGON 0 rings 0 #0", nullptr},
    };
    for (const auto& row : rows) {
        const auto a = shapeOf(row.a);
        const auto b = secondOf(row.b);
        for (const GisOverlayEngine engine : {GisOverlayEngine::PainterPath, GisOverlayEngine::Geos}) {
            const bool byGeos = engine == GisOverlayEngine::Geos && row.byGeos != nullptr;
            EXPECT_EQ(summary(topologyWith(engine).Combine(*a, *b, row.type)), byGeos ? row.byGeos : row.byPath)
                << row.a << " " << static_cast<int>(row.type) << " " << row.b;
        }
    }
}

TEST(Overlay, OddRings) {
    const double nan = std::nan("");
    const Part square{{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}};
    const Part hole{{1, 1}, {1, 3}, {3, 3}, {3, 1}, {1, 1}};
    const Part sameWay{{1, 1}, {3, 1}, {3, 3}, {1, 3}, {1, 1}};
    const struct {
        const char* name;
        QList<Part> rings;
        const char* byPath;
        const char* byGeos;
    } rows[] = {
        {"open", {{{0, 0}, {4, 0}, {4, 4}, {0, 4}}}, "POLYGON 2 rings 17 #0", nullptr},
        {"triangle with repeated vertices",
         {{{0, 0}, {0, 0}, {4, 0}, {4, 0}, {0, 4}}},
         "POLYGON 2 rings 9 #0",
         nullptr},
        {"two places", {square, {{6, 6}, {7, 7}, {6, 6}}}, "POLYGON 2 rings 17 #0", nullptr},
        {"one repeated", {square, {{6, 6}, {6, 6}, {7, 7}}}, "POLYGON 2 rings 17 #0", nullptr},
        {"one vertex", {square, {{6, 6}}}, "POLYGON 2 rings 17 #0", nullptr},
        {"hole", {square, hole}, "POLYGON 3 rings 13 #0", nullptr},
        {"hole wound like its shell", {square, sameWay}, "POLYGON 2 rings 17 #0", "POLYGON 3 rings 13 #0"},
        {"NaN", {{{0, 0}, {4, 0}, {4, nan}, {4, 4}, {0, 4}, {0, 0}}}, "POLYGON 2 rings 17 #0", nullptr},
        {"infinite",
         {{{0, 0}, {4, 0}, {infinity, 2}, {4, 4}, {0, 4}}, {{1, 1}, {-infinity, nan}}},
         "POLYGON 2 rings 17 #0",
         nullptr},
        {"too far", {{{0, 0}, {4, 0}, {1e300, 2}, {4, 4}, {0, 4}}}, "POLYGON 2 rings 17 #0", nullptr},
        {"nothing left", {{{nan, 0}, {infinity, 0}, {1, nan}}}, "POLYGON 1 rings 1 #0", nullptr},
    };
    const auto far = shapeOf("POLYGON((8 8,9 8,9 9,8 9,8 8))");
    for (const auto& row : rows) {
        const auto a = shapeOfParts<GisShapePolygon>(row.rings);
        const auto byPath = topologyWith(GisOverlayEngine::PainterPath).Union(*a, *far);
        const auto byGeos = topologyWith(GisOverlayEngine::Geos).Union(*a, *far);
        EXPECT_EQ(summary(byPath), row.byPath) << row.name;
        EXPECT_EQ(summary(byGeos), row.byGeos == nullptr ? row.byPath : row.byGeos) << row.name;
        EXPECT_TRUE(GisTopology().CheckOverlay(*a, *far, Type::Union, *byPath).plausible) << row.name;
    }
    for (const GisOverlayEngine engine : {GisOverlayEngine::PainterPath, GisOverlayEngine::Geos}) {
        for (const Type type : allTypes) { // an answer, whatever it is
            const auto endless = shapeOfParts<GisShapePolyline>({{{0, 0}, {infinity, 1}, {nan, nan}, {1e300, 2}}});
            EXPECT_NE(topologyWith(engine).Combine(*endless, *far, type), nullptr);
            EXPECT_NE(topologyWith(engine).Combine(GisShapePoint(infinity, 0), *far, type), nullptr);
        }
    }
}

TEST(Overlay, FixesItsInputsWhenForced) {
    const auto sameWay = shapeOf("POLYGON((0 0,4 0,4 4,0 4,0 0),(1 1,3 1,3 3,1 3,1 1))");
    const auto spiked = secondOf("POLYGON((8 8,9 8,9 20,9 8,9 9,8 9,8 8))");
    for (const GisOverlayEngine engine : {GisOverlayEngine::PainterPath, GisOverlayEngine::Geos}) {
        GisTopology topology = topologyWith(engine);
        topology.SetForceShapeFixing(true);
        EXPECT_EQ(summary(topology.Union(*sameWay, *spiked)), "POLYGON 3 rings 13 #7s");
        EXPECT_EQ(topology.Union(*spiked, *sameWay)->extent().yMax(), 9.0);
        EXPECT_EQ(summary(topology.CascadedUnion({sameWay.get(), spiked.get()})), "POLYGON 3 rings 13 #7s");
    }
    GisTopology topology = topologyWith(GisOverlayEngine::Geos);
    topology.SetForceShapeFixing(true);
    const auto points =
        topology.Intersection(*shapeOf("LINESTRING(0 0,10 0)"), *shapeOf("LINESTRING(1 -1,1 1,3 1,3 -1)"));
    const auto withNaN = points->clone();
    static_cast<GisShapePolyline&>(*withNaN).parts().append(Part{{std::nan(""), 0}});
    for (const auto* const several : {points.get(), withNaN.get()}) {
        EXPECT_EQ(topology.Intersection(*several, *shapeOf("POLYGON((0 -5,4 -5,4 5,0 5,0 -5))"))->toWkt(),
                  points->toWkt());
    }
}

TEST(Overlay, OrientedRingsCanBeOverlaidAgain) {
    const auto polygon = shapeOf("POLYGON((0 0,9 0,9 9,0 9,0 0),(1 1,8 1,8 8,1 8,1 1),(2 2,7 2,7 7,2 7,2 2))");
    const auto oriented = GisTopology::OrientRings(polygonOf(polygon));
    const auto far = shapeOf("POLYGON((20 20,21 20,21 21,20 21,20 20))");
    EXPECT_TRUE(hasIdAndAttributes(*oriented));
    EXPECT_DOUBLE_EQ(areaOf(polygonOf(GisTopology().Union(*polygon, *far))), 82.0); // filled in
    EXPECT_DOUBLE_EQ(areaOf(polygonOf(GisTopology().Union(*oriented, *far))), 81.0 - 49.0 + 25.0 + 1.0);
}

/// Pairs of stars, some with a hole, overlapping or not.
std::pair<std::unique_ptr<GisShapePolygon>, std::unique_ptr<GisShapePolygon>> pairOfStars(Random& random) {
    const auto one = [&random] {
        const double x = random.between(-4, 4);
        const double y = random.between(-4, 4);
        auto polygon = shapeOfParts<GisShapePolygon>({random.star(x, y, 5, random.whole(3, 40))});
        if (random.whole(0, 1) == 1) {
            Part hole = random.star(x, y, 0.7, 12); // the star's edges pass farther out, if it has enough
            std::reverse(hole.begin(), hole.end());
            if (polygon->parts().constFirst().size() > 12) {
                polygon->parts().append(hole);
            }
        }
        return polygon;
    };
    auto first = one();
    return {std::move(first), one()};
}

TEST(Overlay, EnginesAgreeAndAreasAddUp) {
    Random random;
    for (int round = 0; round < 150; ++round) {
        const auto [a, b] = pairOfStars(random);
        std::vector<double> areas;
        for (const Type type : allTypes) {
            const auto byPath = GisTopology().Combine(*a, *b, type);
            const auto byGeos = topologyWith(GisOverlayEngine::Geos).Combine(*a, *b, type);
            areas.push_back(areaOf(polygonOf(byPath)));
            const std::string text =
                "seed " + std::to_string(seed()) + "\n" + a->toWkt().toStdString() + "\n" + b->toWkt().toStdString();
            EXPECT_NEAR(areas.back(), areaOf(polygonOf(byGeos)), 1e-7) << text;
            EXPECT_NEAR(std::fabs(signedArea(polygonOf(byGeos))), areas.back(), 1e-7) << "holes run opposite\n" << text;
            EXPECT_TRUE(GisTopology().CheckOverlay(*a, *b, type, *byPath).plausible) << text;
        }
        EXPECT_NEAR(areas[0] + areas[1], areaOf(*a) + areaOf(*b), 1e-7);
        EXPECT_NEAR(areas[2], areaOf(*a) - areas[1], 1e-7);
        EXPECT_NEAR(areas[3], areas[0] - areas[1], 1e-7);
    }
}

TEST(OverlayCheck, FlagsWhatIsBroken) {
    Random random;
    int tried = 0;
    for (int round = 0; round < 40; ++round) {
        const auto [a, b] = pairOfStars(random);
        for (const Type type : allTypes) {
            const auto right = GisTopology().Combine(*a, *b, type);
            const QList<Part>& rings = polygonOf(right).parts();
            std::vector<QList<Part>> broken{QList<Part>(), rings + QList<Part>{random.star(3, 3, 0.3, 9)}};
            if (rings.size() > 1) {
                broken.push_back(rings.mid(1));
                broken.push_back(rings.mid(0, rings.size() - 1));
            }
            if (!rings.isEmpty()) {
                broken.push_back(rings);
                broken.back().first()[1].setX(broken.back().first()[1].x() + 0.5);
                broken.push_back(rings); // one vertex less, which matters when it is a real corner
                broken.back().first().removeAt(1);
            }
            for (const Type other : allTypes) {
                broken.push_back(polygonOf(GisTopology().Combine(*a, *b, other)).parts());
            }
            for (const QList<Part>& parts : broken) {
                const auto result = shapeOfParts<GisShapePolygon>(parts);
                const double error = std::fabs(areaOf(*result) - areaOf(polygonOf(right)));
                if (error > 0.01 * std::max(areaOf(*a), areaOf(*b))) {
                    ++tried;
                    EXPECT_FALSE(GisTopology().CheckOverlay(*a, *b, type, *result).plausible)
                        << "seed " << seed() << ", off by " << error << "\n"
                        << a->toWkt().toStdString() << "\n"
                        << b->toWkt().toStdString() << "\n"
                        << result->toWkt().toStdString();
                }
            }
        }
    }
    EXPECT_GT(tried, 500);
}

TEST(OverlayCheck, LooksBetweenItsLines) {
    const auto a = shapeOfParts<GisShapePolygon>({{{100, 0}, {0, 0}, {0, 100}, {100, 100}}});
    const auto b = shapeOfParts<GisShapePolygon>({{{100, 100}, {200, 100}, {200, 0}, {100, 0}}});
    const auto holed = shapeOfParts<GisShapePolygon>(
        {{{0, 0}, {200, 0}, {200, 100}, {0, 100}}, {{50, 50}, {50, 50.3}, {50.3, 50.3}, {50.3, 50}}});
    const auto right = GisTopology().Union(*a, *b);
    EXPECT_TRUE(GisTopology().CheckOverlay(*a, *b, Type::Union, *right).plausible);
    const auto check = GisTopology().CheckOverlay(*a, *b, Type::Union, *holed);
    EXPECT_FALSE(check.plausible);
    EXPECT_FALSE(check.problem.isEmpty());
    EXPECT_DOUBLE_EQ(check.areaOfA, 1e4);
    EXPECT_NEAR(check.areaOfResult, 2e4 - 0.09, 1e-9);
    EXPECT_FALSE(GisTopology().CheckOverlay(*a, *b, Type::Union, GisShapePoint(1, 1)).plausible);
    EXPECT_TRUE(GisTopology().CheckOverlay(*a, GisShapePoint(1, 1), Type::Union, *a).plausible);
}

TEST(Overlay, FallbackMendsWhatTheCheckFlags) {
    const auto a = shapeOf("POLYGON((0 0,6e-7 0,3e-7 6e-7,0 0))"); // the painter path loses such small ones
    const auto b = secondOf("POLYGON((3e-7 0,9e-7 0,6e-7 6e-7,3e-7 0))");
    GisTopology topology;
    EXPECT_EQ(summary(topology.Union(*a, *b)), "POLYGON 0 rings 0 #7s");
    topology.SetOverlayFallback(true);
    EXPECT_EQ(summary(topology.Union(*a, *b)), "POLYGON 1 rings 3.15e-13 #7s");
}

/// Of two polygons of one ring each.
struct PlainOverlay {
    PlainOverlay(const GisShapePolygon& a, const GisShapePolygon& b) {
        m_a.addRing(a.parts().constFirst(), false);
        m_b.addRing(b.parts().constFirst(), false);
        m_both = plain::commonArea(m_a, m_b);
    }
    long double area(Type type) const {
        return type == Type::Intersection ? m_both
               : type == Type::Difference ? m_a.area - m_both
                                          : m_a.area + m_b.area - (type == Type::Union ? 1 : 2) * m_both;
    }
    /// By more than a share of the smaller input, and than rounding of the vertices.
    bool isWrong(const GisShape& result, Type type, double share) const {
        const double reach = std::max(m_a.reach(), m_b.reach());
        const long double rounding = (std::nextafter(reach, infinity) - reach) * (m_a.length + m_b.length);
        const long double area = plain::edgesByNesting(dynamic_cast<const GisShapePolygon&>(result)).area;
        return !(std::fabs(area - this->area(type)) <= share * std::min(m_a.area, m_b.area) + rounding);
    }

private:
    plain::Edges m_a;
    plain::Edges m_b;
    long double m_both = 0.0L;
};

void expectRightAfterFallback(const GisShapePolygon& a, const GisShapePolygon& b, const std::string& name) {
    GisTopology guarded;
    guarded.SetOverlayFallback(true);
    const PlainOverlay expected(a, b);
    for (const Type type : allTypes) {
        const std::string text = name + ", operation " + std::to_string(int(type)) + "\n" + a.toWkt().toStdString() +
                                 "\n" + b.toWkt().toStdString();
        const auto byPath = GisTopology().Combine(a, b, type);
        if (expected.isWrong(*byPath, type, 1e-6)) {
            EXPECT_FALSE(GisTopology().CheckOverlay(a, b, type, *byPath).plausible) << text;
        }
        EXPECT_FALSE(expected.isWrong(*guarded.Combine(a, b, type), type, 1e-6)) << text;
    }
}

TEST(OverlayCheck, ErrorsAreAShareOfTheSmallerInput) {
    constexpr const char* parcel =
        "POLYGON((-9982000 4497135,-9982026.5612272825092077 4497112.5533681437373161,-9982009.8123074639588594 "
        "4497092.7342759585008025,-9981983.2510801814496517 4497115.1809078147634864,-9982000 4497135))";
    constexpr const char* county = "POLYGON((-9947182 4470000,-9982000 4497135,-10014109 4470000,-9982000 "
                                   "4435401,-9947182 4470000))";
    constexpr const char* pentagon =
        "POLYGON((510000 0,130000 400000,-710000 520000,-480000 -350000,200000 -620000,510000 0))";
    constexpr const char* triangle =
        "POLYGON((-651824.6573566617444158 299945.4430447638733312,-558226.7942792404210195 "
        "-54098.64772635162808,-220000 130000,-651824.6573566617444158 299945.4430447638733312))";
    const struct {
        const char* name;
        const char* a;
        const char* b;
        GisOverlayEngine engine; ///< whose answer is right or flagged
        Type type;
        const char* wrong; ///< an answer that is flagged
    } rows[] = {
        {"parcel at a corner of its county, lost by the painter path", county, parcel, GisOverlayEngine::PainterPath,
         Type::Intersection, "POLYGON EMPTY"},
        {"county less the parcel", county, parcel, GisOverlayEngine::PainterPath, Type::Difference, county},
        {"parcel less the county", parcel, county, GisOverlayEngine::PainterPath, Type::Difference, parcel},
        {"triangle on an edge, lost by GEOS 3.11", pentagon, triangle, GisOverlayEngine::Geos, Type::Intersection,
         "POLYGON EMPTY"},
        {"speck of a millionth", "POLYGON((0 0,1000 10,990 1000,0 0))",
         "POLYGON((500 400,500.5 400,500.5 401,500 400))", GisOverlayEngine::PainterPath, Type::Union,
         "POLYGON((0 0,1000 10,990 1000,0 0),(500 400,500.5 400,500.5 401,500 400))"},
    };
    for (const auto& row : rows) {
        const auto a = shapeOf(row.a);
        const auto b = shapeOf(row.b);
        const GisTopology topology = topologyWith(row.engine);
        const auto result = topology.Combine(*a, *b, row.type);
        EXPECT_EQ(topology.CheckOverlay(*a, *b, row.type, *result).plausible,
                  !PlainOverlay(polygonOf(a), polygonOf(b)).isWrong(*result, row.type, 1e-6))
            << row.name;
        EXPECT_FALSE(topology.CheckOverlay(*a, *b, row.type, *shapeOf(row.wrong)).plausible) << row.name;
        expectRightAfterFallback(polygonOf(a), polygonOf(b), row.name);
    }
}

TEST(Overlay, FallbackLeavesNothingWrong) {
    std::mt19937_64 engine(seed());
    pairs::Random random(engine);
    pairs::Polygons counties;
    for (int i = 0; i < 20; ++i) {
        counties.push_back(
            pairs::polygonOf({pairs::star(-1e7 + 9e4 * i, 4.5e6, 4e4, 0.6, random.whole(4, 30), random)}));
    }
    for (const pairs::DataSet& data : {pairs::parcels(QStringLiteral("parcels"), std::move(counties), 300, engine),
                                       pairs::closePairs(QStringLiteral("close pairs"), 400, engine)}) {
        for (const auto& [i, j] : data.pairs) {
            expectRightAfterFallback(*data.polygons[i], *data.polygons[j],
                                     data.name.toStdString() + ", seed " + std::to_string(seed()));
        }
    }
}

TEST(OverlayCheck, ReadsRingsAsTheEngineDoes) {
    const Part shell{{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}};
    const Part inner{{1, 1}, {3, 1}, {3, 3}, {1, 3}, {1, 1}};
    const Part innermost{{1.5, 1.5}, {2, 1.5}, {2, 2}, {1.5, 2}, {1.5, 1.5}};
    const Part beside{{5, 0}, {6, 0}, {6, 1}, {5, 1}, {5, 0}};
    const auto turned = [](Part ring) {
        std::reverse(ring.begin(), ring.end());
        return ring;
    };
    const struct {
        const char* name;
        QList<Part> rings;
        double byWinding;
        double byNesting;
    } rows[] = {
        {"hole", {shell, turned(inner)}, 12, 12},
        {"hole like its shell", {shell, inner}, 16, 12},
        {"island like its shell", {inner, innermost, turned(shell)}, 12.25, 12.25},
        {"island unlike its shell", {turned(innermost), turned(inner), shell}, 12.25, 12.25},
        {"hole like its shell, what is in it turned", {shell, inner, turned(innermost)}, 16, 12.25},
        {"two shells, one turned", {turned(beside), shell}, 17, 17},
        {"hole in one of them", {shell, turned(inner), turned(beside)}, 13, 13},
    };
    const auto speck = shapeOf("POLYGON((3.999 2,4 2,4 2.001,3.999 2))");
    for (const auto& row : rows) {
        const auto a = shapeOfParts<GisShapePolygon>(row.rings);
        for (const GisOverlayEngine engine : {GisOverlayEngine::PainterPath, GisOverlayEngine::Geos}) {
            const GisTopology topology = topologyWith(engine);
            const auto result = topology.Difference(*a, *speck);
            const auto check = topology.CheckOverlay(*a, *speck, Type::Difference, *result);
            EXPECT_TRUE(check.plausible) << row.name << ": " << check.problem.toStdString();
            EXPECT_DOUBLE_EQ(check.areaOfA, engine == GisOverlayEngine::Geos ? row.byNesting : row.byWinding)
                << row.name;
            const auto uncut = topology.Difference(*a, *shapeOf("POLYGON((9 9,10 9,10 10,9 9))"));
            EXPECT_FALSE(topology.CheckOverlay(*a, *speck, Type::Difference, *uncut).plausible) << row.name;
        }
    }
}

/// One of the holes runs like the shell, and is none by the winding rule.
TEST(OverlayCheck, JudgesManyRings) {
    const auto square = [](double x, double y, double side, bool left) {
        return left ? Part{{x, y}, {x + side, y}, {x + side, y + side}, {x, y + side}, {x, y}}
                    : Part{{x, y}, {x, y + side}, {x + side, y + side}, {x + side, y}, {x, y}};
    };
    QList<Part> rings{square(-1, -1, 151, true)};
    for (int i = 0; i < 2500; ++i) {
        rings.append(square(3.0 * (i % 50), 3.0 * (i / 50), 1, i == 1234));
    }
    const auto a = shapeOfParts<GisShapePolygon>(rings);
    const auto speck = shapeOfParts<GisShapePolygon>({square(1.5, 1.5, 0.1, true)});
    rings.removeAt(1235);
    const auto uncut = shapeOfParts<GisShapePolygon>(rings);
    rings.append(square(1.5, 1.5, 0.1, false));
    const auto right = shapeOfParts<GisShapePolygon>(rings);
    const auto check = GisTopology().CheckOverlay(*a, *speck, Type::Difference, *right);
    EXPECT_TRUE(check.plausible) << check.problem.toStdString();
    EXPECT_DOUBLE_EQ(check.areaOfA, 151 * 151 - 2499);
    EXPECT_FALSE(GisTopology().CheckOverlay(*a, *speck, Type::Difference, *uncut).plausible);
}

TEST(OverlayCheck, TakesWhatEnclosesNothing) {
    const struct {
        const char* name;
        const char* a;
        const char* b;
    } rows[] = {
        {"one place, a line and a line",
         "POLYGON((-1.9 -1.9,-1.9 -1.9,-1.9 -1.9,-1.9 -1.9),(-1.9 -5,-5 -5,-5 -5,-1.9 -5))", "POLYGON((-5 -5,-5 -5))"},
        {"flat triangle", "POLYGON((0 0,2 0,1 0,0 0))", "POLYGON((0 0,1 0,1 1,0 0))"},
        {"upright one", "POLYGON((0 0,0 2,0 1,0 0))", "POLYGON((0 0,1 0,1 1,0 0))"},
        {"nothing", "POLYGON EMPTY", "POLYGON EMPTY"},
        {"nothing but b", "POLYGON EMPTY", "POLYGON((0 0,1 0,1 1,0 0))"},
        {"spike along the edge of b", "POLYGON((0 0,1 0,1 1,2 2,1 1,0 0))", "POLYGON((2 2,3 2,3 3,2 2))"},
        {"edge that turns back by itself, too little for a line",
         "POLYGON((0 0,1000 0,1000 500,1001 500.5,1001 500,1000 500.5,1000 1000,0 1000,0 0))",
         "POLYGON((500 500,502 500,502 502,500 502,500 500))"},
    };
    for (const auto& row : rows) {
        for (const Type type : allTypes) {
            const auto a = shapeOf(row.a);
            const auto b = shapeOf(row.b);
            for (const auto& [first, second] : {std::pair(a.get(), b.get()), std::pair(b.get(), a.get())}) {
                const auto result = GisTopology().Combine(*first, *second, type);
                const auto check = GisTopology().CheckOverlay(*first, *second, type, *result);
                EXPECT_TRUE(check.plausible) << row.name << ", " << int(type) << ": " << check.problem.toStdString();
            }
        }
    }
}

TEST(Overlay, RectangleHelpers) {
    const struct {
        const char* wkt;
        double tolerance;
        bool expected;
    } rows[] = {
        {"POLYGON((0 0,2 0,2 1,0 1,0 0))", 0, true},
        {"POLYGON((2 1,0 1,0 1,0 0,2 0,2 1))", 0, true},
        {"POLYGON((0 0,2 0.01,2 1,0 1,0 0))", 0.02, true},
        {"POLYGON((0 0,2 0.01,2 1,0 1,0 0))", 0.005, false},
        {"POLYGON((0 0,2 1,2 0,0 1,0 0))", 0, false},
        {"POLYGON((0 0,2 0,2 1,0 0))", 0, false},
        {"POLYGON((0 0,1 0,2 0,2 1,0 1,0 0))", 0, false},
        {"POLYGON((0 0,2 0,2 1,0 1,0 0),(0.5 0.5,1 0.5,1 0.7,0.5 0.5))", 0, false},
        {"POLYGON((0 0,1e-10 0,1e-10 1,0 1,0 0))", 1e-9, false},
        {"POLYGON EMPTY", 1, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(GisTopology::IsExtentRectanglePolygon(polygonOf(shapeOf(row.wkt)), row.tolerance), row.expected)
            << row.wkt;
    }
    const GisExtent a(0, 0, 4, 4);
    const struct {
        GisExtent b;
        int rectangles;
        double area;
    } differences[] = {
        {{1, 1, 2, 2}, 4, 15}, {{-1, -1, 2, 2}, 2, 12}, {{-1, 1, 5, 2}, 2, 12},  {{0, 0, 4, 4}, 0, 0},
        {{4, 0, 5, 4}, 1, 16}, {GisExtent(), 1, 16},    {{0.05, 0, 4, 4}, 0, 0}, {{3.95, 0, 9, 9}, 1, 16},
    };
    for (const auto& row : differences) {
        const auto difference = GisTopology::DifferenceOfExtentRectangles(a, row.b, 0.1);
        EXPECT_EQ(polygonOf(difference).parts().size(), row.rectangles) << row.b.toString().toStdString();
        EXPECT_DOUBLE_EQ(signedArea(polygonOf(difference)), row.area) << row.b.toString().toStdString();
    }
    EXPECT_EQ(summary(GisTopology::DifferenceOfExtentRectangles(GisExtent(), a, 0)), "POLYGON 0 rings 0 #0");
}

TEST(Overlay, UnionOnListReportsEachEntryAndStopsWithTheUnionSoFar) {
    const auto one = shapeOf("POLYGON((0 0,1 0,1 1,0 1,0 0))");
    const auto two = secondOf("POLYGON((1 0,2 0,2 1,1 1,1 0))");
    const auto three = secondOf("POLYGON((5 0,6 0,6 1,5 1,5 0))");
    for (int stopAt = 1; stopAt <= 5; ++stopAt) {
        GisTopology topology;
        std::vector<std::pair<int, int>> calls;
        topology.SetBusyCallback([&](int current, int total) {
            calls.emplace_back(current, total);
            return current < stopAt;
        });
        const auto sum = topology.UnionOnList({nullptr, one.get(), two.get(), three.get()});
        const char* const expected[] = {"POLYGON 0 rings 0 #0", "POLYGON 0 rings 0 #0", "POLYGON 1 rings 1 #7s",
                                        "POLYGON 1 rings 2 #7s", "POLYGON 2 rings 3 #7s"};
        EXPECT_EQ(summary(sum), expected[stopAt - 1]);
        ASSERT_EQ(calls.size(), static_cast<std::size_t>(std::min(stopAt, 4)));
        EXPECT_EQ(calls.back(), std::make_pair(std::min(stopAt, 4), 4));
    }
}

TEST(Overlay, StopsWithoutAResult) {
    Random random;
    const auto a = shapeOfParts<GisShapePolygon>({random.star(0, 0, 5, 800)});
    const auto b = shapeOfParts<GisShapePolygon>({random.star(1, 0, 5, 800)});
    const auto lineA = shapeOfParts<GisShapePolyline>({random.walk(900, false)});
    const auto lineB = shapeOfParts<GisShapePolyline>({random.walk(900, false)});
    for (const GisOverlayEngine engine : {GisOverlayEngine::PainterPath, GisOverlayEngine::Geos}) {
        GisTopology topology = topologyWith(engine);
        int calls = 0;
        topology.SetBusyCallback([&calls](int, int) { return ++calls != 1; }); // a single no is enough
        for (const Type type : allTypes) {
            calls = 0;
            EXPECT_EQ(topology.Combine(*a, *b, type), nullptr);
            EXPECT_EQ(calls, 1);
        }
        calls = 0;
        EXPECT_EQ(topology.Intersection(*lineA, *lineB), nullptr);
        if (engine == GisOverlayEngine::Geos) {
            calls = -3; // the fourth call comes from the midst of GEOS's work
            EXPECT_EQ(topology.Union(*a, *b), nullptr);
            calls = -3;
            EXPECT_EQ(topology.CascadedUnion({a.get(), b.get()}), nullptr);
        }
        topology.SetBusyCallback([](int, int) -> bool { throw std::runtime_error("enough"); });
        EXPECT_THROW((void)topology.Union(*a, *b), std::runtime_error);
    }
}

TEST(CascadedUnion, EqualsTheUnionOneByOne) {
    Random random;
    std::vector<std::unique_ptr<GisShapePolygon>> owned;
    QList<const GisShape*> shapes{nullptr};
    for (int i = 0; i < 30; ++i) { // round, so that the union one by one is not too slow
        const GisShapePoint centre(random.between(0, 40), random.between(0, 40));
        Part ring;
        for (int k = 0; k < 500; ++k) {
            ring.append({centre.x() + 5 * std::cos(k * M_PI / 250), centre.y() + 5 * std::sin(k * M_PI / 250)});
        }
        owned.push_back(shapeOfParts<GisShapePolygon>({ring}));
        owned.back()->setId(i + 1);
        shapes.append(owned.back().get());
    }
    GisTopology topology = topologyWith(GisOverlayEngine::Geos);
    const auto expected = topology.UnionOnList(shapes);
    int last = -1;
    int stopAt = 1000;
    topology.SetBusyCallback([&](int current, int total) {
        EXPECT_TRUE(current == last || current == last + 1); // GEOS asks too
        EXPECT_LT(current, total);
        return (last = current) < stopAt;
    });
    const auto result = topology.CascadedUnion(shapes);
    EXPECT_EQ(result->id(), 1);
    EXPECT_NEAR(areaOf(polygonOf(result)), areaOf(polygonOf(expected)), 1e-9);
    EXPECT_GE(last, 2); // asked for each batch
    for (stopAt = 0; stopAt < 3; ++stopAt) {
        last = -1;
        EXPECT_EQ(topology.CascadedUnion(shapes), nullptr);
    }
    topology.SetBusyCallback({});
    EXPECT_EQ(summary(topology.CascadedUnion({})), "POLYGON 0 rings 0 #0");
    const auto bowTie = shapeOf("POLYGON((0 0,2 2,2 0,0 2,0 0))"); // alone as among others
    EXPECT_EQ(summary(topology.CascadedUnion({bowTie.get()})), "POLYGON 2 rings 2 #7s");
    const GisShapePoint point(1, 1);
    EXPECT_THROW((void)topology.CascadedUnion({shapes[1], &point}), std::invalid_argument);
}

} // namespace
