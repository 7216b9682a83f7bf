// Operations that look for what is near or farthest, on input where boxes alone say little: zigzags, rings of
// long spikes, a comb. The rival is GEOS, on the same vertices.

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Core/Topology/GisTopology.h>

#include <benchmark/benchmark.h>
#include <geos_c.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <vector>

namespace {

using namespace Cartolith::Core::Shapes;
using Cartolith::Core::Topology::GisTopology;
using Part = QList<GisShapePoint>;

const GEOSContextHandle_t geos = GEOS_init_r();

struct Destroy {
    void operator()(GEOSGeometry* geometry) const { GEOSGeom_destroy_r(geos, geometry); }
};
using Geometry = std::unique_ptr<GEOSGeometry, Destroy>;

GEOSCoordSequence* sequenceOf(const Part& part) {
    GEOSCoordSequence* const sequence = GEOSCoordSeq_create_r(geos, static_cast<unsigned>(part.size()), 2);
    for (qsizetype i = 0; i < part.size(); ++i) {
        GEOSCoordSeq_setXY_r(geos, sequence, static_cast<unsigned>(i), part[i].x(), part[i].y());
    }
    return sequence;
}

Geometry lineOf(const Part& part) {
    return Geometry(GEOSGeom_createLineString_r(geos, sequenceOf(part)));
}

Geometry polygonOf(const Part& ring) {
    return Geometry(
        GEOSGeom_createPolygon_r(geos, GEOSGeom_createLinearRing_r(geos, sequenceOf(ring)), nullptr, 0));
}

template <typename Shape>
Shape shapeOf(const Part& part) {
    Shape shape;
    shape.parts().append(part);
    return shape;
}

Part zigzag(bool isSlanted) {
    Part part;
    for (int i = 0; i < 62'000; ++i) {
        const double side = i % 2 != 0 ? 1.0 : -1.0;
        part.append(isSlanted ? GisShapePoint(0.1 * i + side, 0.1 * i - side) : GisShapePoint(i, side));
    }
    return part;
}

Part spikes(int count, double inner, double outer) {
    Part ring;
    for (int i = 0; i < 2 * count; ++i) {
        const double r = i % 2 == 0 ? outer : inner;
        const double angle = std::numbers::pi * i / count;
        ring.append(GisShapePoint(r * std::cos(angle), r * std::sin(angle)));
    }
    ring.append(GisShapePoint(ring.constFirst()));
    return ring;
}

Part comb(int teeth) {
    Part ring;
    for (int i = 0; i < teeth; ++i) {
        for (const auto& [x, y] : {std::pair(0, 0), {0, 10}, {1, 10}, {1, 0}}) {
            ring.append(GisShapePoint(2 * i + x, y));
        }
    }
    for (const auto& [x, y] : {std::pair(2 * teeth, 0), {2 * teeth, -5}, {0, -5}, {0, 0}}) {
        ring.append(GisShapePoint(x, y));
    }
    return ring;
}

void simplify(benchmark::State& state, bool isSlanted, double tolerance) {
    const Part part = zigzag(isSlanted);
    for ([[maybe_unused]] auto step : state) {
        benchmark::DoNotOptimize(GisShapePolyline::simplifyPart(part, tolerance));
    }
}

void simplifySlantedGeos(benchmark::State& state, double tolerance) {
    const Geometry line = lineOf(zigzag(true));
    for ([[maybe_unused]] auto step : state) {
        benchmark::DoNotOptimize(Geometry(GEOSSimplify_r(geos, line.get(), tolerance)));
    }
}

void distance(benchmark::State& state) {
    const auto a = shapeOf<GisShapePolyline>(spikes(7000, 1, 2));
    const auto b = shapeOf<GisShapePolyline>(spikes(7000, 1.01, 2.02));
    for ([[maybe_unused]] auto step : state) {
        benchmark::DoNotOptimize(GisTopology().Distance(a, b));
    }
}

void distanceGeos(benchmark::State& state) {
    const Geometry a = lineOf(spikes(7000, 1, 2));
    const Geometry b = lineOf(spikes(7000, 1.01, 2.02));
    double result = 0;
    for ([[maybe_unused]] auto step : state) {
        GEOSDistanceIndexed_r(geos, a.get(), b.get(), &result);
    }
}

void check(benchmark::State& state) {
    const auto ring = shapeOf<GisShapePolygon>(spikes(50'000, 0.3, 1));
    for ([[maybe_unused]] auto step : state) {
        benchmark::DoNotOptimize(GisTopology().CheckShape(ring));
    }
}

void checkGeos(benchmark::State& state) {
    const Geometry ring = polygonOf(spikes(50'000, 0.3, 1));
    for ([[maybe_unused]] auto step : state) {
        benchmark::DoNotOptimize(GEOSisValid_r(geos, ring.get()));
    }
}

/// In an order that has nothing to do with where they lie.
std::vector<Part> triangles() {
    constexpr int count = 50'000;
    std::vector<Part> all;
    for (int i = 0; i < count; ++i) {
        const int place = static_cast<int>(7919LL * i % count);
        const double x = 2.0 * (place % 250);
        const double y = 2.0 * (place / 250);
        all.push_back({{x, y}, {x + 1, y}, {x, y + 1}, {x, y}});
    }
    return all;
}

void checkMany(benchmark::State& state) {
    GisShapePolygon polygon;
    for (const Part& ring : triangles()) {
        polygon.parts().append(ring);
    }
    for ([[maybe_unused]] auto step : state) {
        benchmark::DoNotOptimize(GisTopology().CheckShape(polygon));
    }
}

void checkManyGeos(benchmark::State& state) {
    std::vector<GEOSGeometry*> polygons;
    for (const Part& ring : triangles()) {
        polygons.push_back(polygonOf(ring).release());
    }
    const Geometry all(GEOSGeom_createCollection_r(geos, GEOS_MULTIPOLYGON, polygons.data(),
                                                   static_cast<unsigned>(polygons.size())));
    for ([[maybe_unused]] auto step : state) {
        benchmark::DoNotOptimize(GEOSisValid_r(geos, all.get()));
    }
}

constexpr int teeth = 8000;

void split(benchmark::State& state) {
    const auto polygon = shapeOf<GisShapePolygon>(comb(teeth));
    const auto line = shapeOf<GisShapePolyline>({{-1, 5}, {2 * teeth + 2, 5.1}});
    for ([[maybe_unused]] auto step : state) {
        benchmark::DoNotOptimize(GisTopology().SplitByLine(polygon, line));
    }
}

Geometry facesOf(const Geometry& polygon, const Geometry& line) {
    const Geometry boundary(GEOSBoundary_r(geos, polygon.get()));
    const Geometry noded(GEOSUnion_r(geos, boundary.get(), line.get()));
    const GEOSGeometry* const parts[] = {noded.get()};
    return Geometry(GEOSPolygonize_r(geos, parts, 1));
}

/// Noding and putting together alone; which of the faces belong to the polygon is not asked.
void splitGeos(benchmark::State& state) {
    const Geometry polygon = polygonOf(comb(teeth));
    const Geometry line = lineOf({{-1, 5}, {2 * teeth + 2, 5.1}});
    for ([[maybe_unused]] auto step : state) {
        benchmark::DoNotOptimize(facesOf(polygon, line));
    }
}

/// To and fro over the contiguous states, 10,000 vertices.
Part longLine() {
    Part part;
    for (int i = 0; i < 10'000; ++i) {
        part.append(GisShapePoint(-125 + i * 0.006, 38 + 12 * std::sin(i * 0.05)));
    }
    return part;
}

/// The counties, each cut by one line.
void splitMany(benchmark::State& state) {
    Cartolith::Core::Layers::GisLayerOgrVector layer(QStringLiteral(CARTOLITH_DATA_DIR "/us-counties.gpkg"));
    layer.open();
    const auto line = shapeOf<GisShapePolyline>(longLine());
    std::size_t pieces = 0;
    for ([[maybe_unused]] auto step : state) {
        for (const GisShape* shape : layer.rawShapes()) {
            pieces += GisTopology().SplitByLine(*shape, line).size();
        }
    }
    state.counters["pieces"] = static_cast<double>(pieces) / static_cast<double>(state.iterations());
}

/// As splitGeos(); holes count as shells.
void splitManyGeos(benchmark::State& state) {
    Cartolith::Core::Layers::GisLayerOgrVector layer(QStringLiteral(CARTOLITH_DATA_DIR "/us-counties.gpkg"));
    layer.open();
    std::vector<Geometry> polygons;
    for (const GisShape* shape : layer.rawShapes()) {
        for (const Part& ring : static_cast<const GisShapePolygon*>(shape)->parts()) {
            polygons.push_back(polygonOf(ring));
        }
    }
    const Geometry line = lineOf(longLine());
    for ([[maybe_unused]] auto step : state) {
        for (const Geometry& polygon : polygons) {
            benchmark::DoNotOptimize(facesOf(polygon, line));
        }
    }
}

BENCHMARK_CAPTURE(simplify, level, false, 0.05)->Name("editing/simplifyZigzag/ours");
// GEOS 3.11 goes as deep as the line is long there, and out of its stack.
BENCHMARK_CAPTURE(simplify, slanted, true, 0.05)->Name("editing/simplifySlanted/ours");
BENCHMARK_CAPTURE(simplifySlantedGeos, slanted, 0.05)->Name("editing/simplifySlanted/Geos");
BENCHMARK_CAPTURE(simplify, coarsely, true, 0.5)->Name("editing/simplifySlantedCoarsely/ours");
BENCHMARK_CAPTURE(simplifySlantedGeos, coarsely, 0.5)->Name("editing/simplifySlantedCoarsely/Geos");
BENCHMARK(distance)->Name("editing/distance/ours");
BENCHMARK(distanceGeos)->Name("editing/distance/Geos");
BENCHMARK(check)->Name("editing/check/ours");
BENCHMARK(checkGeos)->Name("editing/check/Geos");
BENCHMARK(checkMany)->Name("editing/checkMany/ours");
BENCHMARK(checkManyGeos)->Name("editing/checkMany/Geos");
BENCHMARK(split)->Name("editing/split/ours");
BENCHMARK(splitGeos)->Name("editing/split/Geos");
BENCHMARK(splitMany)->Name("editing/splitMany/ours")->Iterations(1);
BENCHMARK(splitManyGeos)->Name("editing/splitMany/Geos")->Iterations(1);

} // namespace
