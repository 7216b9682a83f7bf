// Routing: from lines that cross to a way along them, with directions. Coordinates are metres.

#include <Cartolith/Core/Routing/RoutingEdgeIndex.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/RoutingPreparation.h>
#include <Cartolith/Core/Routing/RoutingSearch.h>

#include <cstdio>

using namespace Cartolith::Core::Routing;

int main() {
    // Two streets that share the vertex (500, 0), and one that may be driven from south to north only.
    const QList<QList<RoutingPoint>> lines{{{0, 0}, {500, 0}, {1000, 0}},
                                           {{500, -400}, {500, 0}, {500, 400}},
                                           {{1000, 0}, {1000, 600}, {500, 400}}};
    const QList<QMap<QString, QVariant>> attributes{{{"name", "Long Street"}, {"maxspeed", "50"}},
                                                    {{"name", "Mill Lane"}, {"maxspeed", "20 mph"}},
                                                    {{"name", "Hill Road"}, {"oneway", "yes"}}};

    const RoutingPreparation::Options options;
    const auto prepared = RoutingPreparation::prepare(lines, attributes, options);
    RoutingGraph graph;
    graph.buildFromPolylines(prepared.lines, prepared.attributes, options.tolerance, false);
    std::printf("%d crossings and ends, %d edges\n", graph.nodeCount(), graph.edgeCount());

    // Addresses beside the streets.
    RoutingEdgeIndex streets;
    streets.build(graph);
    const RoutingPlace from = streets.nearestEdge({1010, 300});
    const RoutingPlace to = streets.nearestEdge({100, -20});
    const RoutingRoute route = RoutingSearch::routeBetween(graph, from, to, RoutingCostMetric::TravelTime);
    if (!route.success) {
        std::printf("%s\n", qPrintable(route.message));
        return 1;
    }
    std::printf("%.0f m, %.0f s\n", route.totalDistance, route.totalTime);
    for (const RoutingLeg& leg : route.legs) {
        std::printf("  %4.0f m  %s\n", leg.distance, qPrintable(leg.name));
    }
    return 0;
}
