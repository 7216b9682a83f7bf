// Memory that runs out leaves graphs and their indexes as they were.

#include "FailingAllocations.h"
#include "TestSeed.h"

#include <Cartolith/Core/Routing/RoutingDijkstra.h>
#include <Cartolith/Core/Routing/RoutingEdgeIndex.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/RoutingNodeIndex.h>

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <sstream>

using namespace Cartolith::Core::Routing;

namespace {

RoutingEdge edgeOf(int id, int from, int to) {
    RoutingEdge edge;
    edge.id = id;
    edge.startNode = from;
    edge.endNode = to;
    edge.length = id + 1;
    edge.geometry.append({1.0 * from, 0});
    edge.geometry.append({1.0 * to, 1});
    return edge;
}

constexpr int nodes = 12;

/// Ids with gaps, edges with one id, a loop, and ends that are no nodes.
RoutingGraph graph() {
    RoutingGraph result;
    std::mt19937 random(test::seed());
    for (int i = 0; i < nodes; ++i) {
        RoutingNode node;
        node.id = i;
        node.position = {1.0 * i, 2.0 * i};
        result.addNode(node);
    }
    for (int i = 0; i < 60; ++i) {
        result.addEdge(edgeOf(i % 17 == 0 ? 3 : i, static_cast<int>(random() % (nodes + 2)),
                              static_cast<int>(random() % (nodes + 2))));
    }
    return result;
}

/// Everything there is to see of a graph.
std::string describe(const RoutingGraph& graph) {
    std::ostringstream out;
    for (int id = -1; id < nodes + 3; ++id) {
        out << (graph.findNode(id) != nullptr) << ':';
        for (const RoutingEdge* edge : graph.outEdges(id)) {
            out << edge - graph.edges().constData() << ' ';
        }
    }
    for (const RoutingEdge& edge : graph.edges()) {
        out << edge.id << ' ' << edge.startNode << ' ' << edge.endNode << ' ' << edge.geometry.size() << ' '
            << (graph.findEdge(edge.id) - graph.edges().constData()) << ',';
    }
    RoutingGraph next = graph; // which ids come next
    out << next.addNode(RoutingNode()) << ' ' << next.addEdge(RoutingEdge());
    return out.str();
}

TEST(RoutingOutOfMemory, RemovingIsAllOrNothing) {
    const struct {
        const char* name;
        bool shared; ///< with a copy of the graph
        std::function<void(RoutingGraph&)> act;
    } rows[] = {
        {"removeEdge", false, [](RoutingGraph& graph) { graph.removeEdge(7); }},
        {"removeEdge, the first of one id", false, [](RoutingGraph& graph) { graph.removeEdge(3); }},
        {"removeEdge, the last one", false, [](RoutingGraph& graph) { graph.removeEdge(59); }},
        {"removeEdge of a copy", true, [](RoutingGraph& graph) { graph.removeEdge(7); }},
        {"removeNode", false, [](RoutingGraph& graph) { graph.removeNode(4); }},
        {"removeNode of a copy", true, [](RoutingGraph& graph) { graph.removeNode(0); }},
        {"no such node", true, [](RoutingGraph& graph) { graph.removeNode(99); }},
    };
    const RoutingGraph original = graph();
    for (const auto& row : rows) {
        if (row.shared && CARTOLITH_TEST_OWN_MALLOC == 0) {
            continue; // the leak sanitizer: a QHash that runs out of memory as it is copied loses what it has copied
        }
        RoutingGraph whole = graph();
        row.act(whole);
        RoutingGraph rebuilt = whole;
        rebuilt.rebuildAdjacency();
        EXPECT_EQ(describe(whole), describe(rebuilt)) << row.name;
        const int failures = test::failEachAllocation([&] { return row.shared ? original : graph(); }, row.act,
                                                      [&](RoutingGraph& left, int n) {
                                                          ASSERT_EQ(describe(left), describe(original))
                                                              << row.name << ", allocation " << n;
                                                          row.act(left);
                                                          ASSERT_EQ(describe(left), describe(whole))
                                                              << row.name << ", allocation " << n << ", again";
                                                      });
        EXPECT_EQ(failures > 0, std::string(row.name) != "no such node") << row.name;
    }
    EXPECT_EQ(describe(original), describe(graph()));
}

TEST(RoutingOutOfMemory, IndexesAnswerAsBefore) {
    const RoutingGraph large = graph();
    RoutingGraph small;
    small.addNode({});
    small.addEdge(edgeOf(0, 0, 1));
    const RoutingPoint place(5.1, 9.9);
    test::failEachAllocation(
        [&] {
            RoutingNodeIndex index;
            index.build(small);
            return index;
        },
        [&](RoutingNodeIndex& index) { index.build(large); },
        [&](const RoutingNodeIndex& index, int n) {
            EXPECT_EQ(index.nodeCount(), 1) << n;
            EXPECT_EQ(index.nearestNode(place).nodeId, 0) << n;
        });
    test::failEachAllocation(
        [&] {
            RoutingEdgeIndex index;
            index.build(small);
            return index;
        },
        [&](RoutingEdgeIndex& index) { index.build(large); },
        [&](const RoutingEdgeIndex& index, int n) { EXPECT_EQ(index.edgesWithin(place, 1e9).size(), 1) << n; });
}

// A search writes into memory that the graph keeps: one that failed must not be seen by the next.
TEST(RoutingOutOfMemory, SearchesAnswerAsBefore) {
    RoutingGraph searched = graph();
    const auto cost = [](const RoutingGraph& of) {
        double result = -1.0;
        for (int source = 0; source < nodes; ++source) {
            const double one =
                RoutingDijkstra::run(of, source, -1, RoutingCostMetric::Distance, 50.0).costTo(nodes - 1);
            result += std::isfinite(one) ? one * (source + 1) : 0.5;
        }
        return result;
    };
    const double expected = cost(graph());
    test::failEachAllocation([&]() -> RoutingGraph* { return &searched; }, [&](const RoutingGraph* of) { cost(*of); },
                             [&](const RoutingGraph* of, int n) { EXPECT_EQ(cost(*of), expected) << n; });
}

} // namespace
