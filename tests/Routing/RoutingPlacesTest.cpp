// Places along edges: finding them, routes between them, and how far one comes from them.

#include "RoutingTestData.h"

#include <Cartolith/Core/Routing/RoutingDijkstra.h>
#include <Cartolith/Core/Routing/RoutingEdgeIndex.h>
#include <Cartolith/Core/Routing/RoutingIsochrone.h>
#include <Cartolith/Core/Routing/RoutingSearch.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

using namespace Cartolith::Core::Routing;
using test::edge;
using test::infinity;
using test::nan;

// Streets with a bend between random crossings, most of them open in both directions.
RoutingGraph bentStreets(std::mt19937& random, int crossings, int streets) {
    std::uniform_int_distribution<int> any(0, crossings - 1);
    std::uniform_real_distribution<double> coordinate(0, 100);
    RoutingGraph graph;
    for (int i = 0; i < crossings; ++i) {
        graph.addNode(test::node(i, coordinate(random), coordinate(random)));
    }
    for (int i = 0; i < streets; ++i) {
        const int from = any(random), to = any(random);
        QList<RoutingPoint> line{
            graph.findNode(from)->position, {coordinate(random), coordinate(random)}, graph.findNode(to)->position};
        const double length = RoutingGraph::polylineLength(line);
        graph.addEdge(edge(from, to, length, 50, line));
        if (i % 3 != 0) {
            std::reverse(line.begin(), line.end());
            graph.addEdge(edge(to, from, length, 50, line));
        }
    }
    return graph;
}

/// The graph with a node at each place, where its edges are cut: what a route between places must agree with.
RoutingGraph cutAt(const RoutingGraph& graph, const QList<RoutingPlace>& places) {
    RoutingGraph cut;
    for (const RoutingNode& node : graph.nodes()) {
        cut.addNode(node);
    }
    for (int i = 0; i < graph.edgeCount(); ++i) {
        const RoutingEdge& whole = graph.edges()[i];
        QList<std::pair<double, int>> cuts{{0.0, whole.startNode}, {1.0, whole.endNode}};
        for (int k = 0; k < places.size(); ++k) {
            const RoutingEdge& street = graph.edges()[places[k].edge];
            const QList<RoutingPoint> back(street.geometry.crbegin(), street.geometry.crend());
            if (places[k].edge == i) {
                cuts.append({places[k].fraction, 1000 + k});
            } else if (whole.startNode == street.endNode && whole.geometry == back) {
                cuts.append({1 - places[k].fraction, 1000 + k});
            }
        }
        std::stable_sort(cuts.begin(), cuts.end(), [](auto a, auto b) { return a.first < b.first; });
        for (int k = 1; k < cuts.size(); ++k) {
            cut.addEdge(edge(cuts[k - 1].second, cuts[k].second, whole.length * (cuts[k].first - cuts[k - 1].first)));
        }
    }
    for (int k = 0; k < places.size(); ++k) {
        cut.addNode(test::node(1000 + k, 0, 0));
        const RoutingEdge& street = graph.edges()[places[k].edge];
        const double fraction = places[k].fraction;
        if (fraction == 0.0 || fraction == 1.0) { // the crossing itself
            cut.addEdge(edge(1000 + k, fraction == 0.0 ? street.startNode : street.endNode, 0));
            cut.addEdge(edge(fraction == 0.0 ? street.startNode : street.endNode, 1000 + k, 0));
        }
    }
    return cut;
}

