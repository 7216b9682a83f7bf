// WKT, WKB and GeoJSON geometry, read and written, against GEOS and OGR on the US counties.
//
// Everybody reads the same text and the same bytes, exported by OGR. Our model flattens a multipolygon into
// one list of rings, so what is written differs by a few parentheses or headers for those counties. Digits:
// ours prints up to 16 decimals, OGR 15 significant digits, GEOS (trimmed, 2D) 15 decimals.
#include <Cartolith/Core/Serialization/GisGeoJsonFeatureReader.h>
#include <Cartolith/Core/Serialization/GisGeoJsonFeatureWriter.h>
#include <Cartolith/Core/Serialization/GisGeoJsonReader.h>
#include <Cartolith/Core/Serialization/GisWkbReader.h>
#include <Cartolith/Core/Serialization/GisWkbWriter.h>
#include <Cartolith/Core/Serialization/GisWktReader.h>
#include <Cartolith/Core/Serialization/GisWktWriter.h>

#include <QBuffer>
#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <benchmark/benchmark.h>
#include <cpl_vsi.h>
#include <geos_c.h>
#include <ogr_api.h>
#include <ogrsf_frmts.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace Cartolith::Core;
using Serialization::GeoJson::GisGeoJsonFeature;
using Serialization::GeoJson::GisGeoJsonFeatureReader;
using Serialization::GeoJson::GisGeoJsonFeatureWriter;
using Serialization::GeoJson::GisGeoJsonReader;
using Serialization::Wkb::GisWkbReader;
using Serialization::Wkb::GisWkbWriter;
using Serialization::Wkt::GisWktReader;
using Serialization::Wkt::GisWktWriter;
using Shapes::GisShapePolygon;

struct Geos {
    GEOSContextHandle_t context = GEOS_init_r();
    GEOSWKTReader* wktReader = GEOSWKTReader_create_r(context);
    GEOSWKTWriter* wktWriter = GEOSWKTWriter_create_r(context);
    GEOSWKBReader* wkbReader = GEOSWKBReader_create_r(context);
    GEOSWKBWriter* wkbWriter = GEOSWKBWriter_create_r(context);
    GEOSGeoJSONReader* geoJsonReader = GEOSGeoJSONReader_create_r(context);

    Geos() {
        GEOSWKTWriter_setTrim_r(context, wktWriter, 1);
        GEOSWKTWriter_setRoundingPrecision_r(context, wktWriter, 15);
        GEOSWKTWriter_setOutputDimension_r(context, wktWriter, 2);
        GEOSWKBWriter_setOutputDimension_r(context, wkbWriter, 2);
    }
};

Geos& geos() {
    static Geos instance; // lives as long as the program
    return instance;
}

/// The counties in every form that somebody reads or writes.
struct Counties {
    std::vector<std::unique_ptr<OGRGeometry>> ogr;
    std::vector<GEOSGeometry*> geos;
    std::vector<GisShapePolygon> ours;
    std::vector<QString> text;
    std::vector<std::string> latin1Text;
    std::vector<QByteArray> bytes;
    std::vector<QString> json;
    std::vector<std::string> utf8Json;
    double vertices = 0;

    Counties() {
        GDALAllRegister();
        const std::unique_ptr<GDALDataset> file(
            GDALDataset::Open(CARTOLITH_DATA_DIR "/us-counties.gpkg", GDAL_OF_VECTOR));
        if (!file) {
            std::abort();
        }
        for (const auto& feature : *file->GetLayer(0)) {
            const OGRGeometry* const geometry = feature->GetGeometryRef();
            OGRWktOptions options;
            latin1Text.push_back(geometry->exportToWkt(options));
            text.push_back(QString::fromStdString(latin1Text.back()));
            QByteArray wkb(static_cast<qsizetype>(geometry->WkbSize()), Qt::Uninitialized);
            geometry->exportToWkb(wkbNDR, reinterpret_cast<unsigned char*>(wkb.data()));
            ours.push_back(dynamic_cast<GisShapePolygon&>(*GisWkbReader::read(wkb)));
            for (const auto& ring : ours.back().parts()) {
                vertices += static_cast<double>(ring.size());
            }
            geos.push_back(GEOSWKBReader_read_r(::geos().context, ::geos().wkbReader,
                                                reinterpret_cast<const unsigned char*>(wkb.constData()),
                                                static_cast<size_t>(wkb.size())));
            bytes.push_back(std::move(wkb));
            char* const exported = geometry->exportToJson();
            utf8Json.emplace_back(exported);
            CPLFree(exported);
            json.push_back(QString::fromStdString(utf8Json.back()));
            ogr.emplace_back(geometry->clone());
        }
    }
};

