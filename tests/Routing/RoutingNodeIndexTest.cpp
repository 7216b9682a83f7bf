#include "RoutingTestData.h"

#include <Cartolith/Core/Routing/RoutingNodeIndex.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <functional>

namespace {

using namespace Cartolith::Core::Routing;
using test::infinity;
using test::nan;
using testing::IsEmpty;

bool isFinite(const RoutingPoint& point) {
    return std::isfinite(point.x) && std::isfinite(point.y);
}

RoutingNearestNodeResult linearNearest(const RoutingGraph& graph, const RoutingPoint& point, double maxDistance) {
    RoutingNearestNodeResult best;
    for (const RoutingNode& node : graph.nodes()) {
        const double d = point.distanceTo(node.position);
        if (isFinite(node.position) && maxDistance >= 0 && d <= maxDistance &&
            (d < best.distance || (d == best.distance && (!best.found() || node.id < best.nodeId)))) {
            best = {node.id, node.position, d};
        }
    }
    return best;
}

TEST(RoutingNodeIndex, AnswersAsALookAtEveryNode) {
    std::mt19937 random(test::seed());
    const auto uniform = [&random](double a, double b) { return std::uniform_real_distribution<double>(a, b)(random); };
    const auto whole = [&random](int a, int b) { return double(std::uniform_int_distribution<int>(a, b)(random)); };
    struct Row {
        const char* name;
        std::function<RoutingPoint()> point;
    };
    const Row rows[] = {{"spread", [&] { return RoutingPoint(uniform(0, 1000), uniform(0, 500)); }},
                        {"lattice", [&] { return RoutingPoint(whole(0, 12), whole(0, 12)); }},
                        {"one place", [&] { return RoutingPoint(3, 4); }},
                        {"on a line", [&] { return RoutingPoint(whole(0, 900), 7); }},
                        {"far from 0", [&] { return RoutingPoint(5e6 + uniform(0, 10), 6e6 + uniform(0, 10)); }},
                        {"outliers",
                         [&] {
                             return whole(0, 200) == 0 ? RoutingPoint(uniform(-1e9, 1e9), 1e12)
                                                       : RoutingPoint(whole(0, 40), whole(0, 40));
                         }},
                        {"huge and NaN", [&] {
                             const double odd[] = {0.0, 1e300, -1e300, 1e-300, infinity, nan, 1.0};
                             return RoutingPoint(odd[int(whole(0, 6))], odd[int(whole(0, 6))]);
                         }}};
    for (const Row& row : rows) {
        RoutingGraph graph;
        for (int i = 0; i < 1000; ++i) {
            graph.addNode(test::node(i * 7919 % 1000, row.point().x, row.point().y));
        }
        RoutingNodeIndex index;
        for (const double cellSize : {-1.0, 1e-300, infinity}) {
            index.build(graph, cellSize);
            for (int i = 0; i < 60; ++i) {
                RoutingPoint point = i % 3 == 0
                                         ? row.point()
                                         : RoutingPoint(row.point().x + whole(-3, 3), row.point().y + uniform(-3, 3));
                point = i % 10 == 0 ? RoutingPoint(point.x * 4 - 100, point.y) : point;
                for (const double distance : {infinity, 1e300, 2.0, 1.0, 0.0, -1.0}) {
                    const auto expected = linearNearest(graph, point, distance);
                    const auto found = index.nearestNode(point, distance);
                    ASSERT_EQ(found.nodeId, expected.nodeId) << row.name << " " << point.x << " " << point.y
                                                             << " within " << distance << ", seed " << test::seed();
                    ASSERT_EQ(found.distance, expected.distance);
                    QList<int> around;
                    for (const RoutingNode& node : graph.nodes()) {
                        if (point.distanceTo(node.position) <= distance && isFinite(node.position)) {
                            around.append(node.id);
                        }
                    }
                    std::sort(around.begin(), around.end());
                    ASSERT_EQ(index.nodesInRadius(point, distance), around) << row.name;
                }
            }
        }
    }
}

TEST(RoutingNodeIndex, SettlesTheCellSize) {
    RoutingGraph graph;
    RoutingNodeIndex index;
    index.build(graph, 5);
    EXPECT_FALSE(index.isBuilt());
    EXPECT_FALSE(index.nearestNode({0, 0}).found());
    EXPECT_THAT(index.nodesInRadius({0, 0}, 1e300), IsEmpty());
    EXPECT_EQ(RoutingNodeIndex::chooseCellSize(graph), 1);
    graph.addNode(test::node(-1, 0, 0));
    EXPECT_EQ(RoutingNodeIndex::chooseCellSize(graph), 1) << "a single place";
    for (int i = 1; i < 100; ++i) {
        graph.addNode(test::node(-1, i == 1 ? 1000 : i * 10, i * 5));
    }
    graph.addNode(test::node(99, 1000, 500));
    for (const auto& [wanted, used] : {std::pair(-1.0, 100.0), {0.0, 100.0}, {2.5, 2.5}, {infinity, 1.0}, {nan, 1.0}}) {
        index.build(graph, wanted);
        EXPECT_EQ(index.cellSize(), used) << wanted;
    }
    EXPECT_EQ(index.nodeCount(), 100);
    index.build(graph, 100); // columns 0 to 10, rows 0 to 5
    EXPECT_EQ(index.maximumRingFrom(0, 0), 11);
    EXPECT_EQ(index.maximumRingFrom(-5, 20), 21);
    EXPECT_EQ(index.maximumRingFrom(LLONG_MIN, 0), LLONG_MAX);
    index.clear();
    EXPECT_FALSE(index.isBuilt() || index.nodeCount() != 0);
}

} // namespace
