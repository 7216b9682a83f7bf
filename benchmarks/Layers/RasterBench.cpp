// Screen-sized pictures of a raster of 20,000 x 20,000 pixels, beside plain GDAL.

#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Core/Layers/GisLayerGdalRaster.h>

#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <gdal_priv.h>
#include <gdal_utils.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <malloc.h>
#include <memory>
#include <vector>

namespace {

using namespace Cartolith::Core;
using Layers::GisLayerGdalRaster;
using Shapes::GisExtent;
using Symbology::GisRasterStyle;

constexpr int side = 20'000;
constexpr int width = 1600;
constexpr int height = 900;
constexpr double pixel = 10.0; // metres
constexpr double west = 300'000.0;
constexpr double north = 5'600'000.0;

/// Heights in 16 bits, tiled and deflated, in UTM zone 33; made once and removed with the program.
class Rasters {
public:
    static const QByteArray& plain() { return instance().m_plain; }
    static const QByteArray& withOverviews() { return instance().m_withOverviews; }
    static const QByteArray& turned() { return instance().m_turned; }

private:
    Rasters() {
        GDALAllRegister();
        constexpr GIntBig cache = GIntBig{64}
                                  << 20U; // of blocks; GDAL's own choice is a share of the machine's memory
        GDALSetCacheMax64(cache);
        m_plain = make("plain.tif", false);
        m_turned = make("turned.tif", true);
        m_withOverviews = m_folder.filePath("overviews.tif").toUtf8();
        if (!QFile::copy(m_plain, m_withOverviews)) {
            std::abort();
        }
        const std::unique_ptr<GDALDataset> file(GDALDataset::Open(m_withOverviews, GDAL_OF_UPDATE));
        const int factors[] = {2, 4, 8, 16, 32, 64};
        if (file->BuildOverviews("AVERAGE", 6, factors, 0, nullptr, nullptr, nullptr) != CE_None) {
            std::abort();
        }
    }

    static const Rasters& instance() {
        static const Rasters rasters;
        return rasters;
    }

    QByteArray make(const char* name, bool isTurned) const {
        const QByteArray path = m_folder.filePath(name).toUtf8();
        const char* options[] = {"TILED=YES", "COMPRESS=DEFLATE", "ZLEVEL=1", nullptr};
        const std::unique_ptr<GDALDataset> file(GetGDALDriverManager()->GetDriverByName("GTiff")->Create(
            path, side, side, 1, GDT_Int16, const_cast<char**>(options)));
        double transform[] = {west, pixel, 0, north, 0, -pixel};
        if (isTurned) { // by about 37 degrees
            transform[1] = 0.8 * pixel;
            transform[2] = transform[4] = 0.6 * pixel;
            transform[5] = -0.8 * pixel;
        }
        file->SetGeoTransform(transform);
        OGRSpatialReference system;
        system.importFromEPSG(32633);
        file->SetSpatialRef(&system);
        constexpr int rows = 256;
        std::vector<qint16> values(std::size_t{side} * rows);
        for (int top = 0; top < side; top += rows) {
            const int count = std::min(rows, side - top);
            for (int y = 0; y < count; ++y) {
                for (int x = 0; x < side; ++x) {
                    const double hills = std::sin(x * 0.002) * std::cos((top + y) * 0.0015) * 800.0;
                    values[static_cast<std::size_t>(y) * side + static_cast<std::size_t>(x)] =
                        static_cast<qint16>(1000.0 + hills + (x * 7919 + (top + y) * 104729) % 16);
                }
            }
            if (file->GetRasterBand(1)->RasterIO(GF_Write, 0, top, side, count, values.data(), side, count,
                                                 GDT_Int16, 0, 0, nullptr) != CE_None) {
                std::abort();
            }
        }
        return path;
    }

    QTemporaryDir m_folder;
    QByteArray m_plain, m_withOverviews, m_turned;
};

/// Resident memory in megabytes, now ("VmRSS:") or at its most since resetPeak() ("VmHWM:").
double megabytes(const char* what) {
    QFile status("/proc/self/status");
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith(what)) {
                return line.mid(6).simplified().split(' ').constFirst().toDouble() / 1024.0;
            }
        }
    }
    return 0.0;
}

