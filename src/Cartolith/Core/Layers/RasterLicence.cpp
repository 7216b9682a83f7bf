#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/RasterLicenceInternal.h>
#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicensedDrivers.h>

#include <QSet>
#include <QString>
#include <gdal_priv.h>

#include <stdexcept>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

namespace {

// A virtual raster with more sources than this is not looked through to its end.
constexpr qsizetype mostSources = 100'000;

void requireDriver(const Licensing::LicenceManager& manager, const QString& driver, const QString& path) {
    if (!manager.isDriverPermitted(driver)) {
        throw std::runtime_error(
            QStringLiteral(
                "'%1' cannot be opened: rasters of the format %2 need a licence that permits '%3'. %4 "
                "A copy in an open format, GeoTIFF say, needs none.")
                .arg(path, driver, Licensing::rasterFeature(driver), manager.verdict().reason)
                .toStdString());
    }
}

QString driverOf(const QString& name) {
    GDALDriverH driver = GDALIdentifyDriverEx(name.toUtf8().constData(), GDAL_OF_RASTER, nullptr, nullptr);
    return driver == nullptr ? QString() : QString::fromUtf8(GDALGetDriverShortName(driver));
}

QStringList filesOf(GDALDataset& raster) {
    QStringList files;
    char** const list = raster.GetFileList();
    for (char** file = list; file != nullptr && *file != nullptr; ++file) {
        files.append(QString::fromUtf8(*file));
    }
    CSLDestroy(list);
    return files;
}

} // namespace

void requireLicence(GDALDataset& raster, const QString& path) {
    const auto manager = Licensing::LicenceManager::current();
    const QString driver =
        QString::fromUtf8(raster.GetDriver() == nullptr ? "" : raster.GetDriver()->GetDescription());
    requireDriver(*manager, driver, path);
    if (driver != QLatin1String("VRT")) {
        return;
    }
    QSet<QString> seen{path};
    QStringList waiting = filesOf(raster);
    while (!waiting.isEmpty() && seen.size() < mostSources) {
        const QString name = waiting.takeLast();
        if (seen.contains(name)) {
            continue;
        }
        seen.insert(name);
        const QString sourceDriver = driverOf(name);
        requireDriver(*manager, sourceDriver, path);
        if (sourceDriver == QLatin1String("VRT")) {
            const GDALDatasetUniquePtr nested(GDALDataset::Open(name.toUtf8().constData(), GDAL_OF_RASTER));
            if (nested != nullptr) {
                waiting.append(filesOf(*nested));
            }
        }
    }
}

} // namespace Cartolith::Core::Layers::Internal
