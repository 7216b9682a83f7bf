#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QString>
#include <gtest/gtest.h>

#include <limits>

using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Shapes::GisShapePoint;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

void expectBounds(const GisExtent& e, double xMin, double yMin, double xMax, double yMax) {
    EXPECT_EQ(e.xMin(), xMin);
    EXPECT_EQ(e.yMin(), yMin);
    EXPECT_EQ(e.xMax(), xMax);
    EXPECT_EQ(e.yMax(), yMax);
}

TEST(GisExtent, PutsCornersInOrder) {
    expectBounds(GisExtent(10, 20, 0, 5), 0, 5, 10, 20);
    expectBounds(GisExtent(0, 5, 10, 20), 0, 5, 10, 20);
}

TEST(GisExtent, InflateByANegativeAmountSwapsTheBoundsBack) {
    expectBounds(GisExtent(0, 0, 4, 4).inflate(-10, 0), -6, 0, 10, 4);
    EXPECT_TRUE(GisExtent().inflate(5, 5).isEmpty());
}

TEST(GisExtent, IntersectsIsClosedAndFalseForEmpty) {
    const GisExtent box(0, 0, 10, 10);
    struct Row {
        const char* name;
        GisExtent other;
        bool expected;
    };
    const Row rows[] = {
        {"shares an edge", {10, 2, 20, 4}, true},
        {"shares a corner", {10, 10, 20, 20}, true},
        {"one ulp beyond the edge", {std::nextafter(10.0, 11.0), 2, 20, 4}, false},
        {"inside", {4, 4, 5, 5}, true},
        {"beside in y", {0, 11, 10, 12}, false},
        {"empty", {}, false},
        {"a single NaN bound", {0, nan, 10, 10}, false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(box.intersects(row.other), row.expected) << row.name;
        EXPECT_EQ(row.other.intersects(box), row.expected) << row.name << ", the other way round";
    }
}

TEST(GisExtent, ExpandIgnoresTheEmptySide) {
    const GisExtent box(1, 2, 3, 4);
    expectBounds(GisExtent().expand(box), 1, 2, 3, 4);
    expectBounds(box.expand(GisExtent()), 1, 2, 3, 4);
    expectBounds(box.expand(GisExtent(-1, 3, 2, 9)), -1, 2, 3, 9);
    EXPECT_TRUE(GisExtent().expand(GisExtent()).isEmpty());
}

TEST(GisExtent, ContainsItsBoundaryButNoNan) {
    const GisExtent box(0, 0, 10, 10);
    EXPECT_TRUE(box.contains(GisShapePoint(10, 0)));
    EXPECT_FALSE(box.contains(GisShapePoint(5, nan)));
    EXPECT_FALSE(GisExtent().contains(GisShapePoint(0, 0)));
    EXPECT_TRUE(GisExtent().center().isEmpty());
}

TEST(GisExtent, TextHasSixDigitsAndNoLocale) {
    EXPECT_EQ(GisExtent(0.5, 1234567, 2, 12345678).toString(), "0.5, 1.23457e+06, 2, 1.23457e+07");
    EXPECT_EQ(GisExtent().toString(), "nan, nan, nan, nan");
}

} // namespace