void resetPeak() {
    malloc_trim(0);
    QFile reset("/proc/self/clear_refs");
    if (reset.open(QIODevice::WriteOnly)) {
        reset.write("5");
    }
}

/// Opens anew each time and with GDAL's cache of blocks empty: the first look at a file.
template <typename Read>
void firstLook(benchmark::State& state, Read read) {
    double peak = 0.0;
    for (auto _ : state) {
        state.PauseTiming();
        GDALFlushCacheBlock();
        while (GDALFlushCacheBlock() != 0) {
        }
        resetPeak();
        const double before = megabytes("VmRSS:");
        state.ResumeTiming();
        read();
        state.PauseTiming();
        peak = std::max(peak, megabytes("VmHWM:") - before);
        state.ResumeTiming();
    }
    state.counters["MB"] = peak;
}

GisExtent wholeOf(GisLayerGdalRaster& layer) {
    const GisExtent all = layer.extent();
    const double half = all.height() * 0.5 * width / height;
    const double middle = (all.xMin() + all.xMax()) * 0.5;
    return {middle - half, all.yMin(), middle + half, all.yMax()};
}

/// 3,200 x 1,800 pixels in the middle.
GisExtent windowOf() {
    const double x = west + pixel * 8000;
    const double y = north - pixel * 9000;
    return {x, y - pixel * 2 * height, x + pixel * 2 * width, y};
}

void ours(benchmark::State& state, const QByteArray& (*file)(), bool whole, const char* system,
          GisRasterStyle::Resampling resampling,
          GisRasterStyle::Rendering rendering = GisRasterStyle::Rendering::Automatic) {
    const QString path = QString::fromUtf8(file());
    const auto target = CoordinateSystems::CoordinateSystemFactory::fromUserInput(QString::fromUtf8(system));
    firstLook(state, [&] {
        GisLayerGdalRaster layer(path);
        layer.open();
        GisRasterStyle style;
        style.setStretch(Symbology::GisRasterStretch::given(0, 2000));
        style.setResampling(resampling);
        style.setRendering(rendering);
        layer.setRasterStyle(style);
        const GisExtent extent = target ? layer.extentIn(*target) : whole ? wholeOf(layer) : windowOf();
        if (layer.readImage(extent, {width, height}, target.get()).isNull()) {
            std::abort();
        }
    });
}

/// From open files, with what GDAL keeps of them.
void oursAgain(benchmark::State& state) {
    GisLayerGdalRaster layer(QString::fromUtf8(Rasters::withOverviews()));
    layer.open();
    GisRasterStyle style;
    style.setStretch(Symbology::GisRasterStretch::given(0, 2000));
    style.setRendering(GisRasterStyle::Rendering::Ramp);
    layer.setRasterStyle(style);
    for (auto _ : state) {
        benchmark::DoNotOptimize(layer.readImage(wholeOf(layer), {width, height}).constBits());
    }
}

void rasterIoAgain(benchmark::State& state) {
    const std::unique_ptr<GDALDataset> source(GDALDataset::Open(Rasters::withOverviews()));
    std::vector<qint16> values(std::size_t{height} * height);
    for (auto _ : state) {
        if (source->GetRasterBand(1)->RasterIO(GF_Read, 0, 0, side, side, values.data(), height, height,
                                               GDT_Int16, 0, 0, nullptr) != CE_None) {
            std::abort();
        }
    }
}

/// RasterIO into 16 bits, without colours.
void rasterIo(benchmark::State& state, const QByteArray& (*file)(), bool whole,
              GDALRIOResampleAlg algorithm) {
    const QByteArray path = file();
    std::vector<qint16> values(std::size_t{width} * height);
    firstLook(state, [&] {
        const std::unique_ptr<GDALDataset> source(GDALDataset::Open(path));
        GDALRasterIOExtraArg extra;
        INIT_RASTERIO_EXTRA_ARG(extra);
        extra.eResampleAlg = algorithm;
        // Our picture of the whole is wider than the raster.
        const int columns = whole ? height : width;
        const CPLErr result =
            whole
                ? source->GetRasterBand(1)->RasterIO(GF_Read, 0, 0, side, side, values.data(), columns,
                                                     height, GDT_Int16, 0, 0, &extra)
                : source->GetRasterBand(1)->RasterIO(GF_Read, 8000, 9000, 2 * width, 2 * height,
                                                     values.data(), columns, height, GDT_Int16, 0, 0, &extra);
        if (result != CE_None) {
            std::abort();
        }
    });
}

