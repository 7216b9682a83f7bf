// Whole layers from their snapshots: what a map draws when nothing but the view has changed, and what the
// snapshot costs at first. QPainter draws the same layer through MapPainter; Mapnik (3.1, where Debian has
// it) draws the same shapes, which it reads from a file each time.
#include "Map/MapnikMap.h"

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Map/LayerSnapshotBuilder.h>
#include <Cartolith/Map/MapPainter.h>
#include <Cartolith/Map/MapRenderJob.h>

#include <QPainter>
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>

using namespace Cartolith::Core;
using namespace Cartolith::Map;

namespace {

constexpr int width = 1920;
constexpr int height = 1080;
const MapView view({0, 0, width, height}, QRectF(0, 0, width, height));

enum Kind { Areas, Lines, Points, Hairlines };

std::unique_ptr<Shapes::GisShape> shapeOf(Kind kind, double x, double y, double cell, std::mt19937& random) {
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    QList<Shapes::GisShapePoint> part;
    if (kind == Points) {
        return std::make_unique<Shapes::GisShapePoint>(x, y);
    }
    if (kind == Lines || kind == Hairlines) {
        for (int k = 0; k < 6; ++k) {
            x += (unit(random) - 0.3) * cell * 0.8;
            y += (unit(random) - 0.4) * cell * 0.8;
            part.append({x, y});
        }
        auto line = std::make_unique<Shapes::GisShapePolyline>();
        line->parts().append(part);
        return line;
    }
    constexpr int corners = 8;
    for (int k = 0; k <= corners; ++k) {
        const double angle = 6.2831853 * (k % corners) / corners;
        part.append({x + cell * 0.6 * std::cos(angle), y + cell * 0.6 * std::sin(angle)});
    }
    auto area = std::make_unique<Shapes::GisShapePolygon>();
    area->parts().append(part);
    return area;
}

/// Side by side, so many that they fill the picture.
std::unique_ptr<Layers::GisLayerVector> layerOf(Kind kind, int count) {
    auto layer = Layers::GisLayerVector::createInMemory("bench", Shapes::GisShapeType::Null, {});
    std::mt19937 random(1);
    const double cell = std::sqrt(1.0 * width * height / count);
    const int columns = static_cast<int>(width / cell);
    for (int i = 0; i < count; ++i) {
        layer->addShape(shapeOf(kind, (i % columns + 0.5) * cell, (i / columns + 0.5) * cell, cell, random));
    }
    layer->style().setFillOpacity(255);
    layer->style().setLineWidth(kind == Lines ? 3.0F : 1.0F);
    return layer;
}

LayerSnapshot snapshotOf(Layers::GisLayerVector& layer) {
    LayerSnapshotBuilder builder(layer, view, nullptr);
    while (!builder.step(std::chrono::hours(1))) {
    }
    return builder.snapshot();
}

void drawJob(benchmark::State& state, const LayerSnapshot& snapshot, const MapView& drawn) {
    for (auto _ : state) {
        MapRenderJob job(drawn, {{snapshot}});
        job.run();
        benchmark::DoNotOptimize(job.compose().constBits());
    }
}

void jobs(benchmark::State& state) {
    drawJob(state, snapshotOf(*layerOf(static_cast<Kind>(state.range(0)), static_cast<int>(state.range(1)))),
            view);
}

void snapshots(benchmark::State& state) {
    const auto layer = layerOf(static_cast<Kind>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(snapshotOf(*layer).count());
    }
}

void painters(benchmark::State& state) {
    const auto layer = layerOf(static_cast<Kind>(state.range(0)), static_cast<int>(state.range(1)));
    layer->buildSpatialIndex();
    for (auto _ : state) {
        QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        const auto shapes = MapPainter::visibleShapes(*layer, view);
        MapPainter(painter, view).draw(shapes, MapPainter::stylesFor(*layer, shapes));
    }
}

/// From so far away that shapes are below a pixel.
void jobsFromFar(benchmark::State& state) {
    drawJob(state, snapshotOf(*layerOf(static_cast<Kind>(state.range(0)), 1000000)),
            view.zoomed(0.125, {960, 540}));
}

/// Real ones: everything, and a part.
void counties(benchmark::State& state) {
    Layers::GisLayerOgrVector layer(QStringLiteral(CARTOLITH_DATA_DIR "/us-counties.gpkg"));
    layer.open();
    const MapView all({-125, 24, -66, 50}, QRectF(0, 0, width, height));
    drawJob(state, snapshotOf(layer), state.range(0) == 0 ? all : all.zoomed(20.0, {960, 540}));
}

#ifdef HAVE_MAPNIK
void mapnik(benchmark::State& state) {
    const char* const symbolizers[] = {
        "<PolygonSymbolizer fill='#90B0D0'/><LineSymbolizer stroke='#404040' stroke-width='1'/>",
        "<LineSymbolizer stroke='#404040' stroke-width='3' stroke-linecap='round' stroke-linejoin='round'/>",
        ("<MarkersSymbolizer width='8' height='8' fill='#C04040' stroke='#404040' stroke-width='1' "
         "allow-overlap='true' ignore-placement='true'/>"),
        "<LineSymbolizer stroke='#404040' stroke-width='1'/>"};
    const auto layer = layerOf(static_cast<Kind>(state.range(0)), static_cast<int>(state.range(1)));
    Bench::MapnikMap map(*layer, symbolizers[state.range(0)]);
    for (auto _ : state) {
        state.counters["drawn"] = map.draw({0, 0, width, height});
    }
}
#endif

constexpr int few = 100000;
constexpr int many = 1000000;
BENCHMARK(jobs)->ArgsProduct({{Areas, Lines, Points, Hairlines}, {few, many}})->Unit(benchmark::kMillisecond);
BENCHMARK(snapshots)->ArgsProduct({{Areas, Lines, Points}, {few, many}})->Unit(benchmark::kMillisecond);
#ifdef HAVE_MAPNIK
BENCHMARK(mapnik)
    ->ArgsProduct({{Areas, Lines, Points, Hairlines}, {few, many}})
    ->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(painters)->ArgsProduct({{Areas, Points}, {few}})->Unit(benchmark::kMillisecond);
BENCHMARK(jobsFromFar)->Arg(Areas)->Arg(Lines)->Unit(benchmark::kMillisecond);
BENCHMARK(counties)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace
