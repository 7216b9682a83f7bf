// The search against the plainest one, and the faster searches against both.

#include "RoutingTestData.h"

#include <Cartolith/Core/Routing/RoutingDijkstra.h>
#include <Cartolith/Core/Routing/RoutingSearch.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace Cartolith::Core::Routing;
using test::edge;
using test::infinity;
using test::nan;
using test::PlainSearch;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto distance = RoutingCostMetric::Distance;
constexpr auto travelTime = RoutingCostMetric::TravelTime;

QList<int> pathOf(const PlainSearch& search, int source, int target) {
    QList<int> path;
    for (int node = target; std::isfinite(search.costTo(target)); node = search.previous.at(node)) {
        path.prepend(node);
        if (node == source) {
            break;
        }
    }
    return path;
}

void checkRoute(const RoutingGraph& graph, const RoutingRoute& route, const PlainSearch& plain, int target,
                RoutingCostMetric metric, double tolerance) {
    const double cost = metric == distance ? route.totalDistance : route.totalTime;
    ASSERT_EQ(route.success, std::isfinite(plain.costTo(target)));
    ASSERT_EQ(route.message, route.success ? "" : "No route found.");
    if (route.success) {
        ASSERT_LE(std::abs(cost - plain.costTo(target)), tolerance * plain.costTo(target));
        ASSERT_EQ(route.edgePath.size() + 1, route.nodePath.size());
        for (int i = 0; i < route.edgePath.size(); ++i) {
            ASSERT_EQ(graph.edges()[route.edgePath[i]].startNode, route.nodePath[i]);
            ASSERT_EQ(graph.edges()[route.edgePath[i]].endNode, route.nodePath[i + 1]);
        }
    }
}

TEST(RoutingDijkstra, AnswersAsThePlainSearch) {
    std::mt19937 random(test::seed());
    for (int round = 0; round < 150; ++round) {
        const int nodes = 2 + round % 30;
        RoutingGraph graph = test::randomGraph(random, nodes, nodes * (1 + round % 5));
        for (const auto metric : {distance, travelTime}) {
            for (const double defaultSpeed : {30.0, 0.0, nan}) {
                const int source = std::uniform_int_distribution<int>(0, nodes)(random);
                const int target = std::uniform_int_distribution<int>(-1, nodes)(random);
                SCOPED_TRACE(testing::Message() << "round " << round << ", seed " << test::seed());
                const PlainSearch plain(graph, source, target, metric, defaultSpeed);
                const auto result = RoutingDijkstra::run(graph, source, target, metric, defaultSpeed);
                ASSERT_EQ(result.reachedCount(), int(plain.costs.size()));
                for (int node = -2; node < 3 * nodes; ++node) {
                    ASSERT_EQ(result.costTo(node), plain.costTo(node));
                    ASSERT_EQ(result.hasPathTo(node), plain.costs.count(node) > 0);
                }
                ASSERT_EQ(test::sorted(result.costs()), plain.costs);
                ASSERT_EQ(test::sorted(result.previousNodes()), plain.previous);
                ASSERT_EQ(test::sorted(result.previousEdges()), plain.edges);
                double cost = 0.0;
                const auto path = RoutingDijkstra::shortestNodePath(graph, source, target, &cost, metric, defaultSpeed);
                ASSERT_EQ(path, pathOf(plain, source, target));
                ASSERT_EQ(cost, plain.costTo(target));
                if (target < 0) {
                    continue;
                }
                checkRoute(graph, RoutingDijkstra::shortestRoute(graph, source, target, metric, defaultSpeed), plain,
                           target, metric, 0.0);
                checkRoute(graph, RoutingSearch::aStarRoute(graph, source, target, metric, defaultSpeed), plain, target,
                           metric, 0.0);
                checkRoute(graph, RoutingSearch::bidirectionalRoute(graph, source, target, metric, defaultSpeed), plain,
                           target, metric, nodes * std::ldexp(1.0, -51));
            }
        }
    }
}

TEST(RoutingSearch, AStarKeepsTheLastBitWhereWaysDifferByRounding) {
    std::mt19937 random(test::seed());
    std::uniform_real_distribution<double> shift(-1e-13, 1e-13);
    RoutingGraph graph;
    constexpr int side = 14; // a lattice on which all ways that never turn back cost nearly the same
    for (int i = 0; i < side * side; ++i) {
        graph.addNode(test::node(i, 0.1 * (i % side), 0.1 * (i / side)));
    }
    for (int i = 0; i < side * side; ++i) {
        for (const int next : {i + 1, i + side}) {
            if (next < side * side && (next == i + side || next % side != 0)) {
                graph.addEdge(edge(i, next, graph.straightDistance(i, next) * (1 + shift(random))));
            }
        }
    }
    for (int target = 0; target < side * side; ++target) {
        const PlainSearch plain(graph, 0, target, distance, 0);
        checkRoute(graph, RoutingSearch::aStarRoute(graph, 0, target), plain, target, distance, 0.0);
        checkRoute(graph, RoutingSearch::bidirectionalRoute(graph, 0, target), plain, target, distance, 1e-14);
    }
}

TEST(RoutingDijkstra, ManyTargetsAndPairs) {
    std::mt19937 random(test::seed());
    const RoutingGraph graph = test::randomGraph(random, 40, 120);
    const QList<int> nodes{0, 4, 12, 4, 999, -3, 36};
    const auto times = RoutingDijkstra::allPairsTravelTimes(graph, nodes, 20);
    const auto distances = RoutingDijkstra::allPairsDistances(graph, nodes);
    EXPECT_EQ(RoutingSearch::costMatrix(graph, nodes, nodes, travelTime, 20), times);
    for (int i = 0; i < nodes.size(); ++i) {
        const PlainSearch plain(graph, nodes[i], -1, distance, 0);
        for (int j = 0; j < nodes.size(); ++j) {
            EXPECT_EQ(distances[i][j], plain.costTo(nodes[j])) << i << " " << j;
        }
    }
    const auto some = RoutingDijkstra::runToAll(graph, 0, {4, 999});
    EXPECT_EQ(some.costTo(4), distances[0][1]);
    EXPECT_LT(some.reachedCount(), RoutingDijkstra::run(graph, 0).reachedCount());
}