/// gdalwarp into memory, without colours.
void warp(benchmark::State& state, const QByteArray& (*file)(), const char* system) {
    const QByteArray path = file();
    GisLayerGdalRaster layer(QString::fromUtf8(path));
    layer.open();
    const auto target = CoordinateSystems::CoordinateSystemFactory::fromUserInput(QString::fromUtf8(system));
    const GisExtent extent = target ? layer.extentIn(*target) : wholeOf(layer);
    QList<QByteArray> words{"-of",
                            "MEM",
                            "-ts",
                            QByteArray::number(width),
                            QByteArray::number(height),
                            "-te",
                            QByteArray::number(extent.xMin(), 'f', 6),
                            QByteArray::number(extent.yMin(), 'f', 6),
                            QByteArray::number(extent.xMax(), 'f', 6),
                            QByteArray::number(extent.yMax(), 'f', 6)};
    if (target) {
        words << "-t_srs" << system;
    }
    std::vector<char*> arguments;
    for (QByteArray& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    layer.close();
    firstLook(state, [&] {
        const std::unique_ptr<GDALDataset> source(GDALDataset::Open(path));
        GDALDatasetH sources[] = {GDALDataset::ToHandle(source.get())};
        GDALWarpAppOptions* const options = GDALWarpAppOptionsNew(arguments.data(), nullptr);
        const GDALDatasetH result = GDALWarp("", nullptr, 1, sources, options, nullptr);
        GDALWarpAppOptionsFree(options);
        if (result == nullptr) {
            std::abort();
        }
        GDALClose(result);
    });
}

constexpr auto nearest = GisRasterStyle::Resampling::Nearest;
constexpr auto average = GisRasterStyle::Resampling::Average;

} // namespace

#define RASTER(...) BENCHMARK_CAPTURE(__VA_ARGS__)->Unit(benchmark::kMillisecond)
RASTER(ours, rasterWhole, Rasters::plain, true, "", nearest);
RASTER(rasterIo, rasterWhole, Rasters::plain, true, GRIORA_NearestNeighbour);
RASTER(ours, rasterWholeAverage, Rasters::plain, true, "", average);
RASTER(rasterIo, rasterWholeAverage, Rasters::plain, true, GRIORA_Average);
RASTER(ours, rasterWholeOverviews, Rasters::withOverviews, true, "", nearest);
RASTER(ours, rasterWholeRamp, Rasters::withOverviews, true, "", nearest, GisRasterStyle::Rendering::Ramp);
RASTER(rasterIo, rasterWholeOverviews, Rasters::withOverviews, true, GRIORA_NearestNeighbour);
BENCHMARK(oursAgain)->Name("ours/rasterWholeRampAgain")->Unit(benchmark::kMillisecond);
BENCHMARK(rasterIoAgain)->Name("rasterIo/rasterWholeOverviewsAgain")->Unit(benchmark::kMillisecond);
RASTER(ours, rasterWindow, Rasters::plain, false, "", nearest);
RASTER(rasterIo, rasterWindow, Rasters::plain, false, GRIORA_NearestNeighbour);
RASTER(ours, rasterTurned, Rasters::turned, true, "", nearest);
RASTER(warp, rasterTurned, Rasters::turned, "");
RASTER(ours, rasterMercator, Rasters::plain, true, "EPSG:3857", nearest);
RASTER(warp, rasterMercator, Rasters::plain, "EPSG:3857");
RASTER(ours, rasterMercatorOverviews, Rasters::withOverviews, true, "EPSG:3857", nearest);
RASTER(warp, rasterMercatorOverviews, Rasters::withOverviews, "EPSG:3857");
