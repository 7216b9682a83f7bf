// Finding places for labels; no rival has this as numbers in, places out.
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Map/Labels/LabelPlacer.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Labels;

namespace {

const QRectF screen(0, 0, 1920, 1080);

struct Flat {
    std::vector<double> coordinates;
    std::vector<qsizetype> ends;
    std::vector<double> advances;
};

template <typename Shape>
std::vector<Flat> flat(const char* file, const char* field) {
    Layers::GisLayerOgrVector layer(QString(CARTOLITH_DATA_DIR "/") + file);
    layer.open();
    std::vector<Flat> result;
    for (const auto& item : layer.items()) {
        const auto* shape = dynamic_cast<const Shape*>(item.get());
        const QString text = shape != nullptr ? shape->attributeValue(field).toString() : QString();
        if (text.isEmpty()) {
            continue;
        }
        Flat one;
        for (const auto& part : shape->parts()) {
            for (const auto& vertex : part) {
                one.coordinates.push_back(vertex.x());
                one.coordinates.push_back(vertex.y());
            }
            one.ends.push_back(static_cast<qsizetype>(one.coordinates.size() / 2));
        }
        one.advances.assign(static_cast<std::size_t>(text.size()), 6.0);
        result.push_back(std::move(one));
    }
    return result;
}

void points(benchmark::State& state) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<std::array<double, 4>> rows(static_cast<std::size_t>(state.range(0)));
    for (auto& row : rows) {
        row = {1920 * unit(random), 1080 * unit(random), 30 + 50 * unit(random),
               1.0 / (unit(random) + 0.001)};
    }
    const MapView view({0, 0, 1920, 1080}, screen);
    qsizetype placed = 0;
    for (auto _ : state) {
        LabelPlacer placer(view);
        for (const auto& [x, y, width, value] : rows) {
            LabelSettings settings;
            settings.priorityValue = value;
            placer.addPoint(settings, {width, 13}, {x, y}, 3.0);
        }
        if (state.range(1) == 0) {
            placer.setBudget(0);
        }
        placed = placer.place().placed();
    }
    state.counters["placed"] = static_cast<double>(placed);
}
BENCHMARK(points)
    ->ArgNames({"points", "exchange"})
    ->Args({20000, 0})
    ->Args({20000, 1})
    ->Args({3000, 1})
    ->Unit(benchmark::kMillisecond);

void streets(benchmark::State& state) {
    const auto lines = flat<Shapes::GisShapePolyline>("gothenburg-roads.gpkg", "name");
    Shapes::GisExtent extent;
    for (const Flat& line : lines) {
        extent = extent.expand(
            {line.coordinates[0], line.coordinates[1], line.coordinates[0], line.coordinates[1]});
    }
    const MapView view(extent, screen);
    qsizetype placed = 0;
    for (auto _ : state) {
        LabelPlacer placer(view);
        for (const Flat& line : lines) {
            placer.addLine({}, 12.0, line.advances, line.coordinates);
        }
        placed = placer.place().placed();
    }
    state.counters["placed"] = static_cast<double>(placed);
    state.counters["lines"] = static_cast<double>(lines.size());
}
BENCHMARK(streets)->Unit(benchmark::kMillisecond);

void counties(benchmark::State& state) {
    const auto areas = flat<Shapes::GisShapePolygon>("us-counties.gpkg", "name");
    LabelSettings settings;
    settings.mayReachOut = true;
    const MapView view({-125, 24, -66, 50}, screen);
    qsizetype placed = 0;
    for (auto _ : state) {
        LabelPlacer placer(view);
        for (const Flat& area : areas) {
            placer.addArea(settings, 12.0, area.advances, area.coordinates, area.ends);
        }
        placed = placer.place().placed();
    }
    state.counters["placed"] = static_cast<double>(placed);
    state.counters["areas"] = static_cast<double>(areas.size());
}
BENCHMARK(counties)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
