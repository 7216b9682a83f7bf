#include <Cartolith/Map/Labels/LineMerge.h>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using Cartolith::Map::Labels::mergeLines;

TEST(LineMerge, PartsOfOneNameAreJoinedEndToEnd) {
    using Lines = std::vector<std::vector<double>>;
    std::vector<int> many(17, 1);
    Lines star;
    for (int i = 0; i < 17; ++i) {
        star.push_back({0, 0, std::cos(i), std::sin(i)});
    }
    const struct {
        const char* name;
        Lines parts;
        std::vector<int> names;
        Lines expected;
        std::vector<qsizetype> lineOf;
    } rows[] = {
        {"one after the other", {{0, 0, 1, 0}, {1, 0, 2, 0}}, {1, 1}, {{0, 0, 1, 0, 2, 0}}, {0, 0}},
        {"drawn towards each other", {{0, 0, 1, 0}, {2, 0, 1, 0}}, {1, 1}, {{0, 0, 1, 0, 2, 0}}, {0, 0}},
        {"the first is in the middle",
         {{1, 0, 2, 0}, {0, 0, 1, 0}, {2, 0, 3, 0}},
         {1, 1, 1},
         {{0, 0, 1, 0, 2, 0, 3, 0}},
         {0, 0, 0}},
        {"another name", {{0, 0, 1, 0}, {1, 0, 2, 0}}, {1, 2}, {{0, 0, 1, 0}, {1, 0, 2, 0}}, {0, 1}},
        {"no name", {{0, 0, 1, 0}, {1, 0, 2, 0}}, {-1, -1}, {{0, 0, 1, 0}, {1, 0, 2, 0}}, {0, 1}},
        {"they meet inside", {{0, 0, 1, 0, 2, 0}, {1, 0, 1, 1}}, {1, 1}, {{0, 0, 1, 0, 2, 0}, {1, 0, 1, 1}}, {0, 1}},
        {"around a corner", {{0, 0, 1, 0}, {1, 0, 0, 1}}, {1, 1}, {{0, 0, 1, 0, 0, 1}}, {0, 0}},
        {"of three the straight ones",
         {{1, 1, 1, 0}, {0, 0, 1, 0}, {1, 0, 2, 0}},
         {1, 1, 1},
         {{1, 1, 1, 0}, {0, 0, 1, 0, 2, 0}},
         {0, 1, 1}},
        {"a fork",
         {{0, 0, 0, 1}, {0, 0, 0.9, -0.1}, {0, 0, -0.9, -0.1}},
         {1, 1, 1},
         {{0, 0, 0, 1}, {-0.9, -0.1, 0, 0, 0.9, -0.1}},
         {0, 1, 1}},
        {"a ring in two", {{0, 0, 1, 0}, {1, 0, 1, 1, 0, 0}}, {1, 1}, {{1, 0, 1, 1, 0, 0, 1, 0}}, {0, 0}},
        {"a ring in one", {{0, 0, 1, 0, 1, 1, 0, 0}}, {1}, {{0, 0, 1, 0, 1, 1, 0, 0}}, {0}},
        {"the same twice", {{0, 0, 1, 0}, {0, 0, 1, 0}}, {1, 1}, {{1, 0, 0, 0, 1, 0}}, {0, 0}},
        {"a star of 17", star, many, star, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
        {"minus nothing", {{0, 0, 1, -0.0}, {1, 0.0, 2, 0}}, {1, 1}, {{0, 0, 1, 0, 2, 0}}, {0, 0}},
        {"a vertex and nothing", {{0, 0}, {}, {0, 0, 1, 0}}, {1, 1, 1}, {{0, 0}, {}, {0, 0, 1, 0}}, {0, 1, 2}},
        {"infinite",
         {{0, 0, INFINITY, 0}, {INFINITY, 0, 1, 1}},
         {1, 1},
         {{0, 0, INFINITY, 0}, {INFINITY, 0, 1, 1}},
         {0, 1}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<double> coordinates;
        std::vector<qsizetype> ends;
        for (const auto& part : row.parts) {
            coordinates.insert(coordinates.end(), part.begin(), part.end());
            ends.push_back(static_cast<qsizetype>(coordinates.size() / 2));
        }
        const auto merged = mergeLines(coordinates, ends, row.names);
        Lines lines;
        for (std::size_t i = 0, from = 0; i < merged.lineEnds.size(); ++i) {
            const auto to = static_cast<std::size_t>(2 * merged.lineEnds[i]);
            lines.emplace_back(merged.coordinates.begin() + static_cast<std::ptrdiff_t>(from),
                               merged.coordinates.begin() + static_cast<std::ptrdiff_t>(to));
            from = to;
        }
        EXPECT_EQ(lines, row.expected);
        EXPECT_EQ(merged.lineOf, row.lineOf);
    }
    EXPECT_THROW(mergeLines({}, {}, std::vector<int>{1}), std::invalid_argument);
}
