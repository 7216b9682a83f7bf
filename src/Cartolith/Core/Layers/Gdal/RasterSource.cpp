#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Gdal/RasterLicenceInternal.h>
#include <Cartolith/Core/Layers/Gdal/RasterSourceInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <limits>
#include <optional>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::GdalErrorCapture;
using Defs::GisRasterBand;
using Defs::GisRasterWorldTransform;

namespace {

constexpr double mostBlockBytes = 512.0 * 1024 * 1024;
constexpr double mostSamples = 1024.0 * 1024;

/// The no-data number as the band's own type holds it; none when that type cannot hold it.
std::optional<double> noDataOf(GDALRasterBand& band) {
    int has = 0;
    double number = 0.0;
    switch (band.GetRasterDataType()) {
    case GDT_Int64:
        number = static_cast<double>(band.GetNoDataValueAsInt64(&has));
        break;
    case GDT_UInt64:
        number = static_cast<double>(band.GetNoDataValueAsUInt64(&has));
        break;
    default:
        number = band.GetNoDataValue(&has);
        break;
    }
    if (has == 0) {
        return std::nullopt;
    }
    const bool isSingle = band.GetRasterDataType() == GDT_Float32 || band.GetRasterDataType() == GDT_CFloat32;
    const bool fits = std::abs(number) <= static_cast<double>(std::numeric_limits<float>::max());
    return isSingle && fits ? static_cast<double>(static_cast<float>(number)) : number;
}

bool hasMask(GDALRasterBand& band) {
    const int flags = band.GetMaskFlags();
    return (flags & GMF_ALL_VALID) == 0 && flags != GMF_NODATA;
}

/// GDAL asks through a C function, which no exception may cross.
struct ProgressCall {
    const RasterSource::Progress& progress;
    std::exception_ptr thrown;
    bool cancelled = false;

    static int CPL_STDCALL ask(double fraction, const char* /*message*/, void* self) {
        auto& call = *static_cast<ProgressCall*>(self);
        try {
            call.cancelled = call.cancelled || !call.progress(fraction);
        } catch (...) {
            call.thrown = std::current_exception();
            call.cancelled = true;
        }
        return call.cancelled ? FALSE : TRUE;
    }
};

} // namespace

RasterSource::RasterSource(const QString& path) : m_path(path) {
    Common::Internal::registerGdalDrivers();
    const GdalErrorCapture errors;
    const Common::Internal::EpsgCodesAsGiven codes;
    if (path.isEmpty()) {
        fail(QStringLiteral("the path is empty"));
    }
    m_dataset.reset(GDALDataset::Open(path.toUtf8().constData(),
                                      GDAL_OF_RASTER | GDAL_OF_READONLY | GDAL_OF_VERBOSE_ERROR));
    if (m_dataset == nullptr) {
        fail(errors.message().isEmpty() ? QStringLiteral("GDAL gives no reason") : errors.message());
    }
    requireLicence(*m_dataset, path);
    if (m_dataset->GetRasterCount() == 0) {
        const QString inner =
            QString::fromUtf8(m_dataset->GetMetadataItem("SUBDATASET_1_NAME", "SUBDATASETS"));
        fail(inner.isEmpty() ? QStringLiteral("it has no raster band")
                             : QStringLiteral("it holds several rasters; name one, such as '%1'").arg(inner));
    }
    for (int band = 1; band <= m_dataset->GetRasterCount(); ++band) {
        int blockWidth = 0;
        int blockHeight = 0;
        at(band).GetBlockSize(&blockWidth, &blockHeight);
        if (static_cast<double>(blockWidth) * blockHeight *
                GDALGetDataTypeSizeBytes(at(band).GetRasterDataType()) >
            mostBlockBytes) {
            fail(QStringLiteral("it is packed in blocks of %1 x %2 pixels, which are too large to read")
                     .arg(blockWidth)
                     .arg(blockHeight));
        }
    }
}

