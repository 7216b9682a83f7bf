// Networks, searches and nearest nodes, beside Boost.Graph, Boost.Geometry, nanoflann and arrays written by
// hand.

#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Routing/RoutingDijkstra.h>
#include <Cartolith/Core/Routing/RoutingEdgeIndex.h>
#include <Cartolith/Core/Routing/RoutingGraph.h>
#include <Cartolith/Core/Routing/RoutingNodeIndex.h>
#include <Cartolith/Core/Routing/RoutingPreparation.h>
#include <Cartolith/Core/Routing/RoutingSearch.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>

#include <benchmark/benchmark.h>

#ifdef __GNUC__
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#pragma GCC diagnostic ignored "-Wshadow"
#pragma GCC diagnostic ignored "-Wold-style-cast"
#pragma GCC diagnostic ignored "-Wpedantic"
#pragma GCC diagnostic ignored "-Wnull-dereference"
#pragma GCC diagnostic ignored "-Wextra"
#endif
#include <boost/geometry/geometries/point_xy.hpp>
#include <boost/geometry/index/rtree.hpp>
#include <boost/geometry/strategies/strategies.hpp>
#include <boost/graph/compressed_sparse_row_graph.hpp>
#include <boost/graph/dijkstra_shortest_paths_no_color_map.hpp>

#include <nanoflann.hpp>
#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

using namespace Cartolith::Core;
using namespace Cartolith::Core::Routing;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr auto distanceMetric = RoutingCostMetric::Distance;

struct Data {
    std::string name;
    QList<QList<RoutingPoint>> lines;
    QList<QMap<QString, QVariant>> attributes;
    bool bidirectional;
    RoutingGraph graph;
    std::vector<int> nodes;           // random, to start from and to end at
    std::vector<RoutingPoint> points; // random, near the streets

    void finish() {
        graph.buildFromPolylines(lines, attributes, 0.01, bidirectional);
        std::mt19937 random(20260117);
        std::uniform_int_distribution<int> anyNode(0, graph.nodeCount() - 1);
        std::normal_distribution<double> aside(0.0, 30.0);
        for (int i = 0; i < 4096; ++i) {
            nodes.push_back(anyNode(random));
            const RoutingPoint& at = graph.findNode(anyNode(random))->position;
            points.emplace_back(at.x + aside(random), at.y + aside(random));
        }
    }
};

/// Streets along a grid of side x side crossings, each moved a little, open in both directions.
Data grid(int side) {
    Data data{"grid" + std::to_string(side * side), {}, {}, true, {}, {}, {}};
    std::mt19937 random(20260117);
    std::uniform_real_distribution<double> shift(-35.0, 35.0);
    std::vector<RoutingPoint> at;
    for (int i = 0; i < side * side; ++i) {
        at.emplace_back(100.0 * (i % side) + shift(random), 100.0 * (i / side) + shift(random));
    }
    for (int i = 0; i < side * side; ++i) {
        const auto here = static_cast<std::size_t>(i);
        if (i % side + 1 < side) {
            data.lines.append({at[here], at[here + 1]});
        }
        if (i + side < side * side) {
            data.lines.append({at[here], at[here + static_cast<std::size_t>(side)]});
        }
    }
    data.finish();
    return data;
}

Data gothenburg() {
    Layers::GisLayerOgrVector layer(CARTOLITH_DATA_DIR "/gothenburg-roads.gpkg");
    layer.open();
    using CoordinateSystems::CoordinateSystemFactory;
    const CoordinateSystems::CoordinateTransformer transformer(*layer.coordinateSystem(),
                                                               *CoordinateSystemFactory::fromEpsg(3006));
    QList<QList<RoutingPoint>> lines;
    QList<QMap<QString, QVariant>> attributes;
    for (const auto& shape : layer.items()) {
        QMap<QString, QVariant> values;
        for (auto it = shape->attributes().cbegin(); it != shape->attributes().cend(); ++it) {
            values.insert(it.key(), it.value());
        }
        for (const auto& part : dynamic_cast<const Shapes::GisShapePolyline&>(*shape).parts()) {
            const auto points = transformer.transformPoints(part);
            QList<RoutingPoint> line;
            for (const auto& point : points) {
                line.append({point.x(), point.y()});
            }
            lines.append(line);
            attributes.append(values);
        }
    }
    auto prepared = RoutingPreparation::prepare(lines, attributes, {});
    Data data{"gothenburg", prepared.lines, prepared.attributes, false, {}, {}, {}};
    data.finish();
    return data;
}

