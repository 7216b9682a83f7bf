#include "RoutingTestData.h"

#include <Cartolith/Core/Routing/RoutingSearch.h>
#include <Cartolith/Core/Routing/RoutingSolver.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

using namespace Cartolith::Core::Routing;
using test::edge;
using test::infinity;
using test::nan;
using testing::ElementsAre;

/// A street of so many nodes, a minute from one to the next; node 99 cannot be left, 98 not be reached.
RoutingGraph street(int nodes) {
    RoutingGraph graph;
    for (int i = 0; i < nodes; ++i) {
        graph.addNode(test::node(i, 600.0 * i, 0));
    }
    for (int i = 0; i + 1 < nodes; ++i) {
        const QList<RoutingPoint> line{{600.0 * i, 0}, {600.0 * (i + 1), 0}};
        graph.addEdge(edge(i, i + 1, 600, 36, line));
        graph.addEdge(edge(i + 1, i, 600, 36, {line[1], line[0]}));
    }
    graph.addNode(test::node(98, 0, 0));
    graph.addNode(test::node(99, 0, 0));
    graph.addEdge(edge(0, 99, 600, 36));
    graph.addEdge(edge(98, 0, 600, 36));
    return graph;
}

RoutingStop stop(int node, double demand = 1, RoutingTimeWindow window = {}, double service = 0) {
    return {node, {}, demand, service, window};
}

QStringList messages(const RoutingPlan& plan) {
    QStringList texts;
    for (const RoutingViolation& violation : plan.violations) {
        texts.append(violation.message);
    }
    return texts;
}

TEST(RoutingSolver, ObeysWindowsAndSaysWhatItCannotServe) {
    const RoutingGraph graph = street(12);
    RoutingNode data = test::node(11, 0, 0);
    data.name = "end";
    data.serviceTime = 5;
    data.latest = 100;
    const QList<RoutingStop> stops{stop(5, 1, {0, 400}, 60),
                                   stop(2, 1, {1000, 2000}),
                                   stop(8, 9),
                                   RoutingStop::of(data),
                                   stop(99),
                                   stop(98),
                                   stop(3, 1),
                                   stop(77)};
    const auto plan = RoutingSolver::solve(graph, stops, {{0, 3, {0, 2000}}});
    EXPECT_THAT(plan.orders, ElementsAre(ElementsAre(6, 0, 1)));
    EXPECT_THAT(plan.begins, ElementsAre(ElementsAre(180, 300, 1000)));
    EXPECT_THAT(plan.returns, ElementsAre(1120));
    EXPECT_EQ(plan.solution.totalTime(), 600);
    EXPECT_EQ(plan.solution.routes[0].size(), 11);
    EXPECT_THAT(messages(plan),
                ElementsAre("Not served: stop 2, because it is too much for any vehicle that gets there.",
                            "Not served: stop 3 (end), because no vehicle can be there in time and back before the end "
                            "of its shift.",
                            "Not served: stop 4, because no vehicle can get there and back.",
                            "Not served: stop 5, because no vehicle can get there and back.",
                            "Not served: stop 7, because no vehicle can get there and back."));
    EXPECT_THAT(messages(RoutingSolver::solve(graph, {stop(1, 2), stop(2, 2)}, {{0, 3, {}}})),
                ElementsAre("Not served: stop 1, because no vehicle has room or time left."));
    // One vehicle gets there, another has the room: together they are none that serves it.
    EXPECT_THAT(messages(RoutingSolver::solve(graph, {stop(1, 5)}, {{0, 1, {}}, {98, 9, {}}})),
                ElementsAre("Not served: stop 0, because it is too much for any vehicle that gets there."));
    EXPECT_EQ(RoutingSolver::solve(graph, {stop(1)}, {}).violations.size(), 1);
    const auto two = RoutingSolver::solve(graph, {stop(1), stop(2)}, {{0, 1, {}}, {0, 1, {}}, {0, 1, {}}}).solution;
    EXPECT_THAT((std::array{two.totalTime(), two.totalDistance(), 1.0 * two.vehiclesUsed()}),
                ElementsAre(360, 3600, 2));
    EXPECT_THROW(RoutingSolver::solve(graph, {stop(1, 0, {0, nan})}, {}), std::invalid_argument);
    EXPECT_THROW(RoutingSolver::solve(graph, {}, {{0, nan, {}}}), std::invalid_argument);
    EXPECT_THROW(RoutingSolver::solve(graph, {}, {{0, 1, {nan, 1}}}), std::invalid_argument);
    for (const double bad : {-1.0, nan, infinity}) {
        EXPECT_THROW(RoutingSolver::solve(graph, {stop(1, bad)}, {}), std::invalid_argument);
        EXPECT_THROW(RoutingSolver::evaluate(graph, {stop(1, 0, {}, bad)}, {}, {}), std::invalid_argument);
    }
}