void RasterSource::fail(const QString& reason) const {
    throw std::runtime_error(QStringLiteral("Cannot read '%1': %2")
                                 .arg(Internal::shownPath(m_path), Internal::shownText(reason, m_path))
                                 .toStdString());
}

QString RasterSource::driverName() const {
    GDALDriver* const driver = m_dataset->GetDriver();
    return driver != nullptr ? QString::fromUtf8(driver->GetDescription()) : QString();
}

QList<GisRasterBand> RasterSource::bands() const {
    const GdalErrorCapture errors;
    QList<GisRasterBand> list;
    for (int number = 1; number <= m_dataset->GetRasterCount(); ++number) {
        GDALRasterBand& band = at(number);
        GisRasterBand described;
        described.name = QString::fromUtf8(band.GetDescription());
        if (described.name.isEmpty()) {
            described.name = QStringLiteral("Band %1").arg(number);
        }
        described.typeName = QString::fromUtf8(GDALGetDataTypeName(band.GetRasterDataType()));
        described.colour = QString::fromUtf8(GDALGetColorInterpretationName(band.GetColorInterpretation()));
        described.noData = noDataOf(band);
        described.hasColourTable = band.GetColorTable() != nullptr;
        described.hasMask = hasMask(band);
        band.GetBlockSize(&described.blockSize.rwidth(), &described.blockSize.rheight());
        for (int i = 0; i < band.GetOverviewCount(); ++i) {
            if (GDALRasterBand* const overview = band.GetOverview(i)) {
                described.overviews.append({overview->GetXSize(), overview->GetYSize()});
            }
        }
        list.append(described);
    }
    return list;
}

GisRasterWorldTransform RasterSource::worldTransform() const {
    const GdalErrorCapture errors;
    std::array<double, 6> gdal{};
    if (m_dataset->GetGeoTransform(gdal.data()) != CE_None) {
        gdal = {0.0, 1.0, 0.0, 0.0, 0.0, -1.0};
    }
    // GDAL's is for the corner of a pixel, ours for its centre.
    const GisRasterWorldTransform transform{gdal[1],
                                            gdal[4],
                                            gdal[2],
                                            gdal[5],
                                            gdal[0] + 0.5 * (gdal[1] + gdal[2]),
                                            gdal[3] + 0.5 * (gdal[4] + gdal[5])};
    if (!transform.inverted()) {
        fail(QStringLiteral("its transform does not spread the pixels over an area"));
    }
    return transform;
}

std::shared_ptr<CoordinateSystems::CoordinateSystem> RasterSource::coordinateSystem() const {
    const GdalErrorCapture errors;
    const Common::Internal::EpsgCodesAsGiven codes;
    return CoordinateSystems::Internal::systemFound(m_dataset->GetSpatialRef());
}

std::vector<QRgb> RasterSource::palette(int band) const {
    std::vector<QRgb> colours;
    if (const GDALColorTable* const table = at(band).GetColorTable()) {
        for (int i = 0; i < table->GetColorEntryCount(); ++i) {
            GDALColorEntry entry{};
            table->GetColorEntryAsRGB(i, &entry);
            colours.push_back(qRgba(entry.c1, entry.c2, entry.c3, entry.c4));
        }
    }
    return colours;
}

