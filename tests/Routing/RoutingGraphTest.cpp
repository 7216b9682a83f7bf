#include "RoutingTestData.h"

#include <Cartolith/Core/Routing/RoutingGraph.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>

namespace {

using namespace Cartolith::Core::Routing;
using test::edge;
using test::infinity;
using test::nan;
using testing::ElementsAre;
using testing::IsEmpty;
using Lines = QList<QList<RoutingPoint>>;

TEST(RoutingValues, KeepTheirPromises) {
    EXPECT_TRUE(RoutingPoint(0.0, -0.0).isNull());
    EXPECT_FALSE(RoutingPoint(nan, 1) == RoutingPoint(nan, 1));
    EXPECT_EQ(RoutingPoint(0, 0).distanceTo({3, 4}), 5);
    const RoutingTimeWindow open = RoutingNode().timeWindow();
    EXPECT_TRUE(open.isOpen() && open.contains(0) && open.contains(1e300));
    EXPECT_TRUE(RoutingTimeWindow(7, RoutingTimeWindow::noClosing).isOpen());
    const RoutingTimeWindow moment(5, 5);
    EXPECT_TRUE(!moment.isOpen() && moment.contains(5) && !moment.contains(4.999) && !moment.contains(nan));
    RoutingNode depot;
    for (const auto& [value, expected] : {std::pair<QVariant, bool>{true, true}, {"false", false}, {1, true}}) {
        depot.attributes["depot"] = value;
        EXPECT_EQ(depot.isDepot(), expected) << value.toString().toStdString();
    }
}

TEST(RoutingGraph, GivesIdsAndKeepsItsListsInOrder) {
    RoutingGraph graph;
    EXPECT_EQ(graph.addNode(test::node(-5, 0, 0)), 0);
    EXPECT_EQ(graph.addNode(test::node(7, 1, 0)), 7);
    EXPECT_EQ(graph.addNode(test::node(-1, 2, 0)), 8);
    EXPECT_EQ(graph.addNode(test::node(7, 3, 4)), 7) << "replaced";
    EXPECT_EQ(graph.nodeCount(), 3);
    for (const auto& [from, to] : {std::pair(0, 7), {7, 8}, {0, 8}, {0, 7}, {0, 99}}) {
        graph.addEdge(edge(from, to, 10.0 * to));
    }
    EXPECT_THAT(graph.neighbors(0), ElementsAre(7, 8, 7, 99));
    EXPECT_THAT(graph.outEdgeIds(0), ElementsAre(0, 2, 3, 4));
    EXPECT_EQ(graph.findEdge(0, 7)->id, 0);
    EXPECT_EQ(graph.findEdge(7, 0), nullptr);
    EXPECT_EQ(graph.straightDistance(0, 7), 5);
    EXPECT_EQ(graph.straightDistance(0, 99), -1);
    EXPECT_EQ(graph.edgeDistance(0, 8), 80);

    EXPECT_TRUE(graph.removeEdge(0));
    EXPECT_FALSE(graph.removeEdge(0));
    EXPECT_EQ(graph.findEdge(3)->endNode, 7) << "ids are no positions any more";
    EXPECT_THAT(graph.outEdgeIds(0), ElementsAre(2, 3, 4));
    const RoutingGraph copy = graph;
    EXPECT_TRUE(graph.removeNode(8));
    EXPECT_FALSE(graph.removeNode(8));
    EXPECT_THAT(graph.outEdgeIds(0), ElementsAre(3, 4));
    EXPECT_THAT(graph.outEdges(7), IsEmpty());
    EXPECT_EQ(copy.edgeCount(), 4);
    EXPECT_EQ(graph.addEdge(edge(0, 7, 1)), 5);

    graph.addNode(test::node(INT_MAX, 0, 0));
    EXPECT_THROW(graph.addNode(test::node(-1, 0, 0)), std::length_error);
    RoutingPoint min, max;
    EXPECT_TRUE(graph.boundingBox(min, max));
    EXPECT_EQ(max, RoutingPoint(3, 4));
    graph.clear();
    EXPECT_FALSE(graph.boundingBox(min, max));
    EXPECT_EQ(max, RoutingPoint(0, 0));
    EXPECT_EQ(graph.addNode({}), 0);
}

TEST(RoutingGraph, SnapsByRoundedKeys) {
    struct {
        RoutingPoint point;
        double tolerance;
        const char* key;
    } const rows[] = {{{1.5, -1.5}, 1, "2_-2"},
                      {{0.49, 2.5}, 1, "0_3"},
                      {{1e300, -1e300}, 1, "9223372036854775807_-9223372036854775807"},
                      {{nan, 0}, 1, "-9223372036854775808_0"}};
    for (const auto& row : rows) {
        EXPECT_EQ(RoutingGraph::snapKey(row.point, row.tolerance), row.key);
    }
    RoutingGraph graph;
    QHash<QString, int> keys;
    EXPECT_EQ(graph.findOrCreateNode({0.4, 0}, 1, keys), 0);
    EXPECT_EQ(graph.findOrCreateNode({0.6, 0}, 1, keys), 1) << "nearer than the tolerance, but another cell";
    EXPECT_EQ(graph.findOrCreateNode({-0.4, 0}, 1, keys), 0);
    EXPECT_EQ(graph.findNode(0)->position, RoutingPoint(0.4, 0));
}

// The same network with keys as text, one operation after the other.
RoutingGraph plainBuild(const Lines& lines, const QList<QMap<QString, QVariant>>& attributes, double tolerance,
                        bool bidirectional) {
    RoutingGraph graph;
    QHash<QString, int> keys;
    tolerance = std::isfinite(tolerance) && tolerance > 0 ? tolerance : 1e-9;
    for (int i = 0; i < lines.size(); ++i) {
        if (lines[i].size() < 2) {
            continue;
        }
        RoutingEdge edge;
        edge.startNode = graph.findOrCreateNode(lines[i].first(), tolerance, keys);
        edge.endNode = graph.findOrCreateNode(lines[i].last(), tolerance, keys);
        edge.length = RoutingGraph::polylineLength(lines[i]);
        edge.geometry = lines[i];
        edge.attributes = i < attributes.size() ? attributes[i] : QMap<QString, QVariant>();
        edge.speed = edge.attributes.contains("SPEED") ? edge.attributes["SPEED"].toDouble() : 50.0;
        if (edge.attributes.contains("AD")) {
            edge.attributes["name"] = edge.attributes["AD"];
        }
        graph.addEdge(edge);
        if (bidirectional && edge.startNode != edge.endNode) {
            std::swap(edge.startNode, edge.endNode);
            std::reverse(edge.geometry.begin(), edge.geometry.end());
            graph.addEdge(edge);
        }
    }
    return graph;
}

TEST(RoutingGraph, BuildsWhatThePlainRulesBuild) {
    std::mt19937 random(test::seed());
    std::uniform_real_distribution<double> coordinate(-3, 3);
    std::uniform_int_distribution<int> size(0, 4);
    Lines lines{{{0, 0}, {nan, 1}}, {{0, 0}, {1e300, 0}, {infinity, 0}}, {{1, 1}, {2, 2}, {1, 1}}};
    for (int i = 0; i < 300; ++i) {
        QList<RoutingPoint> line(size(random));
        for (RoutingPoint& point : line) {
            point = {coordinate(random), coordinate(random)};
        }
        lines.append(line);
    }
    const QList<QMap<QString, QVariant>> attributes{
        {{"SPEED", "0"}}, {{"AD", "High Street"}, {"name", "old"}}, {{"SPEED", -3}}, {{"SPEED", "fast"}}, {}};
    RoutingGraph graph;
    for (const double tolerance : {0.5, 1e-3, 0.0, -1.0, nan, infinity}) {
        for (const bool bidirectional : {false, true}) {
            graph.buildFromPolylines(lines, attributes, tolerance, bidirectional);
            const RoutingGraph plain = plainBuild(lines, attributes, tolerance, bidirectional);
            ASSERT_EQ(graph.nodeCount(), plain.nodeCount()) << tolerance;
            ASSERT_EQ(graph.edgeCount(), plain.edgeCount());
            for (int i = 0; i < graph.edgeCount(); ++i) {
                const RoutingEdge& a = graph.edges()[i];
                const RoutingEdge& b = plain.edges()[i];
                ASSERT_TRUE(a.id == b.id && a.startNode == b.startNode && a.endNode == b.endNode) << i;
                ASSERT_TRUE(a.length == b.length || std::isnan(b.length));
                ASSERT_TRUE(a.speed == b.speed && a.attributes == b.attributes && !a.flag);
                ASSERT_TRUE(a.geometry == b.geometry || std::isnan(b.length));
            }
            EXPECT_EQ(graph.findEdge(0)->travelTime(), 0);
            EXPECT_EQ(graph.findEdge(0, 1)->attributes.size(), 1);
        }
    }
}

} // namespace