struct Weight {
    double length;
};
using BoostGraph = boost::compressed_sparse_row_graph<boost::directedS, boost::no_property, Weight>;
using BoostVertex = boost::graph_traits<BoostGraph>::vertex_descriptor;

BoostGraph boostGraph(const RoutingGraph& graph) {
    std::vector<std::pair<std::size_t, std::size_t>> ends;
    std::vector<Weight> weights;
    for (const RoutingEdge& edge : graph.edges()) {
        ends.emplace_back(edge.startNode, edge.endNode);
        weights.push_back({edge.length});
    }
    return {boost::edges_are_unsorted_multi_pass, ends.begin(), ends.end(), weights.begin(),
            static_cast<std::size_t>(graph.nodeCount())};
}

struct Arrived {};

/// Boost.Graph's way to stop early.
struct StopAt : boost::default_dijkstra_visitor {
    explicit StopAt(BoostVertex target) : m_target(target) {}
    template <typename Vertex, typename Graph>
    void examine_vertex(Vertex vertex, const Graph& /*graph*/) const {
        if (vertex == m_target) {
            throw Arrived();
        }
    }
    BoostVertex m_target;
};

/// What one would write for this and nothing else: costs and the edge before in arrays that are kept, and a
/// heap of four children a node without decrease-key.
class ByHand {
public:
    explicit ByHand(const RoutingGraph& graph) : m_first(static_cast<std::size_t>(graph.nodeCount()) + 1) {
        for (const RoutingEdge& edge : graph.edges()) {
            ++m_first[static_cast<std::size_t>(edge.startNode) + 1];
        }
        for (std::size_t i = 1; i < m_first.size(); ++i) {
            m_first[i] += m_first[i - 1];
        }
        std::vector<int> at(m_first);
        m_arcs.resize(static_cast<std::size_t>(graph.edgeCount()));
        for (const RoutingEdge& edge : graph.edges()) {
            auto& next = at[static_cast<std::size_t>(edge.startNode)];
            m_arcs[static_cast<std::size_t>(next++)] = {edge.length, edge.endNode};
        }
        m_cost.resize(static_cast<std::size_t>(graph.nodeCount()));
        m_before.resize(m_cost.size());
    }

    double run(int source, int target) {
        std::fill(m_cost.begin(), m_cost.end(), infinity);
        std::fill(m_before.begin(), m_before.end(), -1);
        m_heap.clear();
        m_cost[static_cast<std::size_t>(source)] = 0.0;
        push({0.0, source});
        while (!m_heap.empty()) {
            const Key key = pop();
            const auto node = static_cast<std::size_t>(key.node);
            if (key.cost > m_cost[node]) {
                continue;
            }
            if (key.node == target) {
                break;
            }
            for (int i = m_first[node]; i < m_first[node + 1]; ++i) {
                const Arc& arc = m_arcs[static_cast<std::size_t>(i)];
                const double cost = key.cost + arc.length;
                const auto head = static_cast<std::size_t>(arc.head);
                if (cost < m_cost[head]) {
                    m_cost[head] = cost;
                    m_before[head] = key.node;
                    push({cost, arc.head});
                }
            }
        }
        return m_cost[static_cast<std::size_t>(target >= 0 ? target : source)];
    }
    double cost(int node) const { return m_cost[static_cast<std::size_t>(node)]; }

private:
    struct Arc {
        double length;
        int head;
    };
    struct Key {
        double cost;
        int node;
        bool operator<(const Key& other) const {
            return cost < other.cost || (cost == other.cost && node < other.node);
        }
    };

    void push(const Key& key) {
        std::size_t hole = m_heap.size();
        m_heap.push_back(key);
        for (; hole > 0 && key < m_heap[(hole - 1) / 4]; hole = (hole - 1) / 4) {
            m_heap[hole] = m_heap[(hole - 1) / 4];
        }
        m_heap[hole] = key;
    }
    Key pop() {
        const Key least = m_heap.front();
        const Key last = m_heap.back();
        m_heap.pop_back();
        const std::size_t size = m_heap.size();
        std::size_t hole = 0;
        for (std::size_t child = 1; child < size; child = 4 * hole + 1) {
            for (std::size_t i = child + 1; i < std::min(4 * hole + 5, size); ++i) {
                child = m_heap[i] < m_heap[child] ? i : child;
            }
            if (!(m_heap[child] < last)) {
                break;
            }
            m_heap[hole] = m_heap[child];
            hole = child;
        }
        if (size > 0) {
            m_heap[hole] = last;
        }
        return least;
    }

