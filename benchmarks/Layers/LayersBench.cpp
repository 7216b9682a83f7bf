// A vector layer of a million points, and the opening of a file beside plain OGR.

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Layers/Ogr/OgrDigestInternal.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <benchmark/benchmark.h>
#include <ogrsf_frmts.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

namespace {

using namespace Cartolith::Core;
using Layers::GisLayerOgrVector;
using Layers::GisLayerVector;
using Shapes::GisExtent;
using Shapes::GisShapePoint;

constexpr int million = 1'000'000;
constexpr double size = 1'000'000.0;
constexpr double window = 3'200.0; // holds about ten of a million points

/// Points, or corners of windows, in the square from 0 to `size`; always the same.
std::vector<GisShapePoint> places(int count, unsigned seed) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> coordinate(0.0, size);
    std::vector<GisShapePoint> points;
    points.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const double x = coordinate(random);
        points.emplace_back(x, coordinate(random));
    }
    return points;
}

const std::vector<GisShapePoint>& corners() {
    static const std::vector<GisShapePoint> result = places(1024, 2);
    return result;
}

std::unique_ptr<GisLayerVector> filled(const std::vector<GisShapePoint>& points) {
    auto layer = GisLayerVector::createInMemory(QString(), Shapes::GisShapeType::Point, GisExtent());
    for (const GisShapePoint& point : points) {
        layer->addPoint(point);
    }
    return layer;
}

GisLayerVector& sharedLayer() {
    static const std::unique_ptr<GisLayerVector> layer = filled(places(million, 1));
    return *layer;
}

GisExtent windowAt(const GisShapePoint& corner) {
    return {corner.x(), corner.y(), corner.x() + window, corner.y() + window};
}

// The time of each point must not grow with their number.
void addShape(benchmark::State& state) {
    const auto points = places(static_cast<int>(state.range(0)), 1);
    for (auto _ : state) {
        auto layer = filled(points);
        benchmark::DoNotOptimize(layer.get());
        state.PauseTiming();
        layer.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void firstQuery(benchmark::State& state) {
    GisLayerVector& layer = sharedLayer();
    for (auto _ : state) {
        layer.markDirty();
        benchmark::DoNotOptimize(layer.query(windowAt(corners()[0])));
    }
}

void query(benchmark::State& state) {
    GisLayerVector& layer = sharedLayer();
    layer.setUseSpatialIndex(state.range(0) != 0);
    layer.ensureSpatialIndex();
    std::size_t i = 0;
    qsizetype hits = 0;
    for (auto _ : state) {
        hits += layer.query(windowAt(corners()[i++ % corners().size()])).size();
    }
    state.counters["hits"] =
        benchmark::Counter(static_cast<double>(hits), benchmark::Counter::kAvgIterations);
    layer.setUseSpatialIndex(true);
}

void findShapeAt(benchmark::State& state) {
    GisLayerVector& layer = sharedLayer();
    layer.ensureSpatialIndex();
    std::size_t i = 0;
    double found = 0;
    for (auto _ : state) {
        found += layer.findShapeAt(corners()[i++ % corners().size()], window / 4) != nullptr ? 1 : 0;
    }
    state.counters["found"] = benchmark::Counter(found, benchmark::Counter::kAvgIterations);
}

void extentAfterAChange(benchmark::State& state) {
    GisLayerVector& layer = sharedLayer();
    for (auto _ : state) {
        layer.markDirty();
        benchmark::DoNotOptimize(layer.extent());
    }
}

void extentAgain(benchmark::State& state) {
    GisLayerVector& layer = sharedLayer();
    for (auto _ : state) {
        benchmark::DoNotOptimize(layer.extent());
    }
}

const char* const counties = CARTOLITH_DATA_DIR "/us-counties.gpkg";

void openCounties(benchmark::State& state) {
    for (auto _ : state) {
        GisLayerOgrVector layer(counties);
        if (!layer.open()) {
            std::abort();
        }
        benchmark::DoNotOptimize(layer.count());
    }
}

/// The least that keeps the same content: every geometry and every feature's fields.
void openCountiesWithOgr(benchmark::State& state) {
    GDALAllRegister();
    for (auto _ : state) {
        const std::unique_ptr<GDALDataset> source(GDALDataset::Open(counties, GDAL_OF_VECTOR));
        std::vector<std::unique_ptr<OGRGeometry>> geometries;
        std::vector<std::string> names;
        OGRLayer& layer = *source->GetLayer(0);
        const int field = layer.GetLayerDefn()->GetFieldIndex("name");
        while (const std::unique_ptr<OGRFeature> feature{layer.GetNextFeature()}) {
            if (const OGRGeometry* geometry = feature->GetGeometryRef()) {
                geometries.emplace_back(geometry->clone());
                names.emplace_back(feature->GetFieldAsString(field));
            }
        }
        if (geometries.size() < 3000) {
            std::abort();
        }
        benchmark::DoNotOptimize(geometries.data());
    }
}

/// What open() spends on knowing each feature again when edits are saved: a digest of each, without the
/// reading.
void digestCounties(benchmark::State& state) {
    GDALAllRegister();
    const std::unique_ptr<GDALDataset> source(GDALDataset::Open(counties, GDAL_OF_VECTOR));
    std::vector<std::unique_ptr<OGRFeature>> features;
    OGRLayer& layer = *source->GetLayer(0);
    while (OGRFeature* const feature = layer.GetNextFeature()) {
        features.emplace_back(feature);
    }
    for (auto _ : state) {
        Layers::Internal::OgrDigest digest;
        quint64 sum = 0;
        for (const auto& feature : features) {
            sum += digest.of(*feature);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.counters["features"] = static_cast<double>(features.size());
}

} // namespace

BENCHMARK(addShape)->RangeMultiplier(10)->Range(10'000, million)->Unit(benchmark::kMillisecond);
BENCHMARK(firstQuery)->Unit(benchmark::kMillisecond);
BENCHMARK(query)->ArgName("index")->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);
BENCHMARK(findShapeAt)->Unit(benchmark::kMicrosecond);
BENCHMARK(extentAfterAChange)->Unit(benchmark::kMillisecond);
BENCHMARK(extentAgain)->Unit(benchmark::kNanosecond);
BENCHMARK(openCounties)->Unit(benchmark::kMillisecond);
BENCHMARK(openCountiesWithOgr)->Unit(benchmark::kMillisecond);
BENCHMARK(digestCounties)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
