// Edits of a table of PostGIS: 20,000 rows of five columns, one of them edited, by this library and by plain
// OGR, which writes all columns and looks at nothing. Wants a server:
//
//   scripts/lib/postgis build/bench/benchmarks/cartolith-layers-bench --benchmark_filter=PostGis

#include <Cartolith/Core/Layers/GisLayerOgrVector.h>

#include <benchmark/benchmark.h>
#include <ogrsf_frmts.h>

using Cartolith::Core::Layers::GisLayerOgrVector;

namespace {

constexpr int rowCount = 20000;

QString madeTable() {
    const QString path = qEnvironmentVariable("CARTOLITH_TEST_POSTGIS");
    GDALAllRegister();
    const GDALDatasetUniquePtr source(
        GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_VECTOR | GDAL_OF_UPDATE));
    if (source == nullptr) {
        return {};
    }
    const QByteArray statement =
        "DROP TABLE IF EXISTS edited; CREATE TABLE edited (id int PRIMARY KEY, name text, a float8, b "
        "numeric(20,6), t "
        "timestamptz, n int, geom geometry(Polygon,3857)); INSERT INTO edited SELECT i, 'row ' || i, i / "
        "7.0, i / 3.0, "
        "now(), i, ST_Buffer(ST_SetSRID(ST_Point(i, i), 3857), 0.4, 2) FROM generate_series(1, " +
        QByteArray::number(rowCount) + ") i";
    source->ReleaseResultSet(source->ExecuteSQL(statement.constData(), nullptr, nullptr));
    return path;
}

void PostGisCommit(benchmark::State& state) {
    const QString path = madeTable();
    if (path.isEmpty()) {
        state.SkipWithError("no server");
        return;
    }
    GisLayerOgrVector layer(path, QStringLiteral("edited"));
    layer.open();
    int round = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        ++round;
        layer.beginEdit();
        for (int id = 1; id <= layer.count(); ++id) {
            auto attributes = layer.getShape(id)->attributes();
            attributes[QStringLiteral("n")] = id + round;
            layer.setShapeAttributesEdit(id, attributes);
        }
        state.ResumeTiming();
        if (!layer.commitEdit()) {
            state.SkipWithError(qPrintable(layer.lastError()));
        }
    }
    state.SetItemsProcessed(state.iterations() * rowCount);
}
BENCHMARK(PostGisCommit)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void PostGisPlainOgr(benchmark::State& state) {
    const QString path = madeTable();
    if (path.isEmpty()) {
        state.SkipWithError("no server");
        return;
    }
    int round = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        ++round;
        const GDALDatasetUniquePtr source(
            GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_VECTOR | GDAL_OF_UPDATE));
        OGRLayer& layer = *source->GetLayerByName("edited");
        std::vector<OGRFeatureUniquePtr> features;
        for (auto& feature : layer) {
            feature->SetField("n", static_cast<int>(feature->GetFID()) + round);
            features.push_back(std::move(feature));
        }
        state.ResumeTiming();
        source->StartTransaction();
        for (const auto& feature : features) {
            if (layer.SetFeature(feature.get()) != OGRERR_NONE) {
                state.SkipWithError("not written");
            }
        }
        source->CommitTransaction();
    }
    state.SetItemsProcessed(state.iterations() * rowCount);
}
BENCHMARK(PostGisPlainOgr)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

} // namespace