TEST(RoutingDijkstra, BrokenTablesAndMissingNodes) {
    const RoutingDijkstraResult circle(1, {{1, 0.0}, {2, 1.0}, {3, 2.0}}, {{2, 3}, {3, 2}}, {});
    const RoutingDijkstraResult gap(1, {{1, 0.0}, {2, 1.0}}, {}, {});
    const RoutingDijkstraResult chain(1, {{1, 0.0}, {2, 1.0}}, {{2, 1}}, {});
    EXPECT_THAT(RoutingDijkstra::extractNodePath(circle, 3), IsEmpty());
    EXPECT_THAT(RoutingDijkstra::extractNodePath(gap, 2), IsEmpty());
    EXPECT_THAT(RoutingDijkstra::extractNodePath(chain, 2), ElementsAre(1, 2));
    EXPECT_THAT(RoutingDijkstra::extractNodePath(chain, 1), ElementsAre(1));
    EXPECT_THAT(RoutingDijkstra::extractNodePath(RoutingDijkstraResult(4), 4), IsEmpty());

    RoutingGraph graph;
    EXPECT_FALSE(RoutingDijkstra::shortestRoute(graph, 0, 0).success) << "an empty graph";
    graph.addNode(test::node(0, 0, 0));
    EXPECT_THAT(RoutingDijkstra::shortestRoute(graph, 0, 0).nodePath, ElementsAre(0));
    EXPECT_EQ(RoutingSearch::aStarRoute(graph, 0, 7).message, "No route found.");
    EXPECT_EQ(RoutingSearch::bidirectionalRoute(graph, -1, 0).message, "No route found.");
    // Another search, a change of the graph and its end leave a result as it is.
    auto moved = std::make_unique<RoutingGraph>(std::move(graph));
    const auto before = RoutingDijkstra::run(*moved, 0);
    moved->addEdge(edge(0, moved->addNode(test::node(-1, 1, 1)), 5));
    EXPECT_EQ(RoutingDijkstra::run(*moved, 0).costTo(1), 5);
    moved.reset();
    EXPECT_EQ(before.costTo(1), infinity);
    EXPECT_EQ(before.costs().size(), 1);
}

TEST(RoutingDijkstra, FollowsDrawnMaps) {
    struct {
        QStringList map;
        const char* route; // the letters passed, "" for none
    } const rows[] = {{{"S-A-E"}, "SAE"},
                      {{"S<A-E"}, ""},
                      {{"S-A E"}, ""},
                      {{"S-A-B", //
                        "v   |", "C>D>E"},
                       "SABE"},  // as long over C, but A is settled before
                      {{"S-A-B", //
                        "v   |", "C>D<E"},
                       "SABE"},
                      {{"S-A-B-C", //
                        "v ^   |",
                        "D>F G E", //
                        "v   ^ ^", "H>I>J>K"},
                       "SABCE"}};
    for (const auto& row : rows) {
        QMap<QChar, int> ids;
        const RoutingGraph graph = test::drawn(row.map, ids);
        const auto route = RoutingDijkstra::shortestRoute(graph, ids['S'], ids['E']);
        QString letters;
        for (const int node : route.nodePath) {
            letters += ids.key(node);
        }
        EXPECT_EQ(letters, row.route) << row.map.join("\n").toStdString();
        EXPECT_EQ(route.geometry, RoutingDijkstra::pathToGeometry(graph, route.nodePath));
        EXPECT_EQ(route.size(), route.nodePath.size()) << "shared points are there once";
        EXPECT_EQ(route.totalDistance, 10.0 * int(route.edgePath.size()));
    }
}

TEST(RoutingRoute, TellsTheStreetsAndTurns) {
    RoutingGraph graph;
    const QList<RoutingPoint> at{{0, 0}, {0, 10}, {0, 20}, {10, 20}, {10, 30}, {0, 30}};
    const char* const names[] = {"A", "A", "B", "", "C"};
    for (int i = 0; i < at.size(); ++i) {
        graph.addNode(test::node(i, at[i].x, at[i].y));
    }
    for (int i = 0; i + 1 < at.size(); ++i) {
        graph.addEdge(edge(i, i + 1, 99, 50, {at[i], {-50, 0}, at[i + 1]})); // longer, first in the list
        RoutingEdge street = edge(i, i + 1, 10, i == 4 ? 0 : 36, {at[i], at[i], at[i + 1]});
        street.attributes["name"] = names[i];
        graph.addEdge(street);
    }
    const auto route = RoutingDijkstra::shortestRoute(graph, 0, 5, distance, 18);
    ASSERT_EQ(route.legs.size(), 4);
    const double expected[][4] = {{20, 2, 0, 0}, {10, 1, -90, 4}, {10, 1, 90, 6}, {10, 2, 90, 8}};
    for (int i = 0; i < 4; ++i) {
        const RoutingLeg& leg = route.legs[i];
        EXPECT_THAT((std::array{leg.distance, leg.time, leg.turn, double(leg.firstPoint)}),
                    testing::ElementsAreArray(expected[i]))
            << i;
    }
    EXPECT_EQ(route.totalTime, 6);
    EXPECT_EQ(route.geometry, RoutingDijkstra::pathToGeometry(graph, route.nodePath));
}

} // namespace
