// Maps as files: what a layer costs as PDF and SVG, its snapshot ready, and how many tiles of roads are drawn
// in a second. The same layer painted on a page of QPdfWriter by MapPainter.
#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Map/MapPainter.h>
#include <Cartolith/Map/MapScene.h>
#include <Cartolith/Map/Output/SceneTiles.h>
#include <Cartolith/Map/Output/VectorFile.h>

#include <QFile>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <memory>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Output;

namespace {

std::shared_ptr<Layers::GisLayerOgrVector> layerOf(const char* path) {
    auto layer = std::make_shared<Layers::GisLayerOgrVector>(QString::fromUtf8(path));
    layer->open();
    return layer;
}

struct Counties {
    Counties() {
        scene.setCoordinateSystem(layer->coordinateSystem());
        scene.append(layer);
        scene.extent(); // makes the snapshot
    }

    std::shared_ptr<Layers::GisLayerOgrVector> layer = layerOf(CARTOLITH_DATA_DIR "/us-counties.gpkg");
    MapScene scene;
    PageSetup page = *PageSetup::named(QStringLiteral("A4"), true);
    MapView view = page.view({-125, 24, -66, 50});
    QTemporaryDir folder;
};

void vectorFiles(benchmark::State& state, const char* name) {
    Counties counties;
    const QString path = counties.folder.filePath(QLatin1String(name));
    for (auto _ : state) {
        VectorFile::save(counties.scene, counties.view, path, {.page = counties.page});
    }
    state.counters["bytes"] = static_cast<double>(QFile(path).size());
}

void painterPdf(benchmark::State& state) {
    Counties counties;
    const QString path = counties.folder.filePath(QStringLiteral("map.pdf"));
    for (auto _ : state) {
        QPdfWriter writer(path);
        counties.page.apply(writer);
        QPainter painter(&writer);
        const auto shapes = MapPainter::visibleShapes(*counties.layer, counties.view);
        MapPainter(painter, counties.view).draw(shapes, MapPainter::stylesFor(*counties.layer, shapes));
    }
    state.counters["bytes"] = static_cast<double>(QFile(path).size());
}

void roadTiles(benchmark::State& state) {
    const auto roads = layerOf(CARTOLITH_DATA_DIR "/gothenburg-roads.gpkg");
    roads->style().setLineWidth(2);
    roads->style().setShowLabels(state.range(0) != 0);
    roads->style().setLabelField(QStringLiteral("name"));
    MapScene scene;
    scene.setCoordinateSystem(CoordinateSystems::CoordinateSystemFactory::fromEpsg(3857));
    scene.append(roads);
    TileJob job;
    job.extent = scene.extent();
    job.minZoom = 12;
    job.maxZoom = 15;
    qint64 tiles = 0;
    for (int zoom = job.minZoom; zoom <= job.maxZoom; ++zoom) {
        tiles += TileScheme::tilesOf(job.extent, zoom)->count();
    }
    const QTemporaryDir folder;
    for (auto _ : state) {
        SceneTiles::write(scene, folder.filePath(QStringLiteral("roads.mbtiles")), job);
    }
    state.counters["tiles"] =
        benchmark::Counter(static_cast<double>(tiles), benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK_CAPTURE(vectorFiles, pdf, "map.pdf")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(vectorFiles, svg, "map.svg")->Unit(benchmark::kMillisecond);
BENCHMARK(painterPdf)->Unit(benchmark::kMillisecond);
BENCHMARK(roadTiles)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

} // namespace