TEST(RoutingEdgeIndex, FindsWhatALookAtEverySegmentFinds) {
    std::mt19937 random(test::seed());
    std::uniform_real_distribution<double> coordinate(-20, 120);
    RoutingGraph graph = bentStreets(random, 40, 60);
    graph.addEdge(edge(0, 1, 5, 50, {{nan, 0}, {50, 50}, {50, 51}}));
    graph.addEdge(edge(0, 1, 5, 50, {{30, 30}, {30, 30}}));
    RoutingEdgeIndex index;
    EXPECT_FALSE(index.nearestEdge({0, 0}).found());
    index.build(graph);
    for (int i = 0; i < 400; ++i) {
        const RoutingPoint point =
            i == 0 ? RoutingPoint(1e300, 0) : RoutingPoint(coordinate(random), coordinate(random));
        double least = infinity;
        for (const RoutingEdge& street : graph.edges()) {
            for (int k = 1; k < street.geometry.size(); ++k) {
                const RoutingPoint a = street.geometry[k - 1], b = street.geometry[k];
                const double dx = b.x - a.x, dy = b.y - a.y, square = dx * dx + dy * dy;
                const double t =
                    square > 0 ? std::clamp(((point.x - a.x) * dx + (point.y - a.y) * dy) / square, 0.0, 1.0) : 0;
                const double d = point.distanceTo({a.x + t * dx, a.y + t * dy});
                least = d < least ? d : least;
            }
        }
        const RoutingPlace place = index.nearestEdge(point);
        ASSERT_TRUE(place.found());
        if (std::isfinite(least)) {
            ASSERT_NEAR(place.distance, least, 1e-9);
            ASSERT_NEAR(place.position.distanceTo(point), least, 1e-9);
            const auto within = index.edgesWithin(point, least + 1e-9);
            ASSERT_TRUE(std::any_of(within.begin(), within.end(), [&](auto p) { return p.edge == place.edge; }));
            for (const RoutingPlace& other : within) {
                ASSERT_TRUE(other.edge >= place.edge || other.distance > place.distance) << "the first of equals";
            }
            ASSERT_FALSE(index.nearestEdge(point, least - 1e-6).found());
        }
    }
    EXPECT_FALSE(index.nearestEdge({nan, 0}).found());
    EXPECT_FALSE(index.nearestEdge({0, 0}, -1).found() || index.nearestEdge({0, 0}, nan).found());
}

TEST(RoutingSearch, RoutesBetweenPlacesAsInAGraphCutThere) {
    std::mt19937 random(test::seed());
    std::uniform_real_distribution<double> coordinate(-5, 105);
    for (int round = 0; round < 60; ++round) {
        const RoutingGraph graph = bentStreets(random, 12, 14);
        RoutingEdgeIndex index;
        index.build(graph);
        QList<RoutingPlace> places;
        for (int i = 0; i < 6; ++i) {
            places.append(index.nearestEdge({coordinate(random), coordinate(random)}));
        }
        for (const double fraction : {0.0, 1.0}) {
            RoutingPlace atNode;
            atNode.edge = 1;
            atNode.fraction = fraction;
            places.append(atNode);
        }
        for (const RoutingPlace& from : places) {
            for (const RoutingPlace& to : places) {
                const RoutingGraph cut = cutAt(graph, {from, to});
                const double expected = RoutingDijkstra::run(cut, 1000).costTo(1001);
                const auto route = RoutingSearch::routeBetween(graph, from, to);
                ASSERT_EQ(route.success, std::isfinite(expected)) << round << ", seed " << test::seed();
                if (route.success) {
                    ASSERT_NEAR(route.totalDistance, expected, 1e-9);
                    ASSERT_NEAR(RoutingGraph::polylineLength(route.geometry), expected, 1e-9);
                    for (int i = 1; i < route.size() && expected > 0; ++i) {
                        ASSERT_GT(route.geometry[i].distanceTo(route.geometry[i - 1]), 0.0) << "no street of 0 m";
                    }
                }
            }
        }
    }
    EXPECT_EQ(RoutingSearch::routeBetween({}, {}, {}).message, "No route found.");
}

TEST(RoutingSearch, TurnsAreThoseOfTheLines) {
    // The ends of the two lines are one node, four millimetres apart.
    RoutingGraph graph;
    graph.buildFromPolylines({{{0, 0}, {100, 0}}, {{100, 0.004}, {200, 0.004}}, {{200, 0}, {200, 50}}},
                             {{{"AD", "A"}}, {{"AD", "B"}}, {{"AD", "C"}}}, 0.01, false);
    const auto route = RoutingDijkstra::shortestRoute(graph, 0, 3);
    ASSERT_EQ(route.legs.size(), 3);
    EXPECT_EQ(route.legs[1].turn, 0.0);
    EXPECT_EQ(route.legs[2].turn, 90.0);
    EXPECT_EQ(route.geometry[route.legs[1].firstPoint], RoutingPoint(100, 0.004));
    graph.findNode(1)->id = 1'000'000'000; // the caller's affair: the node is found by its key
    EXPECT_EQ(RoutingSearch::aStarRoute(graph, 0, 3).totalDistance, route.totalDistance);
    for (const double side : {1.0, -1.0}) { // and back on itself
        graph.buildFromPolylines({{{0, 0}, {9 * side, 0}}, {{9 * side, 0}, {5 * side, 0}, {5 * side, 7}}},
                                 {{{"AD", "A"}}, {{"AD", "B"}}}, 0.01, false);
        EXPECT_EQ(RoutingDijkstra::shortestRoute(graph, 0, 2).legs.constLast().turn, 180.0) << side;
    }
}

TEST(RoutingIsochrone, CutsEdgesAtTheLimit) {
    std::mt19937 random(test::seed());
    for (int round = 0; round < 20; ++round) {
        const RoutingGraph graph = bentStreets(random, 15, 25);
        RoutingPlace place;
        place.edge = round;
        place.fraction = 0.25 * (round % 5);
        const auto nodeCosts = RoutingDijkstra::run(graph, 0);
        const RoutingGraph cut = cutAt(graph, {place});
        const auto placeCosts = RoutingDijkstra::run(cut, 1000);
        for (const double limit : {0.0, 30.0, 200.0, infinity}) {
            for (const bool fromNode : {true, false}) {
                const auto reached =
                    fromNode ? RoutingIsochrone::reach(graph, 0, limit) : RoutingIsochrone::reach(graph, place, limit);
                QList<double> farthest(graph.edgeCount(), 0.0); // fraction
                QList<double> covered(graph.edgeCount(), 0.0);
                for (const RoutingReach& reach : reached) {
                    const RoutingEdge& street = graph.edges()[reach.edge];
                    farthest[reach.edge] = std::max(farthest[reach.edge], reach.endFraction);
                    const double part = reach.endFraction - reach.startFraction;
                    covered[reach.edge] += part;
                    ASSERT_TRUE(part > 0.0 && covered[reach.edge] < 1.0 + 1e-9) << "each stretch once";
                    ASSERT_NEAR(reach.endCost - reach.startCost, part * street.length, 1e-9);
                    ASSERT_NEAR(RoutingGraph::polylineLength(reach.geometry), part * street.length, 1e-9);
                    ASSERT_TRUE(reach.endCost <= limit && (reach.endFraction == 1.0 || reach.endCost == limit ||
                                                           (!fromNode && reach.startFraction == 0.0)));
                }
                for (int i = 0; i < graph.edgeCount() && fromNode; ++i) {
                    const double start = nodeCosts.costTo(graph.edges()[i].startNode);
                    const double part = std::clamp((limit - start) / graph.edges()[i].length, 0.0, 1.0);
                    ASSERT_NEAR(farthest[i], std::isnan(part) ? 0.0 : part, 1e-12) << i;
                }
                for (const RoutingReach& reach : reached) {
                    if (!fromNode && reach.startFraction == 0.0) {
                        ASSERT_NEAR(reach.startCost, placeCosts.costTo(graph.edges()[reach.edge].startNode), 1e-9);
                    }
                }
            }
        }
    }
    EXPECT_TRUE(RoutingIsochrone::reach({}, 0, 5).isEmpty());
}

} // namespace