    std::vector<int> m_first;
    std::vector<Arc> m_arcs;
    std::vector<double> m_cost;
    std::vector<int> m_before;
    std::vector<Key> m_heap;
};

void check(double ours, double theirs) {
    if (!(ours == theirs)) {
        std::fprintf(stderr, "the costs differ: %.17g and %.17g\n", ours, theirs);
        std::abort();
    }
}

template <typename Run>
void add(const std::string& name, benchmark::TimeUnit unit, Run run) {
    benchmark::RegisterBenchmark(name.c_str(), [run](benchmark::State& state) {
        std::size_t i = 0;
        for (auto _ : state) {
            run(i++);
        }
    })->Unit(unit);
}

void addSearches(const Data& data) {
    const auto node = [&data](std::size_t i) { return data.nodes[i % data.nodes.size()]; };
    const auto boost = std::make_shared<BoostGraph>(boostGraph(data.graph));
    const auto hand = std::make_shared<ByHand>(data.graph);
    const auto costs = std::make_shared<std::vector<double>>(boost::num_vertices(*boost));
    const auto before = std::make_shared<std::vector<BoostVertex>>(costs->size());
    const auto runBoost = [=](int source, auto visitor) {
        const auto ids = get(boost::vertex_index, *boost);
        try {
            boost::dijkstra_shortest_paths_no_color_map(
                *boost, static_cast<BoostVertex>(source),
                boost::weight_map(get(&Weight::length, *boost))
                    .distance_map(boost::make_iterator_property_map(costs->begin(), ids))
                    .predecessor_map(boost::make_iterator_property_map(before->begin(), ids))
                    .visitor(visitor));
        } catch (const Arrived&) {
        }
    };
    // The three agree before anything is measured.
    for (std::size_t i = 0; i < 3; ++i) {
        const auto result = RoutingDijkstra::run(data.graph, node(i));
        hand->run(node(i), -1);
        runBoost(node(i), boost::default_dijkstra_visitor());
        for (int k = 0; k < data.graph.nodeCount(); ++k) {
            check(result.costTo(k), hand->cost(k));
            const double theirs = (*costs)[static_cast<std::size_t>(k)];
            check(result.costTo(k), theirs < 1e300 ? theirs : infinity);
        }
    }

    const std::string all = "OneToAll/" + data.name + "/";
    add(all + "Ours", benchmark::kMillisecond, [&data, node](std::size_t i) {
        benchmark::DoNotOptimize(RoutingDijkstra::run(data.graph, node(i)).reachedCount());
    });
    add(all + "OursWithHashes", benchmark::kMillisecond, [&data, node](std::size_t i) {
        benchmark::DoNotOptimize(RoutingDijkstra::run(data.graph, node(i)).costs().size());
    });
    add(all + "Boost", benchmark::kMillisecond,
        [=](std::size_t i) { runBoost(node(i), boost::default_dijkstra_visitor()); });
    add(all + "ByHand", benchmark::kMillisecond, [=](std::size_t i) { hand->run(node(i), -1); });

    const std::string one = "OneToOne/" + data.name + "/";
    const auto target = [node](std::size_t i) { return node(i + 1); };
    add(one + "Ours", benchmark::kMillisecond, [=, &data](std::size_t i) {
        benchmark::DoNotOptimize(RoutingDijkstra::run(data.graph, node(i), target(i)).costTo(target(i)));
    });
    add(one + "OursRoute", benchmark::kMillisecond, [=, &data](std::size_t i) {
        benchmark::DoNotOptimize(RoutingDijkstra::shortestRoute(data.graph, node(i), target(i)).size());
    });
    add(one + "OursAStar", benchmark::kMillisecond, [=, &data](std::size_t i) {
        benchmark::DoNotOptimize(RoutingSearch::aStarRoute(data.graph, node(i), target(i)).size());
    });
    add(one + "OursBidirectional", benchmark::kMillisecond, [=, &data](std::size_t i) {
        benchmark::DoNotOptimize(RoutingSearch::bidirectionalRoute(data.graph, node(i), target(i)).size());
    });
    add(one + "Boost", benchmark::kMillisecond,
        [=](std::size_t i) { runBoost(node(i), StopAt(static_cast<BoostVertex>(target(i)))); });
    add(one + "ByHand", benchmark::kMillisecond, [=](std::size_t i) { hand->run(node(i), target(i)); });
}