const Counties& counties() {
    static const Counties instance;
    return instance;
}

/// Runs `once` over the items again and again and reports vertices per second.
template <typename Items, typename Once>
void run(benchmark::State& state, const Items& items, Once once) {
    for (auto _ : state) {
        for (const auto& item : items) {
            once(item);
        }
    }
    state.counters["vertices/s"] =
        benchmark::Counter(counties().vertices, benchmark::Counter::kIsIterationInvariantRate);
}

void wktReadOurs(benchmark::State& state) {
    run(state, counties().text,
        [](const QString& text) { benchmark::DoNotOptimize(GisWktReader::read(text)); });
}

void wktReadGeos(benchmark::State& state) {
    const Geos& g = geos();
    run(state, counties().latin1Text, [&g](const std::string& text) {
        GEOSGeom_destroy_r(g.context, GEOSWKTReader_read_r(g.context, g.wktReader, text.c_str()));
    });
}

void wktReadOgr(benchmark::State& state) {
    run(state, counties().latin1Text, [](const std::string& text) {
        OGRGeometry* geometry = nullptr;
        OGRGeometryFactory::createFromWkt(text.c_str(), nullptr, &geometry);
        OGRGeometryFactory::destroyGeometry(geometry);
    });
}

void wktWriteOurs(benchmark::State& state) {
    run(state, counties().ours,
        [](const GisShapePolygon& shape) { benchmark::DoNotOptimize(GisWktWriter::writePolygon(shape)); });
}

void wktWriteGeos(benchmark::State& state) {
    const Geos& g = geos();
    run(state, counties().geos, [&g](const GEOSGeometry* geometry) {
        GEOSFree_r(g.context, GEOSWKTWriter_write_r(g.context, g.wktWriter, geometry));
    });
}

void wktWriteOgr(benchmark::State& state) {
    run(state, counties().ogr, [](const auto& geometry) {
        char* text = nullptr;
        geometry->exportToWkt(&text);
        CPLFree(text);
    });
}

void wkbReadOurs(benchmark::State& state) {
    run(state, counties().bytes,
        [](const QByteArray& bytes) { benchmark::DoNotOptimize(GisWkbReader::read(bytes)); });
}

void wkbReadGeos(benchmark::State& state) {
    const Geos& g = geos();
    run(state, counties().bytes, [&g](const QByteArray& bytes) {
        const auto* const data = reinterpret_cast<const unsigned char*>(bytes.constData());
        GEOSGeom_destroy_r(
            g.context, GEOSWKBReader_read_r(g.context, g.wkbReader, data, static_cast<size_t>(bytes.size())));
    });
}

void wkbReadOgr(benchmark::State& state) {
    run(state, counties().bytes, [](const QByteArray& bytes) {
        OGRGeometry* geometry = nullptr;
        OGRGeometryFactory::createFromWkb(bytes.constData(), nullptr, &geometry,
                                          static_cast<size_t>(bytes.size()));
        OGRGeometryFactory::destroyGeometry(geometry);
    });
}

void wkbWriteOurs(benchmark::State& state) {
    run(state, counties().ours,
        [](const GisShapePolygon& shape) { benchmark::DoNotOptimize(GisWkbWriter::writePolygon(shape)); });
}

void wkbWriteGeos(benchmark::State& state) {
    const Geos& g = geos();
    run(state, counties().geos, [&g](const GEOSGeometry* geometry) {
        size_t size = 0;
        GEOSFree_r(g.context, GEOSWKBWriter_write_r(g.context, g.wkbWriter, geometry, &size));
    });
}

void wkbWriteOgr(benchmark::State& state) {
    run(state, counties().ogr, [](const auto& geometry) {
        const auto bytes = std::make_unique_for_overwrite<unsigned char[]>(geometry->WkbSize());
        geometry->exportToWkb(wkbNDR, bytes.get());
        benchmark::DoNotOptimize(bytes.get());
    });
}

void geoJsonReadOurs(benchmark::State& state) {
    run(state, counties().json,
        [](const QString& text) { benchmark::DoNotOptimize(GisGeoJsonReader::read(text)); });
}

void geoJsonReadByObject(benchmark::State& state) {
    run(state, counties().json, [](const QString& text) {
        benchmark::DoNotOptimize(GisGeoJsonReader::read(GisGeoJsonReader::parseJsonObject(text)));
    });
}

/// Not a reader: the tree of JSON values alone.
void geoJsonParseQt(benchmark::State& state) {
    run(state, counties().json,
        [](const QString& text) { benchmark::DoNotOptimize(QJsonDocument::fromJson(text.toUtf8())); });
}

