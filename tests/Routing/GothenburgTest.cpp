// A real street network, from the file to the routes.

#include "DataFolder.h"
#include "RoutingTestData.h"

#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Routing/RoutingDijkstra.h>
#include <Cartolith/Core/Routing/RoutingEdgeIndex.h>
#include <Cartolith/Core/Routing/RoutingNetworkReport.h>
#include <Cartolith/Core/Routing/RoutingPreparation.h>
#include <Cartolith/Core/Routing/RoutingSearch.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

using namespace Cartolith::Core;
using namespace Cartolith::Core::Routing;
using CoordinateSystems::CoordinateSystemFactory;
using CoordinateSystems::CoordinateTransformer;

CoordinateTransformer toMetres() {
    return {*CoordinateSystemFactory::fromEpsg(4326), *CoordinateSystemFactory::fromEpsg(3006)};
}

RoutingGraph streets() {
    Layers::GisLayerOgrVector layer(CARTOLITH_DATA_DIR "/gothenburg-roads.gpkg");
    layer.open();
    const CoordinateTransformer transformer = toMetres();
    QList<QList<RoutingPoint>> lines;
    QList<QMap<QString, QVariant>> attributes;
    for (const auto& shape : layer.items()) {
        QMap<QString, QVariant> values;
        for (const char* field : {"name", "highway", "maxspeed", "oneway"}) {
            values.insert(field, shape->attributes().value(field));
        }
        for (const auto& part : dynamic_cast<const Shapes::GisShapePolyline&>(*shape).parts()) {
            QList<RoutingPoint> line;
            for (const auto& point : transformer.transformPoints(part)) {
                line.append({point.x(), point.y()});
            }
            lines.append(line);
            attributes.append(values);
        }
    }
    const auto prepared = RoutingPreparation::prepare(lines, attributes, {});
    EXPECT_EQ(prepared.skippedLines + prepared.unreadSpeeds + prepared.unreadDirections, 0);
    RoutingGraph graph;
    graph.buildFromPolylines(prepared.lines, prepared.attributes, 0.01, false);
    return graph;
}

/// Costs from a node by relaxing every edge until nothing changes (Bellman and Ford): no heap, no order.
std::vector<double> relaxed(const RoutingGraph& graph, int source, RoutingCostMetric metric) {
    std::vector<double> costs(std::size_t(graph.nodeCount()), test::infinity); // ids are 0 and on
    costs[std::size_t(source)] = 0.0;
    for (bool changed = true; changed;) {
        changed = false;
        for (const RoutingEdge& edge : graph.edges()) {
            const double weight = metric == RoutingCostMetric::Distance ? edge.length : edge.travelTime();
            const double cost = costs[std::size_t(edge.startNode)] + weight;
            if (cost < costs[std::size_t(edge.endNode)]) {
                costs[std::size_t(edge.endNode)] = cost;
                changed = true;
            }
        }
    }
    return costs;
}

TEST(Gothenburg, TenRoutesAreTheBestByAnotherSearch) {
    const RoutingGraph graph = streets();
    const RoutingNetworkReport report(graph);
    EXPECT_GT(report.components()[0].nodes, 0.97 * graph.nodeCount());
    RoutingEdgeIndex index;
    index.build(graph);
    const CoordinateTransformer transformer = toMetres();
    const std::pair<Shapes::GisShapePoint, Shapes::GisShapePoint> pairs[] = {
        {{11.9735, 57.7089}, {11.9335, 57.6993}}, {{11.9900, 57.6950}, {12.0000, 57.7300}},
        {{11.9200, 57.6600}, {12.0500, 57.7450}}, {{12.0300, 57.7000}, {11.9000, 57.7200}},
        {{11.9670, 57.7070}, {11.9810, 57.6960}}, {{11.9400, 57.7200}, {11.9650, 57.7000}},
        {{12.0200, 57.6700}, {11.8900, 57.6900}}, {{11.9500, 57.6800}, {12.0300, 57.7200}},
        {{11.9750, 57.7400}, {11.9300, 57.6650}}, {{11.9600, 57.6985}, {11.9640, 57.6975}}};
    int row = 0;
    for (const auto& [from, to] : pairs) {
        SCOPED_TRACE(row++);
        const auto placeAt = [&](const Shapes::GisShapePoint& lonLat) {
            const auto metres = transformer.transform(lonLat);
            return index.nearestEdge({metres.x(), metres.y()});
        };
        const RoutingPlace start = placeAt(from);
        const RoutingPlace end = placeAt(to);
        ASSERT_LT(std::max(start.distance, end.distance), 1000);
        const int source = graph.edges()[start.edge].startNode;
        const int target = graph.edges()[end.edge].endNode;
        for (const auto metric : {RoutingCostMetric::Distance, RoutingCostMetric::TravelTime}) {
            const auto costs = relaxed(graph, source, metric);
            const auto result = RoutingDijkstra::run(graph, source, -1, metric);
            for (int node = 0; node < graph.nodeCount(); ++node) {
                ASSERT_EQ(result.costTo(node), costs[std::size_t(node)]) << "to the last bit";
            }
            const double cost = costs[std::size_t(target)];
            ASSERT_TRUE(std::isfinite(cost));
            const auto costOf = [metric](const RoutingRoute& route) {
                return metric == RoutingCostMetric::Distance ? route.totalDistance : route.totalTime;
            };
            EXPECT_EQ(costOf(RoutingDijkstra::shortestRoute(graph, source, target, metric)), cost);
            EXPECT_EQ(costOf(RoutingSearch::aStarRoute(graph, source, target, metric)), cost);
            EXPECT_NEAR(costOf(RoutingSearch::bidirectionalRoute(graph, source, target, metric)), cost, cost * 1e-12);
            // Between the places themselves; over them, the way between the nodes is no shorter.
            const auto route = RoutingSearch::routeBetween(graph, start, end, metric);
            ASSERT_TRUE(route.success);
            EXPECT_NEAR(RoutingGraph::polylineLength(route.geometry), route.totalDistance, 0.1);
            const double ends = costOf(RoutingSearch::routeBetween(graph, {start.edge, 0.0, {}, 0.0}, start, metric)) +
                                costOf(RoutingSearch::routeBetween(graph, end, {end.edge, 1.0, {}, 0.0}, metric));
            EXPECT_LE(cost, (costOf(route) + ends) * (1 + 1e-12));
        }
    }
}

} // namespace