TEST(RoutingSolver, NamesEveryViolationOfAGivenOrder) {
    const QList<RoutingStop> stops{stop(4, 2, {0, 200}), stop(2, 2), stop(98), stop(3)};
    const auto plan = RoutingSolver::evaluate(street(6), stops, {{0, 3, {10, 500}}, {0, 5, {}}}, {{1, 0, 1, 44}, {2}});
    EXPECT_THAT(messages(plan), ElementsAre("Vehicle 0 is 50 s late at stop 0.", "Vehicle 0 carries 1 too much.",
                                            "Vehicle 1 finds no way to stop 2.",
                                            "Not served: stop 3, because it is in no vehicle's order."));
    EXPECT_EQ(plan.returns[0], 490);
    EXPECT_FALSE(plan.solution.routes[1].success);
    const auto gap = RoutingSolver::evaluate(street(6), {stop(1), stop(98), stop(2)}, {{0, 3, {}}, {0, -1, {9, 5}}},
                                             {{0, 1, 2}, {}});
    EXPECT_THAT(gap.solution.routes[0].nodePath, ElementsAre(0, 1, 98, 0, 1, 2, 1, 0));
    EXPECT_THAT(messages(gap), ElementsAre("Vehicle 0 finds no way to stop 1.")) << "an unused vehicle breaks nothing";
}

TEST(RoutingSolver, EndsWhenRoundingIsLargerThanAnyGain) {
    for (unsigned seed = 1; seed < 9; ++seed) {
        std::mt19937 random(seed);
        RoutingGraph graph;
        QList<RoutingStop> stops;
        for (int i = 0; i < 13; ++i) {
            graph.addNode(test::node(i, std::uniform_real_distribution<double>(0, 10)(random), 0));
            stops.append(stop(i));
            for (int k = 0; k < i; ++k) {
                graph.addEdge(edge(i, k, graph.straightDistance(i, k) * 1e11));
                graph.addEdge(edge(k, i, graph.straightDistance(i, k) * 1e11));
            }
        }
        EXPECT_EQ(RoutingSolver::solve(graph, stops.mid(1), {{0, 5, {}}, {0, 5, {}}, {0, 5, {}}}).violations.size(), 0);
    }
}

TEST(RoutingSolver, PlansOnlyWhatIsAllowedAndComesNearTheBest) {
    std::mt19937 random(test::seed());
    const auto upTo = [&random](int n) { return std::uniform_int_distribution<int>(0, n)(random); };
    double found = 0.0;
    double best = 0.0;
    for (int round = 0; round < 40; ++round) {
        RoutingGraph graph;
        for (int i = 0; i < 12; ++i) {
            graph.addNode(test::node(i, upTo(1000), upTo(1000)));
            for (int k = 0; k < i; ++k) {
                const double length = graph.straightDistance(i, k);
                const QList<RoutingPoint> line{graph.findNode(i)->position, graph.findNode(k)->position};
                graph.addEdge(edge(i, k, length, 36, line));
                graph.addEdge(edge(k, i, length, 36, {line[1], line[0]}));
            }
        }
        // Tight windows and loads: whatever is planned keeps to them.
        QList<RoutingStop> stops;
        for (int i = 1; i < 12; ++i) {
            stops.append(stop(i, upTo(3), {double(upTo(300)), 300.0 + upTo(300)}, upTo(20)));
        }
        const QList<RoutingVehicle> vehicles{{0, 8, {0, 700}}, {11, 5, {100, 600}}};
        const auto plan = RoutingSolver::solve(graph, stops, vehicles);
        QList<int> seen;
        for (int v = 0; v < vehicles.size(); ++v) {
            double now = vehicles[v].shift.earliest, load = 0;
            int at = vehicles[v].depot;
            for (int i = 0; i < plan.orders[v].size(); ++i) {
                const RoutingStop& next = stops[plan.orders[v][i]];
                now = std::max(now + graph.straightDistance(at, next.node) / 10, next.window.earliest);
                ASSERT_NEAR(plan.begins[v][i], now, 1e-6);
                ASSERT_TRUE(next.window.contains(plan.begins[v][i])) << round << ", seed " << test::seed();
                now += next.serviceTime;
                load += next.demand;
                at = next.node;
                seen.append(plan.orders[v][i]);
            }
            ASSERT_LE(load, vehicles[v].capacity);
            ASSERT_LE(plan.returns[v], vehicles[v].shift.latest);
            ASSERT_TRUE(plan.solution.routes[v].success);
        }
        for (const RoutingViolation& violation : plan.violations) {
            ASSERT_EQ(violation.kind, RoutingViolation::Kind::Unserved);
            seen.append(violation.stop);
        }
        std::sort(seen.begin(), seen.end());
        ASSERT_THAT(seen, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10)) << "each stop once";

        // One vehicle, six stops, nothing to keep to: every order can be tried.
        QList<RoutingStop> few;
        for (int i = 1; i <= 6; ++i) {
            few.append(stop(i));
        }
        found += RoutingSolver::solve(graph, few, {{0, 99, {}}}).solution.totalTime();
        std::array order{1, 2, 3, 4, 5, 6};
        double least = infinity;
        do {
            double time = 0.0;
            int at = 0;
            for (const int next : order) {
                time += graph.straightDistance(at, next) / 10;
                at = next;
            }
            least = std::min(least, time + graph.straightDistance(at, 0) / 10);
        } while (std::next_permutation(order.begin(), order.end()));
        best += least;
    }
    EXPECT_LE(found, 1.03 * best);
    EXPECT_GE(found, best - 1e-6);
}

} // namespace