void geoJsonReadGeos(benchmark::State& state) {
    const Geos& g = geos();
    run(state, counties().utf8Json, [&g](const std::string& text) {
        GEOSGeom_destroy_r(g.context,
                           GEOSGeoJSONReader_readGeometry_r(g.context, g.geoJsonReader, text.c_str()));
    });
}

void geoJsonReadOgr(benchmark::State& state) {
    run(state, counties().utf8Json,
        [](const std::string& text) { OGR_G_DestroyGeometry(OGR_G_CreateGeometryFromJson(text.c_str())); });
}

void geoJsonWriteOurs(benchmark::State& state) {
    run(state, counties().ours,
        [](const GisShapePolygon& shape) { benchmark::DoNotOptimize(shape.toGeoJson()); });
}

void geoJsonWriteOgr(benchmark::State& state) {
    run(state, counties().ogr, [](const auto& geometry) { CPLFree(geometry->exportToJson()); });
}

/// The counties with a name and a number, as one collection.
const QByteArray& collection() {
    static const QByteArray instance = [] {
        QBuffer device;
        device.open(QIODevice::WriteOnly);
        GisGeoJsonFeatureWriter writer(device);
        writer.begin();
        int number = 0;
        for (const GisShapePolygon& county : counties().ours) {
            GisGeoJsonFeature feature;
            feature.id = ++number;
            feature.shape = county.clone();
            feature.attributes = {{"name", QString("County %1").arg(number)}, {"number", number}};
            writer.write(feature);
        }
        writer.end();
        return device.data();
    }();
    return instance;
}

void countFeatures(benchmark::State& state) {
    const auto features = static_cast<double>(counties().ours.size());
    state.counters["features/s"] =
        benchmark::Counter(features, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["bytes/s"] = benchmark::Counter(static_cast<double>(collection().size()),
                                                   benchmark::Counter::kIsIterationInvariantRate);
}

void featuresReadOurs(benchmark::State& state) {
    for (auto _ : state) {
        QBuffer device;
        device.setData(collection());
        device.open(QIODevice::ReadOnly);
        GisGeoJsonFeatureReader::readFeatures(device, [](GisGeoJsonFeature&& feature) {
            benchmark::DoNotOptimize(feature);
            return true;
        });
    }
    countFeatures(state);
}

/// Not features: the tree of JSON values alone.
void featuresParseQt(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(QJsonDocument::fromJson(collection()));
    }
    countFeatures(state);
}

void featuresReadOgr(benchmark::State& state) {
    const char* const path = "/vsimem/counties.geojson";
    auto* const bytes = reinterpret_cast<GByte*>(const_cast<char*>(collection().constData()));
    VSIFCloseL(VSIFileFromMemBuffer(path, bytes, static_cast<vsi_l_offset>(collection().size()), FALSE));
    for (auto _ : state) {
        const std::unique_ptr<GDALDataset> file(GDALDataset::Open(path, GDAL_OF_VECTOR));
        for (const auto& feature : *file->GetLayer(0)) {
            benchmark::DoNotOptimize(feature.get());
        }
    }
    VSIUnlink(path);
    countFeatures(state);
}

} // namespace

int main(int argc, char** argv) {
    const struct {
        const char* name;
        void (*body)(benchmark::State&);
    } rows[] = {
        {"wkt/read/ours", wktReadOurs},         {"wkt/read/geos", wktReadGeos},
        {"wkt/read/ogr", wktReadOgr},           {"wkt/write/ours", wktWriteOurs},
        {"wkt/write/geos", wktWriteGeos},       {"wkt/write/ogr", wktWriteOgr},
        {"wkb/read/ours", wkbReadOurs},         {"wkb/read/geos", wkbReadGeos},
        {"wkb/read/ogr", wkbReadOgr},           {"wkb/write/ours", wkbWriteOurs},
        {"wkb/write/geos", wkbWriteGeos},       {"wkb/write/ogr", wkbWriteOgr},
        {"geojson/read/ours", geoJsonReadOurs}, {"geojson/read/ours/by-object", geoJsonReadByObject},
        {"geojson/read/geos", geoJsonReadGeos}, {"geojson/read/ogr", geoJsonReadOgr},
        {"geojson/parse/qt", geoJsonParseQt},   {"geojson/write/ours", geoJsonWriteOurs},
        {"geojson/write/ogr", geoJsonWriteOgr}, {"features/read/ours", featuresReadOurs},
        {"features/read/ogr", featuresReadOgr}, {"features/parse/qt", featuresParseQt},
    };
    for (const auto& row : rows) {
        benchmark::RegisterBenchmark(row.name, row.body)->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
