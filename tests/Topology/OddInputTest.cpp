#include "EditingTestShapes.h"

#include <gtest/gtest.h>

#include <limits>

using namespace test;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

/// One line each: crossings with a line along y = 0, loops, problems, pieces; parts of a buffer; hull; distance to (0,
/// -1), length, area; point on the surface.
TEST(EditingOperations, AnswerOddInput) {
    const auto line = shapeOf("LINESTRING(-9 0,9 0)");
    const struct {
        const char* name;
        std::unique_ptr<GisShape> shape;
        const char* expected;
    } rows[] = {
        {"empty point", std::make_unique<GisShapePoint>(), "0 0 0 0; 0; POLYGON EMPTY; inf 0 0; POINT EMPTY"},
        {"infinite point", std::make_unique<GisShapePoint>(infinity, 0),
         "0 0 1 1; 0; POLYGON EMPTY; inf nan 0; POINT EMPTY"},
        {"empty line", std::make_unique<GisShapePolyline>(), "0 0 0 0; 0; POLYGON EMPTY; inf 0 0; POINT EMPTY"},
        {"empty polygon", std::make_unique<GisShapePolygon>(), "0 0 0 0; 0; POLYGON EMPTY; inf 0 0; POINT EMPTY"},
        {"point on the line", std::make_unique<GisShapePoint>(1, 0),
         "1 0 0 1; 1; POINT (1 0); 1.41421 0 0; POINT (1 0)"},
        {"line of one vertex", shapeOfParts<GisShapePolyline>({{{1, 0}}}),
         "1 0 1 0; 0; POINT (1 0); 1.41421 0 0; POINT (1 0)"},
        {"lines without a segment", shapeOfParts<GisShapePolyline>({{{nan, nan}}, {{1, 0}, {nan, nan}}}),
         "0 0 4 1; 0; POINT (1 0); 1.41421 nan 0; POINT (1 0)"},
        {"ring of one vertex", shapeOfParts<GisShapePolygon>({{{1, 0}}}),
         "1 0 1 0; 0; POINT (1 0); 1.41421 0 0; POINT EMPTY"},
        {"line with gaps", shapeOfParts<GisShapePolyline>({{{1, 1}, {nan, 0}, {3, 1}, {3, -1}, {4, infinity}}}),
         "1 0 2 2; 1; POLYGON ((1 1, 3 -1, 3 1, 1 1)); 2.23607 nan 0; POINT (3 0)"},
        {"ring with a gap", shapeOfParts<GisShapePolygon>({{{1, 1}, {3, 1}, {3, nan}, {3, 5}, {1, 5}, {1, 1}}}),
         "0 0 1 1; 1; POLYGON ((1 1, 3 1, 3 5, 1 5, 1 1)); 2.23607 nan nan; POINT (2 3)"},
    };
    const GisTopology topology;
    for (const auto& row : rows) {
        const auto buffer = topology.Buffer(*row.shape, 0.25);
        const QString answer = QStringLiteral("%1 %2 %3 %4; %5; %6; ")
                                   .arg(topology.GetCrossings(*row.shape, *line).size())
                                   .arg(topology.FindLoops(*row.shape).size())
                                   .arg(topology.CheckShape(*row.shape).size())
                                   .arg(topology.SplitByLine(*row.shape, *line).size())
                                   .arg(static_cast<const GisShapePolygon&>(*buffer).parts().size())
                                   .arg(topology.ConvexHull(*row.shape)->toWkt()) +
                               QStringLiteral("%1 %2 %3; %4")
                                   .arg(topology.Distance(*row.shape, GisShapePoint(0, -1)))
                                   .arg(GisTopology::Length(*row.shape))
                                   .arg(GisTopology::Area(*row.shape))
                                   .arg(GisTopology::PointOnSurface(*row.shape).toWkt());
        EXPECT_EQ(answer.toStdString(), row.expected) << row.name;
    }
}

TEST(EditingOperations, StopWhenAsked) {
    Random random;
    const auto tangle = shapeOfParts<GisShapePolyline>({random.walk(3000, false)});
    const auto ring = shapeOfParts<GisShapePolygon>({random.walk(3000, false)});
    Part diameters;
    for (int i = 0; i < 300; ++i) {
        const double angle = M_PI * i / 300;
        const double r = i % 2 == 0 ? 9 : -9;
        diameters.append({r * std::cos(angle), r * std::sin(angle)});
        diameters.append({-r * std::cos(angle), -r * std::sin(angle)});
    }
    const auto star = shapeOfParts<GisShapePolyline>({diameters});
    // Something is wrong with it, so that an empty list means stopped.
    const auto open = shapeOfParts<GisShapePolygon>({random.star(0, 0, 9, 50000)});
    open->parts()[0].removeLast();
    GisTopology topology;
    EXPECT_EQ(topology.CheckShape(*open).size(), 1);
    EXPECT_EQ(topology.GetCrossings(*star).size(), 300 * 299 / 2);
    topology.SetBusyCallback([](int, int) { return false; });
    EXPECT_TRUE(topology.GetCrossings(*star).isEmpty()); // many crossings, few segments
    EXPECT_TRUE(topology.GetCrossings(*tangle).isEmpty() && topology.FindLoops(*tangle).isEmpty());
    EXPECT_EQ(topology.RemoveLoops(*tangle, 1), nullptr);
    EXPECT_TRUE(topology.CheckShape(*open).isEmpty());
    EXPECT_EQ(topology.FixShape(*ring).shape, nullptr);
    EXPECT_FALSE(topology.CheckOverlay(*ring, *ring, Topology::GisTopologyCombineType::Union, *open)
                     .problem.indexOf(u"stopped") < 0);
    EXPECT_TRUE(topology.SplitAtSelfCrossings(*tangle).empty() && topology.SplitByLine(*ring, *tangle).empty());
}

} // namespace
