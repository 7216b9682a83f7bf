#include "RoutingTestData.h"

#include <Cartolith/Core/Routing/RoutingDijkstra.h>
#include <Cartolith/Core/Routing/RoutingNetworkReport.h>
#include <Cartolith/Core/Routing/RoutingPreparation.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace Cartolith::Core::Routing;
using test::infinity;
using test::nan;
using testing::ElementsAre;
using Line = QList<RoutingPoint>;

TEST(RoutingPreparation, ReadsSpeeds) {
    struct {
        QVariant value;
        double speed; // 0: unreadable
    } const rows[] = {{"50", 50},         {" 50 ", 50},       {"50 km/h", 50}, {"30mph", 48.28032}, {"10 Knots", 18.52},
                      {"none", infinity}, {"NONE", infinity}, {70, 70},        {62.5, 62.5},        {"", 0},
                      {QVariant(), 0},    {"walk", 0},        {"0", 0},        {"-5", 0},           {"mph", 0},
                      {"50;70", 0},       {"inf", 0},         {"nan", 0},      {"1e400", 0}};
    for (const auto& row : rows) {
        EXPECT_EQ(RoutingPreparation::parseSpeed(row.value).value_or(0), row.speed)
            << row.value.toString().toStdString();
    }
}

TEST(RoutingPreparation, CutsLinesWhereTheyMeet) {
    struct {
        const char* name;
        QList<Line> lines;
        QList<Line> pieces; // all lines one-way
    } const rows[] = {
        {"a crossing",
         {{{0, 0}, {5, 0}, {9, 0}}, {{5, -5}, {5, 0}, {5, 5}}},
         {{{0, 0}, {5, 0}}, {{5, 0}, {9, 0}}, {{5, -5}, {5, 0}}, {{5, 0}, {5, 5}}}},
        {"a bridge", {{{0, 0}, {9, 0}}, {{5, -5}, {5, 5}}}, {{{0, 0}, {9, 0}}, {{5, -5}, {5, 5}}}},
        {"an end on a vertex, nearly",
         {{{0, 0}, {5, 0}, {9, 0}}, {{5.004, 0.004}, {5, 5}}},
         {{{0, 0}, {5, 0}}, {{5, 0}, {9, 0}}, {{5.004, 0.004}, {5, 5}}}},
        {"a loop with a stem",
         {{{0, 0}, {5, 0}, {7, 2}, {7, -2}, {5, 0}}},
         {{{0, 0}, {5, 0}}, {{5, 0}, {7, 2}, {7, -2}, {5, 0}}}},
        {"repeated vertices", {{{0, 0}, {0, 0}, {5, 0}, {5, 0.001}, {9, 0}, {9, 0}}}, {{{0, 0}, {5, 0}, {9, 0}}}},
        {"nothing to keep", {{}, {{1, 1}}, {{1, 1}, {1, 1.001}}, {{nan, 0}, {1, 1}}, {{0, 0}, {infinity, 0}}}, {}},
        {"the same line twice",
         {{{0, 0}, {5, 0}, {9, 0}}, {{0, 0}, {5, 0}, {9, 0}}},
         {{{0, 0}, {5, 0}}, {{5, 0}, {9, 0}}, {{0, 0}, {5, 0}}, {{5, 0}, {9, 0}}}}};
    for (const auto& row : rows) {
        const QList<QMap<QString, QVariant>> oneway(row.lines.size(), {{"oneway", "yes"}});
        EXPECT_EQ(RoutingPreparation::prepare(row.lines, oneway, {}).lines, row.pieces) << row.name;
    }
}