struct Cloud {
    std::vector<RoutingPoint> points;
    std::size_t kdtree_get_point_count() const { return points.size(); }
    double kdtree_get_pt(std::size_t i, std::size_t axis) const {
        return axis == 0 ? points[i].x : points[i].y;
    }
    template <typename Box>
    bool kdtree_get_bbox(Box& /*box*/) const {
        return false;
    }
};

void addNearest(const Data& data) {
    using Point = boost::geometry::model::d2::point_xy<double>;
    using Value = std::pair<Point, int>;
    using Tree = boost::geometry::index::rtree<Value, boost::geometry::index::linear<16>>;
    using KdTree =
        nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, Cloud>, Cloud, 2, int>;
    const auto cloud = std::make_shared<Cloud>();
    std::vector<Value> values;
    for (int i = 0; i < data.graph.nodeCount(); ++i) {
        const RoutingPoint& at = data.graph.findNode(i)->position;
        cloud->points.push_back(at);
        values.emplace_back(Point(at.x, at.y), i);
    }
    const auto tree = std::make_shared<Tree>(values);
    const auto kdTree = std::make_shared<KdTree>(2, *cloud, nanoflann::KDTreeSingleIndexAdaptorParams(10));
    const auto index = std::make_shared<RoutingNodeIndex>();
    index->build(data.graph);
    const auto edges = std::make_shared<RoutingEdgeIndex>();
    edges->build(data.graph);
    const auto point = [&data](std::size_t i) { return data.points[i % data.points.size()]; };
    const auto nearestOfKdTree = [kdTree, point](std::size_t i) {
        const double at[2] = {point(i).x, point(i).y};
        int found = -1;
        double square = 0.0;
        kdTree->knnSearch(at, 1, &found, &square);
        return found;
    };
    for (std::size_t i = 0; i < data.points.size(); ++i) {
        const RoutingPoint& theirs = cloud->points[static_cast<std::size_t>(nearestOfKdTree(i))];
        check(index->nearestNode(point(i)).distance, point(i).distanceTo(theirs));
    }

    const std::string nearest = "Nearest/" + data.name + "/";
    add(nearest + "Ours", benchmark::kNanosecond,
        [=](std::size_t i) { benchmark::DoNotOptimize(index->nearestNode(point(i)).nodeId); });
    add(nearest + "Nanoflann", benchmark::kNanosecond,
        [=](std::size_t i) { benchmark::DoNotOptimize(nearestOfKdTree(i)); });
    add(nearest + "Boost", benchmark::kNanosecond, [=](std::size_t i) {
        Value found;
        tree->query(boost::geometry::index::nearest(Point(point(i).x, point(i).y), 1), &found);
        benchmark::DoNotOptimize(found.second);
    });
    add(nearest + "OursEdge", benchmark::kNanosecond,
        [=](std::size_t i) { benchmark::DoNotOptimize(edges->nearestEdge(point(i)).edge); });

    add("Build/" + data.name + "/NodeIndex", benchmark::kMillisecond,
        [&data](std::size_t) { RoutingNodeIndex().build(data.graph); });
    add("Build/" + data.name + "/Nanoflann", benchmark::kMillisecond, [cloud](std::size_t) {
        const KdTree fresh(2, *cloud, nanoflann::KDTreeSingleIndexAdaptorParams(10));
        benchmark::DoNotOptimize(&fresh);
    });
    add("Build/" + data.name + "/EdgeIndex", benchmark::kMillisecond,
        [&data](std::size_t) { RoutingEdgeIndex().build(data.graph); });
}

void addBuild(const Data& data) {
    const std::string name = "Build/" + data.name + "/Graph" + std::to_string(data.lines.size()) + "Lines";
    add(name, benchmark::kMillisecond, [&data](std::size_t) {
        RoutingGraph graph;
        graph.buildFromPolylines(data.lines, data.attributes, 0.01, data.bidirectional);
        benchmark::DoNotOptimize(graph.nodeCount());
    });
    add("Build/" + data.name + "/TablesOfTheFirstSearch", benchmark::kMillisecond, [&data](std::size_t) {
        const RoutingGraph fresh = data.graph; // a copy has no tables yet
        benchmark::DoNotOptimize(RoutingDijkstra::run(fresh, 0, 0, distanceMetric).reachedCount());
    });
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const Data sets[] = {gothenburg(), grid(500)};
    const Data half = grid(354); // 250,000 lines
    addBuild(half);
    for (const Data& data : sets) {
        addBuild(data);
        addSearches(data);
        addNearest(data);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