bool RasterSource::readCells(GDALRasterBand& band, const RasterWindow& window, GDALRIOResampleAlg algorithm,
                             GDALDataType type, void* cells, const Progress& progress) const {
    const auto whole = [](double from, double size, int most) {
        const double first = std::clamp(std::floor(from), 0.0, most - 1.0);
        const double end = std::clamp(std::ceil(from + size), first + 1.0, static_cast<double>(most));
        return std::pair(static_cast<int>(first), static_cast<int>(end - first));
    };
    const auto [x, columns] = whole(window.left, window.width, width());
    const auto [y, rows] = whole(window.top, window.height, height());
    GDALRasterIOExtraArg extra;
    INIT_RASTERIO_EXTRA_ARG(extra);
    extra.eResampleAlg = algorithm;
    extra.bFloatingPointWindowValidity = TRUE;
    extra.dfXOff = window.left;
    extra.dfYOff = window.top;
    extra.dfXSize = window.width;
    extra.dfYSize = window.height;
    ProgressCall call{progress, nullptr};
    if (progress) {
        extra.pfnProgress = ProgressCall::ask;
        extra.pProgressData = &call;
    }
    const GdalErrorCapture errors;
    const CPLErr result =
        band.RasterIO(GF_Read, x, y, columns, rows, cells, window.columns, window.rows, type, 0, 0, &extra);
    if (call.thrown != nullptr) {
        std::rethrow_exception(call.thrown);
    }
    if (result != CE_None && !call.cancelled) {
        fail(errors.message().isEmpty() ? QStringLiteral("GDAL gives no reason") : errors.message());
    }
    return !call.cancelled;
}

std::vector<double> RasterSource::read(int band, const RasterWindow& window, Pick pick,
                                       const Progress& progress) const {
    std::vector<double> values(window.cells());
    if (!readCells(at(band), window, pick == Pick::Average ? GRIORA_Average : GRIORA_NearestNeighbour,
                   GDT_Float64, values.data(), progress)) {
        return {};
    }
    if (const std::optional<double> noData = noDataOf(at(band))) {
        std::replace(values.begin(), values.end(), *noData, std::numeric_limits<double>::quiet_NaN());
    }
    return values;
}

std::vector<quint8> RasterSource::readMask(int band, const RasterWindow& window) const {
    if (!hasMask(at(band))) {
        return {};
    }
    std::vector<quint8> mask(window.cells());
    readCells(*at(band).GetMaskBand(), window, GRIORA_NearestNeighbour, GDT_Byte, mask.data(), {});
    return mask;
}

bool RasterSource::isSampledWhole() const {
    return static_cast<double>(width()) * height() <= mostSamples;
}

QList<double> RasterSource::sample(int band) const {
    const int w = width();
    const int h = height();
    QList<double> result;
    const auto take = [&](const RasterWindow& window) {
        const std::vector<double> values = read(band, window, Pick::Nearest, {});
        const std::vector<quint8> mask = readMask(band, window);
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (std::isfinite(values[i]) && (mask.empty() || mask[i] != 0)) {
                result.append(values[i]);
            }
        }
    };
    if (isSampledWhole()) {
        take({0.0, 0.0, static_cast<double>(w), static_cast<double>(h), w, h});
        return result;
    }
    constexpr double fewest = 65536.0;
    GDALRasterBand& full = at(band);
    for (int i = full.GetOverviewCount() - 1; i >= 0; --i) {
        GDALRasterBand* const overview = full.GetOverview(i);
        if (overview == nullptr) {
            continue;
        }
        const double pixels = static_cast<double>(overview->GetXSize()) * overview->GetYSize();
        if (pixels >= fewest && pixels <= 4 * mostSamples) {
            take({0.0, 0.0, static_cast<double>(w), static_cast<double>(h), overview->GetXSize(),
                  overview->GetYSize()});
            return result;
        }
    }
    constexpr int spots = 8; // along each side
    constexpr int side = 64;
    const int columns = std::min(side, w);
    const int rows = std::min(side, h);
    for (int i = 0; i < spots; ++i) {
        for (int j = 0; j < spots; ++j) {
            // Whole pixels: these are read as they are.
            const auto at = [](int size, int part, int spot) {
                return std::floor(static_cast<double>(size - part) * spot / (spots - 1));
            };
            take({at(w, columns, j), at(h, rows, i), static_cast<double>(columns), static_cast<double>(rows),
                  columns, rows});
        }
    }
    return result;
}

} // namespace Cartolith::Core::Layers::Internal