TEST(RoutingPreparation, KeepsAttributesAndDirections) {
    const QList<Line> lines{{{0, 0}, {1, 0}}, {{0, 1}, {1, 1}}, {{0, 2}, {1, 2}},
                            {{0, 3}, {1, 3}}, {{9, 9}},         {{0, 5}, {1, 5}}};
    const QList<QMap<QString, QVariant>> attributes{
        {{"oneway", "-1"}, {"maxspeed", "none"}, {"name", "A"}},
        {{"oneway", "yes"}, {"highway", "residential"}},
        {{"oneway", "no"}, {"highway", "track"}, {"maxspeed", "walk"}},
        {{"oneway", "alternating"}, {"highway", "motorway"}, {"maxspeed", "30 mph"}}}; // two lists too short
    RoutingPreparation::Options options;
    options.classSpeeds["residential"] = 33;
    options.otherSpeed = 12;
    options.unlimitedSpeed = 130;
    const auto prepared = RoutingPreparation::prepare(lines, attributes, options);
    EXPECT_THAT(prepared.sources, ElementsAre(0, 1, 2, 2, 3, 3, 5, 5));
    EXPECT_EQ(prepared.lines[0], Line({{1, 0}, {0, 0}}));
    EXPECT_EQ(prepared.lines[3], Line({{1, 2}, {0, 2}}));
    QList<double> speeds;
    for (const auto& values : prepared.attributes) {
        speeds.append(values["SPEED"].toDouble());
    }
    EXPECT_THAT(speeds, ElementsAre(130, 33, 12, 12, 30 * 1.609344, 30 * 1.609344, 12, 12));
    EXPECT_EQ(prepared.attributes[0]["name"], "A");
    EXPECT_EQ(prepared.skippedLines, 1);
    EXPECT_EQ(prepared.unreadSpeeds, 1);
    EXPECT_EQ(prepared.unreadDirections, 1);
    RoutingGraph graph;
    graph.buildFromPolylines(prepared.lines, prepared.attributes, options.tolerance, false);
    EXPECT_EQ(graph.edges()[0].speed, 130);
}

TEST(RoutingNetworkReport, ExplainsWhyThereIsNoRoute) {
    QMap<QChar, int> ids;
    const RoutingGraph graph = test::drawn({"A-B-C>D", //
                                            "  |    ", "E-F G-H"},
                                           ids);
    const RoutingNetworkReport report(graph, 10.5);
    ASSERT_EQ(report.components().size(), 2);
    EXPECT_EQ(report.components()[0].nodes, 6);
    EXPECT_EQ(report.components()[0].length, 90);
    EXPECT_EQ(report.componentOf(ids['H']), 1);
    EXPECT_EQ(report.componentOf(77), -1);
    EXPECT_THAT(report.deadEnds(), ElementsAre(ids['A'], ids['D'], ids['E'], ids['G'], ids['H']));
    QStringList misses;
    for (const auto& miss : report.nearMisses()) {
        const RoutingEdge& edge = graph.edges()[miss.place.edge];
        misses.append(QString(ids.key(miss.node)) + ids.key(edge.startNode) + ids.key(edge.endNode));
        EXPECT_EQ(miss.place.distance, 10);
    }
    EXPECT_EQ(misses.join(" "), "AEF DGH EAB GBC HCD");
    struct {
        QChar from, to;
        const char* reason;
    } const rows[] = {{'A', 'D', ""},
                      {'A', 'H', "Separate parts of the network: that of node 0 has 6 nodes, that of node 7 has 2."},
                      {'D', 'A',
                       "One-way streets: of the 6 nodes of this part of the network, 1 can be reached from node "
                       "3, and node 0 can be reached from 5."}};
    for (const auto& row : rows) {
        EXPECT_EQ(RoutingNetworkReport::whyNoRoute(graph, ids[row.from], ids[row.to]), row.reason);
        EXPECT_EQ(RoutingDijkstra::shortestRoute(graph, ids[row.from], ids[row.to]).success, *row.reason == '\0');
    }
    EXPECT_EQ(RoutingNetworkReport::whyNoRoute(graph, 0, 42), "Node 42 is not in the network.");
    EXPECT_TRUE(RoutingNetworkReport(RoutingGraph(), 5).components().isEmpty());
}

} // namespace
