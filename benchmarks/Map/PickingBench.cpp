// What is near the mouse among 448,000 lines in another system than the map's: drawn to by the index of a
// Snapper, and looked up through the layer's own index with each line near taken to the map (Picker).
#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateTransformer.h>
#include <Cartolith/Core/Layers/GisLayerVector.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/Picking/Picker.h>
#include <Cartolith/Map/Picking/Snapper.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <random>

using namespace Cartolith::Core;
using namespace Cartolith::Map;

namespace {

constexpr double middleX = 600'000.0; // UTM 32 north
constexpr double middleY = 6'000'000.0;
constexpr double side = 200'000.0;

/// Streets of six vertices, half of them in towns.
std::shared_ptr<Layers::GisLayerVector> streets() {
    std::shared_ptr<Layers::GisLayerVector> layer =
        Layers::GisLayerVector::createInMemory("streets", Shapes::GisShapeType::Null, {});
    layer->setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromEpsg(32632));
    std::mt19937 random(1);
    std::uniform_real_distribution<double> anywhere(-side / 2, side / 2);
    std::uniform_real_distribution<double> step(-120.0, 120.0);
    constexpr int count = 448'000;
    double townX = 0.0;
    double townY = 0.0;
    for (int i = 0; i < count; ++i) {
        const bool isInTown = i % 2 == 0;
        if (i % 10'000 == 0) {
            townX = anywhere(random);
            townY = anywhere(random);
        }
        double x = middleX + (isInTown ? townX + anywhere(random) / 20 : anywhere(random));
        double y = middleY + (isInTown ? townY + anywhere(random) / 20 : anywhere(random));
        QList<Shapes::GisShapePoint> part;
        for (int k = 0; k < 6; ++k) {
            part.append({x, y});
            x += step(random);
            y += step(random);
        }
        auto line = std::make_unique<Shapes::GisShapePolyline>();
        line->parts().append(part);
        layer->addShape(std::move(line));
    }
    return layer;
}

struct Setting {
    std::shared_ptr<Layers::GisLayerVector> layer = streets();
    std::shared_ptr<CoordinateSystems::CoordinateSystem> system =
        CoordinateSystems::CoordinateSystemFactory::fromEpsg(3857);
    MapView view;
    std::unique_ptr<Picking::Snapper> snapper;
    double building = 0.0;
    double longestStep = 0.0; // of 5 ms

    Setting() {
        const Shapes::GisShapePoint middle =
            CoordinateSystems::CoordinateTransformer(*layer->coordinateSystem(), *system)
                .transform({middleX, middleY});
        view = MapView({middle.x() - side, middle.y() - side, middle.x() + side, middle.y() + side},
                       QRectF(0, 0, 1000, 1000));
        snapper =
            std::make_unique<Picking::Snapper>(QList<std::shared_ptr<Layers::GisLayer>>{layer}, system, view);
        const auto seconds = [](std::clock_t from, std::clock_t to) {
            return static_cast<double>(to - from) / CLOCKS_PER_SEC;
        };
        const std::clock_t begin = std::clock(); // of the processor, which others use as well
        for (std::clock_t before = begin; !snapper->step(std::chrono::milliseconds(5));) {
            const std::clock_t now = std::clock();
            longestStep = std::max(longestStep, seconds(before, now));
            before = now;
        }
        building = seconds(begin, std::clock());
    }
};

Setting& setting() {
    static Setting made;
    return made;
}

/// The first argument is how far the view is zoomed in, the second the kinds.
template <typename Ask>
void ask(benchmark::State& state, Ask asked) {
    const Setting& all = setting();
    const MapView view = all.view.zoomed(static_cast<double>(state.range(0)), {500, 500});
    std::mt19937 random(2);
    std::uniform_real_distribution<double> pixel(200.0, 800.0);
    double found = 0.0;
    double longest = 0.0;
    for (auto _ : state) {
        const QPointF mouse(pixel(random), pixel(random));
        const auto begin = std::chrono::steady_clock::now();
        found += asked(all, view, mouse) ? 1.0 : 0.0;
        longest = std::max(longest,
                           std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
    }
    state.counters["found"] = benchmark::Counter(found, benchmark::Counter::kAvgIterations);
    state.counters["longest_ms"] = longest * 1e3;
    state.counters["building_s"] = all.building;
    state.counters["longest_step_ms"] = all.longestStep * 1e3;
}

void snaps(benchmark::State& state) {
    const auto kinds = Picking::SnapKinds(static_cast<int>(state.range(1)));
    ask(state, [kinds](const Setting& all, const MapView& view, QPointF mouse) {
        return all.snapper->snap(view, mouse, 10, kinds).has_value();
    });
}

void picks(benchmark::State& state) {
    Picking::Picker picker;
    ask(state, [&picker](const Setting& all, const MapView& view, QPointF mouse) {
        return !picker.hitTest({all.layer}, all.system, view, mouse, 10).isEmpty();
    });
}

BENCHMARK(snaps)->ArgsProduct({{1, 20, 400}, {15, 2, 8}})->Unit(benchmark::kMicrosecond);
BENCHMARK(picks)->ArgsProduct({{20, 400}, {0}})->Unit(benchmark::kMicrosecond);

} // namespace
