// Whole maps of labels: texts shaped, placed and drawn with their halos; features ready as arrays. The first
// picture has everything to shape, each further one finds texts and letters as they were. Mapnik (3.1, where
// Debian has it) reads the places from a file each time, the large ones first, as it knows no priorities.
#include "Map/MapnikMap.h"

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>
#include <Cartolith/Core/Layers/GisLayerStyle.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>
#include <Cartolith/Core/Shapes/GisShapePolygon.h>
#include <Cartolith/Core/Shapes/GisShapePolyline.h>
#include <Cartolith/Map/Labels/LabelTexts.h>
#include <Cartolith/Map/Labels/StyledLabels.h>

#include <QGuiApplication>
#include <QImage>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <optional>
#include <random>
#include <vector>

using namespace Cartolith::Core;
using namespace Cartolith::Map;
using namespace Cartolith::Map::Labels;

namespace {

struct Feature {
    QString text;
    double priority = 0.0;
    std::vector<double> coordinates;
    std::vector<qsizetype> ends;
};

enum class Kind { Points, Lines, Areas };

struct Data {
    Kind kind;
    std::vector<Feature> features;
};

template <typename Parts>
void append(Feature& feature, const Parts& parts) {
    for (const auto& part : parts) {
        for (const auto& vertex : part) {
            feature.coordinates.insert(feature.coordinates.end(), {vertex.x(), vertex.y()});
        }
        feature.ends.push_back(static_cast<qsizetype>(feature.coordinates.size() / 2));
    }
}

Data read(const char* file, Kind kind) {
    Layers::GisLayerOgrVector layer(QString(CARTOLITH_DATA_DIR "/") + file);
    layer.open();
    Data data{kind, {}};
    for (const auto& item : layer.items()) {
        Feature feature{
            item->attributeValue("name").toString(), item->attributeValue("population").toDouble(), {}, {}};
        if (const auto* point = dynamic_cast<const Shapes::GisShapePoint*>(item.get())) {
            feature.coordinates = {point->x(), point->y()};
        } else if (const auto* line = dynamic_cast<const Shapes::GisShapePolyline*>(item.get())) {
            append(feature, line->parts());
        } else if (const auto* area = dynamic_cast<const Shapes::GisShapePolygon*>(item.get())) {
            append(feature, area->parts());
        }
        data.features.push_back(std::move(feature));
    }
    return data;
}

const Data& cities() {
    static const Data data = read("world-cities.gpkg", Kind::Points);
    return data;
}
const Data& streets() {
    static const Data data = read("gothenburg-roads.gpkg", Kind::Lines);
    return data;
}
const Data& counties() {
    static const Data data = read("us-counties.gpkg", Kind::Areas);
    return data;
}

const Data& scatter() {
    static const Data data = [] {
        Data made{Kind::Points, {}};
        std::mt19937 random(1);
        std::uniform_real_distribution<double> unit(0.0, 1.0);
        for (int i = 0; i < 20000; ++i) {
            made.features.push_back({QString("Place %1").arg(i),
                                     1.0 / (unit(random) + 0.001),
                                     {1920 * unit(random), 1080 * unit(random)},
                                     {}});
        }
        return made;
    }();
    return data;
}

Layers::GisLayerStyle style() {
    Layers::GisLayerStyle style;
    style.setShowLabels(true);
    style.setLabelField("name");
    style.setLabelFontFamily("DejaVu Sans");
    style.setLabelFontSize(9.0F);
    style.setLabelHaloWidth(3.78F); // a millimetre
    style.setPointSize(4.0F);
    return style;
}

const QRectF screen(0, 0, 1920, 1080);

struct Caches {
    LabelTexts texts;
    LabelPainter painter;
};

qsizetype draw(const Data& data, const MapView& view, const Layers::GisLayerStyle& style, Caches& caches,
               QImage& picture) {
    StyledLabels labels(view, qQNaN(), caches.texts);
    const int number = labels.addStyle(style);
    for (const Feature& feature : data.features) {
        switch (data.kind) {
        case Kind::Points:
            labels.addPoint(number, feature.text, feature.priority,
                            {feature.coordinates[0], feature.coordinates[1]});
            break;
        case Kind::Lines:
            labels.addLine(feature.text.isEmpty() ? -1 : number, feature.text, qQNaN(), feature.coordinates,
                           feature.ends);
            break;
        case Kind::Areas:
            labels.addArea(number, feature.text, qQNaN(), feature.coordinates, feature.ends);
            break;
        }
    }
    labels.place();
    picture.fill(Qt::transparent);
    caches.painter.draw(picture, labels.placedLabels());
    return labels.places().placed();
}

void map(benchmark::State& state, const Data& (*data)(), Shapes::GisExtent extent, bool isInside) {
    static int argc = 0;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static const QGuiApplication application(argc, nullptr);
    const MapView view(extent, screen);
    Layers::GisLayerStyle used = style();
    if (isInside) {
        used.setLabelPlacementMode(Layers::LabelPlacementMode::Area);
    }
    const Data& features = data();
    QImage picture(1920, 1080, QImage::Format_ARGB32_Premultiplied);
    const bool isFirst = state.range(0) == 1;
    std::optional<Caches> caches;
    caches.emplace();
    qsizetype placed = draw(features, view, used, *caches, picture);
    for (auto _ : state) {
        if (isFirst) {
            state.PauseTiming();
            caches.emplace();
            state.ResumeTiming();
        }
        placed = draw(features, view, used, *caches, picture);
    }
    state.counters["placed"] = static_cast<double>(placed);
    state.counters["kB"] = static_cast<double>(caches->texts.bytes() + caches->painter.bytes()) / 1024.0;
}

#ifdef HAVE_MAPNIK
void mapnikMap(benchmark::State& state, Shapes::GisExtent extent) {
    Layers::GisLayerOgrVector file(QStringLiteral(CARTOLITH_DATA_DIR "/world-cities.gpkg"));
    file.open();
    std::vector<const Shapes::GisShape*> cities;
    for (const auto& item : file.items()) {
        cities.push_back(item.get());
    }
    std::stable_sort(cities.begin(), cities.end(), [](const auto* a, const auto* b) {
        return a->attributeValue("population").toDouble() > b->attributeValue("population").toDouble();
    });
    const auto layer = Layers::GisLayerVector::createInMemory("cities", Shapes::GisShapeType::Null, {});
    for (const Shapes::GisShape* city : cities) {
        layer->addShape(city->clone());
    }
    Bench::MapnikMap map(*layer, "<TextSymbolizer face-name='DejaVu Sans Book' size='12' halo-radius='3.78' "
                                 "halo-fill='white' fill='black' placement-type='simple' dx='4' dy='4' "
                                 "placements='NE,E,SE,N,S,NW,W,SW'>[name]</TextSymbolizer>");
    for (auto _ : state) {
        state.counters["drawn"] = map.draw(extent);
    }
}
BENCHMARK_CAPTURE(mapnikMap, cities_world, Shapes::GisExtent(-180, -85, 180, 85))
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(mapnikMap, cities_europe, Shapes::GisExtent(-12, 36, 42, 62))
    ->Unit(benchmark::kMillisecond);
#endif

#define LABEL_MAP(name, data, isInside, ...)                                                                 \
    BENCHMARK_CAPTURE(map, name, data, Shapes::GisExtent(__VA_ARGS__), isInside)                             \
        ->ArgName("first")                                                                                   \
        ->Arg(0)                                                                                             \
        ->Arg(1)                                                                                             \
        ->Unit(benchmark::kMillisecond)

LABEL_MAP(cities_world, cities, false, -180, -85, 180, 85);
LABEL_MAP(cities_europe, cities, false, -12, 36, 42, 62);
LABEL_MAP(points_20000, scatter, false, 0, 0, 1920, 1080);
LABEL_MAP(streets, streets, false, 11.90, 57.66, 12.05, 57.75);
LABEL_MAP(counties, counties, false, -125, 24, -66, 50);
LABEL_MAP(counties_inside, counties, true, -125, 24, -66, 50);

} // namespace
