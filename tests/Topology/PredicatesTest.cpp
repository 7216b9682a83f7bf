// The predicates: known answers, and the fast ways against the plain ones.

#include "DataFolder.h"
#include "PlainPredicates.h"
#include "TestSeed.h"

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Topology/GisPreparedShape.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <stdexcept>
#include <vector>

namespace {

using namespace test::plain;
using Cartolith::Core::Layers::GisLayerOgrVector;
using Cartolith::Core::Serialization::Wkt::GisWktReader;
using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Shapes::GisShapeType;
using Cartolith::Core::Topology::GisPreparedShape;
using Cartolith::Core::Topology::GisTopology;
using Shape = std::unique_ptr<GisShape>;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

template <typename Class>
Shape shapeOf(Parts parts) {
    auto shape = std::make_unique<Class>();
    shape->parts() = std::move(parts);
    return shape;
}

// Not WKT, which has no NaN and no part of one vertex.
std::string text(const GisShape& shape) {
    QString out = QString::number(static_cast<int>(shape.shapeType()));
    for (const QList<P>& part : boundary(shape)) {
        out += " [";
        for (const P& p : part) {
            out += QStringLiteral("(%1 %2)").arg(p.x(), 0, 'g', 17).arg(p.y(), 0, 'g', 17);
        }
        out += "]";
    }
    return out.left(4000).toStdString();
}

// Every public answer about a pair against the plain one.
void expectPlainAnswers(const GisShape& a, const GisShape& b, double tolerance) {
    SCOPED_TRACE("seed " + std::to_string(test::seed()) + ", tolerance " + std::to_string(tolerance) + "\n" + text(a) +
                 "\n" + text(b));
    const Answers plain(a, b, tolerance);
    GisTopology topology;
    topology.SetTolerance(tolerance);
    const GisPreparedShape prepared(a, topology);
    ASSERT_EQ(GisTopology::BoundariesIntersect(a, b, tolerance, false), plain.meet);
    ASSERT_EQ(GisTopology::BoundariesIntersect(a, b, tolerance, true), plain.proper);
    ASSERT_EQ(GisTopology::ShapeWithin(a, b, tolerance), plain.aInB);
    ASSERT_EQ(GisTopology::HasInteriorPointInOther(a, b, tolerance), plain.aInsideB);
    ASSERT_EQ(GisTopology::SameGeometry(a, b, tolerance), plain.equal);
    const auto both = [&](auto one, auto other, bool expected, const char* name) {
        ASSERT_EQ((topology.*one)(a, b), expected) << name;
        ASSERT_EQ((prepared.*other)(b), expected) << "prepared " << name;
    };
    both(&GisTopology::Disjoint, &GisPreparedShape::Disjoint, plain.disjoint, "Disjoint");
    both(&GisTopology::Intersect, &GisPreparedShape::Intersect, !plain.disjoint, "Intersect");
    both(static_cast<bool (GisTopology::*)(const GisShape&, const GisShape&) const>(&GisTopology::Cross),
         &GisPreparedShape::Cross, plain.cross, "Cross");
    both(&GisTopology::Equality, &GisPreparedShape::Equality, plain.equal, "Equality");
    both(&GisTopology::Touch, &GisPreparedShape::Touch, plain.touch, "Touch");
    both(&GisTopology::Within, &GisPreparedShape::Within, plain.within, "Within");
    both(&GisTopology::Contains, &GisPreparedShape::Contains, plain.contains, "Contains");
    both(&GisTopology::Overlap, &GisPreparedShape::Overlap, plain.overlap, "Overlap");
    ASSERT_EQ(topology.Relate(a, b), plain.pattern);
    ASSERT_EQ(prepared.Relate(b), plain.pattern);
}

void expectPlainAnswers(const GisShape& shape, const P& p, double tolerance, const GisPreparedShape& prepared) {
    SCOPED_TRACE("seed " + std::to_string(test::seed()) + ", tolerance " + std::to_string(tolerance) + "\n" +
                 text(shape) + "\n" + text(p));
    const bool contained = containsPoint(shape, p, tolerance);
    const bool on = onBoundary(shape, p, tolerance);
    ASSERT_EQ(GisTopology::ContainsPoint(shape, p, tolerance), contained);
    ASSERT_EQ(GisTopology::PointOnBoundary(shape, p, tolerance), on);
    ASSERT_EQ(prepared.ContainsPoint(p), contained);
    ASSERT_EQ(prepared.PointOnBoundary(p), on);
}

struct Random {
    std::mt19937_64 engine{test::seed()};

    double real(double low, double high) { return std::uniform_real_distribution<double>(low, high)(engine); }
    int whole(int count) { return static_cast<int>(engine() % static_cast<unsigned>(count)); }
    bool oneIn(int count) { return whole(count) == 0; }

    /// Of whole numbers below `side`, or of anything.
    P vertex(int side, bool grid) { return grid ? P(whole(side), whole(side)) : P(real(0, side), real(0, side)); }
    /// With everything that can be wrong with parts.
    Shape awkward(int side, bool grid) {
        if (oneIn(6)) {
            return std::make_unique<P>(oneIn(9) ? P(nan, 1) : vertex(side, grid));
        }
        Parts parts;
        for (int count = oneIn(20) ? 0 : 1 + whole(3); count > 0; --count) {
            QList<P> part;
            for (int i = oneIn(15) ? whole(3) : 3 + whole(9); i > 0; --i) {
                part.append(!part.isEmpty() && oneIn(9) ? part[whole(static_cast<int>(part.size()))]
                                                        : vertex(side, grid));
            }
            if (oneIn(2) && !part.isEmpty()) {
                part.append(part.first());
            }
            if (oneIn(60) && !part.isEmpty()) {
                const double odd[] = {nan, inf, -inf, 1e-200, 1e200, 5e-324};
                part[whole(static_cast<int>(part.size()))].setX(odd[whole(6)]);
            }
            parts.append(part);
        }
        return oneIn(3) ? shapeOf<GisShapePolyline>(parts) : shapeOf<GisShapePolygon>(parts);
    }
    /// A star around a centre, closed or not, of many vertices.
    QList<P> star(double x, double y, double radius, int vertices) {
        QList<P> ring;
        const double depth = real(0.01, 0.9);
        for (int i = 0; i < vertices; ++i) {
            const double angle = 2 * std::numbers::pi * i / vertices;
            const double r = radius * (1 - depth * real(0, 1));
            ring.append(P(x + r * std::cos(angle), y + r * std::sin(angle)));
        }
        if (oneIn(2)) {
            ring.append(ring.first());
        }
        return ring;
    }
    Shape manyVertices() {
        Parts parts;
        for (int i = 1 + whole(4); i > 0; --i) {
            parts.append(star(real(0, 10), real(0, 10), real(0.1, 8), 3 + whole(250)));
        }
        return oneIn(3) ? shapeOf<GisShapePolyline>(parts) : shapeOf<GisShapePolygon>(parts);
    }
};

Shape moved(const GisShape& shape, double scale, double shift) {
    Shape copy = shape.clone();
    const auto move = [=](P& p) { p = P(p.x() * scale + shift, p.y() * scale + shift); };
    if (auto* point = dynamic_cast<P*>(copy.get())) {
        move(*point);
        return copy;
    }
    auto* line = dynamic_cast<GisShapePolyline*>(copy.get());
    for (QList<P>& part : line != nullptr ? line->parts() : dynamic_cast<GisShapePolygon&>(*copy).parts()) {
        std::for_each(part.begin(), part.end(), move);
    }
    return copy;
}

TEST(Predicates, KnownAnswers) {
    const char* const square = "POLYGON((0 0,4 0,4 4,0 4,0 0))";
    struct Row {
        const char* a;
        const char* b;
        const char* pattern;
        const char* holding; ///< of Disjoint, Cross, Equality, Touch, Within, Contains, Overlap
    };
    for (const Row& row : {
             Row{square, square, "T*F**FF*", "E"},
             {square, "POLYGON((4 0,4 4,0 4,0 0,4 0))", "T*F**F***", "WN"}, // the same from another vertex
             {square, "POLYGON((4 0,8 0,8 4,4 4,4 0))", "F***T****", "TO"},
             {square, "POLYGON((5 0,8 0,8 4,5 4,5 0))", "FF*FF****", "D"},
             {square, "POLYGON((1 -1,2 -1,2 5,1 5,1 -1))", "F***T****", "CTO"}, // laid over as a cross
             {square, "POLYGON((2 2,6 2,6 6,2 6,2 2))", "T*T******", "CO"},
             {square, "POLYGON((1 1,2 1,2 2,1 2,1 1))", "T*****FF*", "N"},
             {"POLYGON((1 1,2 1,2 2,1 2,1 1))", square, "T*F**F***", "W"},
             {square, "POLYGON((0 0,2 0,2 2,0 2,0 0))", "T*****FF*", "N"},
             {"LINESTRING(0 0,2 2)", "LINESTRING(0 2,2 0)", "F***T****", "CTO"},
             {"LINESTRING(-1 2,2 2)", square, "T*T******", "C"},
             {"LINESTRING(-1 2,0 2)", square, "F***T****", "T"},
             {"LINESTRING(0 0,1 0)", "LINESTRING(0.5 0,2 0)", "F***T****", "TO"},
             {"POINT(1 1)", square, "T*F**F***", "W"},
             {square, "POINT(1 1)", "T*****FF*", "N"},
             {"POINT(4 1)", square, "T*T******", "CW"}, // a vertex met is a proper meeting,
             {"POINT(1 1)", "POINT(1 1)", "T*F**FF*", "CE"},
             {"POINT(1 1)", "POINT(1 2)", "FF*FF****", "D"},
             {"POINT(1 1)", "POLYGON((0 0,4 0,4 4,0 4,0 0),(1 1,3 1,3 3,1 3,1 1))", "T*T******", "CW"},
             {"POINT(2 2)", "POLYGON((0 0,4 0,4 4,0 4,0 0),(1 1,3 1,3 3,1 3,1 1))", "T*F**F***", "W"}, // in the hole
             {"LINESTRING EMPTY", square, "FF*FF****", "D"},
             {"LINESTRING EMPTY", "LINESTRING EMPTY", "T*F**FF*", "DE"},
         }) {
        SCOPED_TRACE(std::string(row.a) + " " + row.b);
        const Shape a = GisWktReader::read(row.a);
        const Shape b = GisWktReader::read(row.b);
        const GisTopology topology;
        EXPECT_EQ(topology.Relate(*a, *b), row.pattern);
        const std::string names = std::string(topology.Disjoint(*a, *b) ? "D" : "") +
                                  (topology.Cross(*a, *b) ? "C" : "") + (topology.Equality(*a, *b) ? "E" : "") +
                                  (topology.Touch(*a, *b) ? "T" : "") + (topology.Within(*a, *b) ? "W" : "") +
                                  (topology.Contains(*a, *b) ? "N" : "") + (topology.Overlap(*a, *b) ? "O" : "");
        EXPECT_EQ(names, row.holding);
        EXPECT_NE(topology.Intersect(*a, *b), topology.Disjoint(*a, *b));
        EXPECT_TRUE(topology.Relate(*a, *b, QString(row.pattern) + "T"));
        EXPECT_FALSE(topology.Relate(*a, *b, "0********"));
    }
}

TEST(Predicates, SettingsAndSegmentTestsAtTheirBounds) {
    GisTopology topology;
    EXPECT_EQ(topology.Tolerance(), 1e-9);
    for (const auto& [set, kept] : {std::pair{-1.0, 0.0}, {nan, 0.0}, {0.0, 0.0}, {0.5, 0.5}, {inf, inf}}) {
        topology.SetTolerance(set);
        EXPECT_EQ(topology.Tolerance(), kept);
    }
    const double above = std::nextafter(0.5, 1.0);
    EXPECT_TRUE(GisTopology::CloseTo(1, 1.5, 0.5) && !GisTopology::CloseTo(0, above, 0.5) &&
                !GisTopology::CloseTo(0, nan, 1));
    EXPECT_TRUE(GisTopology::SamePoint({0, 0}, {0.5, 0}, 0.5) && !GisTopology::SamePoint({0, 0}, {above, 0}, 0.5));
    EXPECT_EQ(GisTopology::Cross(P(1, 1), P(3, 1), P(1, 4)), 6.0);
    EXPECT_EQ(GisTopology::DistancePointToSegment({5, 4}, {0, 0}, {2, 0}), 5.0);
    EXPECT_EQ(GisTopology::DistancePointToSegment({3, 4}, {0, 0}, {1e-8, 0}), 5.0) << "too short to have a direction";
    EXPECT_TRUE(GisTopology::PointOnSegment({1, 0.5}, {0, 0}, {2, 0}, 0.5) &&
                !GisTopology::PointOnSegment({1, above}, {0, 0}, {2, 0}, 0.5));

    struct Row {
        P q1, q2;
        double tolerance;
        bool meet, proper;
        P at;
    };
    // Against the segment from (0, 0) to (4, 0).
    for (const Row& row : {Row{{2, -1}, {2, 1}, 1e-9, true, true, {2, 0}},
                           {{2, 0}, {2, 1}, 1e-9, true, false, {2, 0}},
                           {{2, 0.4}, {2, 1.4}, 0.5, true, false, {2, 0}}, // parameter, not distance
                           {{2, 0.4}, {2, 0.7}, 0.5, false, false, {}},
                           {{2, 0.6}, {2, 0.7}, 0.5, false, false, {}},
                           {{5, -1}, {5, 1}, 0.25, true, true, {5, 0}},
                           {{5, -1}, {5, 1}, 0.2, false, false, {}},
                           {{1, 0}, {3, 0}, 0, true, false, {1, 0}},
                           {{3, 0}, {9, 0}, 0, true, false, {4, 0}},
                           {{4, 0}, {9, 0}, 0, true, false, {4, 0}},
                           {{5, 0}, {9, 0}, 0, false, false, {}},
                           {{5, 0}, {9, 0}, 1, true, false, {4, 0}}, // parallel: within the distance
                           {{1, 1e-10}, {3, 1e-10}, 1e-9, true, false, {1, 1e-10}},
                           {{nan, 0}, {3, 0}, 1e-9, true, false, {3, 0}}}) {
        SCOPED_TRACE(row.q1.toWkt().toStdString() + row.q2.toWkt().toStdString());
        P at;
        EXPECT_EQ(GisTopology::SegmentIntersectionPoint({0, 0}, {4, 0}, row.q1, row.q2, row.tolerance, &at), row.meet);
        EXPECT_EQ(GisTopology::SegmentIntersectionPoint({0, 0}, {4, 0}, row.q1, row.q2, row.tolerance, nullptr),
                  row.meet);
        EXPECT_EQ(GisTopology::ProperSegmentIntersection({0, 0}, {4, 0}, row.q1, row.q2, row.tolerance), row.proper);
        EXPECT_TRUE(row.meet ? at.x() == row.at.x() && at.y() == row.at.y() : at.isEmpty());
    }
    for (const auto& [matrix, pattern, matches] : {std::tuple{"FF*FF****", "", true},
                                                   {"", "F", true},
                                                   {"T*F", "**F", true},
                                                   {"T*F", "T", true},
                                                   {"1*F", "T*T", false},
                                                   {"1", "T", true},
                                                   {"1", "0", false},
                                                   {"T*F**FF*", "T*F**FF*1", true}}) {
        EXPECT_EQ(GisTopology::RelationMatches(matrix, pattern), matches) << matrix << " " << pattern;
    }
}

TEST(Predicates, FastEqualsPlainOnAwkwardShapes) {
    Random random;
    const double tolerances[] = {1e-9, 0.0, 1e-3, 1.0, inf, 0.3, 1e-150};
    const std::pair<double, double> places[] = {{1, 0},    {1e-9, 0},   {1e9, 0},   {1, 1e6},    {0.1, 500000.3},
                                                {1e-9, 1}, {1e-160, 0}, {1e150, 0}, {1000.1, 7}, {3.3e5, -1e6}};
    for (int i = 0; i < 6000; ++i) {
        const bool grid = !random.oneIn(3);
        const int side = 2 + random.whole(8);
        const auto [scale, shift] = places[i % 10];
        const Shape a = moved(*random.awkward(side, grid), scale, shift);
        const Shape b = moved(random.oneIn(12) ? *a : *random.awkward(side, grid), random.oneIn(12) ? 1 : scale, shift);
        const double tolerance = tolerances[random.whole(7)] * (random.oneIn(2) ? scale : 1);
        expectPlainAnswers(*a, *b, tolerance);
        if (HasFatalFailure()) {
            return;
        }
    }
}

/// Squares of such numbers are 0 or lose their digits, and what is apart has no distance.
TEST(Predicates, FastEqualsPlainOnNumbersTooSmallToSquare) {
    const char* const shapes[] = {"POINT(3e-320 3e-320)",
                                  "POINT(1e-200 0)",
                                  "POINT(0 0)",
                                  "LINESTRING(0 0,0 0)",
                                  "LINESTRING(0 0,3e-320 0)",
                                  "LINESTRING(1e-170 1e-170,0 0,1e-170 0)",
                                  "LINESTRING(0 0,1 0)",
                                  "POLYGON((0 0,0 0,0 0))",
                                  "POLYGON((0 0,4 0,4 4,0 0))",
                                  "POLYGON((0 0,4e-320 0,4e-320 4e-320,0 4e-320,0 0))"};
    for (const char* const one : shapes) {
        for (const char* const other : shapes) {
            for (const double tolerance : {0.0, 1e-320, 1e-9}) {
                expectPlainAnswers(*GisWktReader::read(one), *GisWktReader::read(other), tolerance);
            }
        }
    }
}

TEST(Predicates, FastEqualsPlainOnManyVertices) {
    Random random;
    for (int i = 0; i < 30; ++i) {
        const double scale = std::pow(10.0, random.whole(19) - 9);
        const double tolerance = random.oneIn(4) ? 0.0 : random.oneIn(3) ? scale * 1e-2 : 1e-9;
        const Shape a = moved(*random.manyVertices(), scale, 0);
        const Shape b = moved(random.oneIn(5) ? *a : *random.manyVertices(), scale, random.oneIn(3) ? 1e-7 * scale : 0);
        expectPlainAnswers(*a, *b, tolerance);
        GisTopology topology;
        topology.SetTolerance(tolerance);
        const GisPreparedShape prepared(*a, topology);
        const QList<P> own = vertices(*a);
        for (int j = 0; j < 100 && !HasFatalFailure(); ++j) {
            const P v = own[random.whole(static_cast<int>(own.size()))];
            const double x = random.oneIn(2) ? v.x() : random.real(-1, 11) * scale;
            const double y = random.oneIn(2) ? v.y() : random.real(-1, 11) * scale;
            expectPlainAnswers(*a, random.oneIn(50) ? P(nan, inf) : P(x, y), tolerance, prepared);
        }
        if (HasFatalFailure()) {
            return;
        }
    }
}

// Segments on one line "meet" wherever they are when rounding makes the denominator larger than the tolerance.
TEST(Predicates, FastEqualsPlainWhereParallelsMeetByNoise) {
    Random random;
    int byNoise = 0;
    for (int i = 0; i < 4000; ++i) {
        const double length = std::pow(10.0, random.real(1, 8));
        const double angle = random.real(0, 2 * std::numbers::pi);
        const double dx = length * std::cos(angle);
        const double dy = length * std::sin(angle);
        const double x = random.real(-1, 1) * length;
        const double y = random.real(-1, 1) * length;
        const auto lineOf = [&](double from, int segments) {
            QList<P> part;
            for (int j = 0; j <= segments; ++j) {
                const double along = from + j * random.real(0.5, 1.0);
                const double off = random.oneIn(4) ? random.real(-1e-15, 1e-15) : 0.0;
                part.append(P(x + along * dx - off * dy, y + along * dy + off * dx));
            }
            return shapeOf<GisShapePolyline>({part});
        };
        const Shape a = lineOf(0, 1 + random.whole(20));
        const Shape b = lineOf(random.real(25, 60), 1 + random.whole(20));
        const double tolerance = random.oneIn(2) ? 0.0 : random.oneIn(2) ? 1e-9 : 1e-6 * random.real(0, 1);
        byNoise += boundariesMeet(*a, *b, tolerance, false) ? 1 : 0;
        expectPlainAnswers(*a, *b, tolerance);
        if (HasFatalFailure()) {
            return;
        }
    }
    EXPECT_GT(byNoise, 100);
}

TEST(Predicates, FastEqualsPlainOnRealShapes) {
    Random random;
    for (const auto& [file, scale, pairs] : {std::tuple{"us-counties.gpkg", 1.0, 250},
                                             {"us-counties.gpkg", 111319.49079327358, 250},
                                             {"world-countries.gpkg", 1.0, 40},
                                             {"world-countries.gpkg", 111319.49079327358, 40}}) {
        GisLayerOgrVector layer(QStringLiteral(CARTOLITH_DATA_DIR "/") + file);
        ASSERT_TRUE(layer.open());
        const QList<GisShape*> shapes = layer.rawShapes();
        for (int tested = 0; tested < pairs;) {
            const GisShape& a = *shapes[random.whole(static_cast<int>(shapes.size()))];
            const GisShape& b = *shapes[random.whole(static_cast<int>(shapes.size()))];
            const auto work = static_cast<double>(vertices(a).size()) * static_cast<double>(vertices(b).size());
            if (!a.extent().intersects(b.extent()) || work > 1e6) {
                continue;
            }
            ++tested;
            expectPlainAnswers(*moved(a, scale, 0), *moved(b, scale, 0), random.oneIn(4) ? 0.0 : 1e-9);
            if (HasFatalFailure()) {
                return;
            }
        }
    }
}

// A derived class answers for itself.
class Everywhere : public GisShapePolygon {
public:
    bool contains(const P& p, double) const override { return p.x() == 1e7 ? throw std::logic_error("too far") : true; }
};

TEST(Predicates, DerivedClassesAreAsked) {
    Everywhere everywhere;
    everywhere.parts() = {{P(0, 0), P(1, 0), P(1, 1)}};
    Random random;
    for (int i = 0; i < 300; ++i) {
        const Shape other = random.awkward(6, true);
        expectPlainAnswers(everywhere, *other, 1e-9);
        expectPlainAnswers(*other, everywhere, 1e-9);
    }
    const P far(1e7, 0);
    EXPECT_THROW(GisTopology::ShapeWithin(far, everywhere, 0), std::logic_error);
    EXPECT_THROW(GisTopology().Within(far, everywhere), std::logic_error);
}

TEST(Predicates, BusyCallbackIsAskedAndObeyed) {
    Random random;
    // Each far inside the boxes of the other's runs, and NaN keeps the boxes from helping.
    const auto ring = [&random](double radius) {
        QList<P> star = random.star(0, 0, radius, 3000);
        star.append(P(nan, nan));
        return shapeOf<GisShapePolygon>({star});
    };
    const Shape a = ring(1);
    const Shape b = moved(*a, 1, 100);
    const Shape wide = shapeOf<GisShapePolygon>({{P(-200, -200), P(-200, 300), P(-201, nan), P(300, 300)}});
    Parts both = boundary(*a);
    both.append(boundary(*wide)[0]);
    const Shape c = shapeOf<GisShapePolyline>(both);
    int calls = 0;
    int limit = 1000;
    GisTopology topology;
    topology.SetBusyCallback([&](int done, int total) {
        EXPECT_TRUE(done > 0 && done < total);
        return ++calls < limit;
    });
    EXPECT_EQ(topology.Relate(*b, *c), Answers(*b, *c, 1e-9).pattern);
    EXPECT_GT(calls, 1);
    limit = 1;
    const GisPreparedShape prepared(*b, topology);
    for (const bool answer : {topology.Disjoint(*b, *c), topology.Intersect(*b, *c), prepared.Intersect(*c),
                              topology.Relate(*b, *c, ""), prepared.Relate(*c, "")}) {
        EXPECT_FALSE(answer);
    }
    EXPECT_TRUE(topology.Relate(*b, *c).isNull() && prepared.Relate(*c).isNull());
    topology.SetBusyCallback([](int, int) -> bool { throw std::logic_error("stop"); });
    EXPECT_THROW(topology.Touch(*b, *c), std::logic_error);
}

} // namespace
