#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/Gdal/RasterLicenceInternal.h>
#include <Cartolith/Core/Licensing/LicenceManager.h>
#include <Cartolith/Core/Licensing/LicensedDrivers.h>

#include <QSet>
#include <QString>
#include <QStringList>
#include <cpl_minixml.h>
#include <gdal_priv.h>

#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

// A virtual raster with more sources than this is not looked through to its end.
constexpr qsizetype mostSources = 100'000;

/// The drivers that GDAL has here and that want a licence which there is none for; hardly ever any.
QStringList refusedDrivers(const Licensing::LicenceManager& manager) {
    QStringList refused;
    for (const QString& driver : manager.settings().drivers) {
        if (GetGDALDriverManager()->GetDriverByName(driver.toUtf8().constData()) != nullptr &&
            !manager.isDriverPermitted(driver)) {
            refused.append(driver);
        }
    }
    return refused;
}

[[noreturn]] void refuse(const Licensing::LicenceManager& manager, const QString& driver,
                         const QString& path) {
    throw std::runtime_error(
        QStringLiteral("'%1' cannot be opened: rasters of the format %2 need a licence that permits '%3'. %4 "
                       "A copy in an open format, GeoTIFF say, needs none.")
            .arg(path, driver, Licensing::rasterFeature(driver), manager.verdict().reason)
            .toStdString());
}

QString driverOf(const QString& name) {
    GDALDriverH driver = GDALIdentifyDriverEx(name.toUtf8().constData(), GDAL_OF_RASTER, nullptr, nullptr);
    return driver == nullptr ? QString() : QString::fromUtf8(GDALGetDriverShortName(driver));
}

void addSourcesIn(const CPLXMLNode* node, QStringList& names) {
    for (; node != nullptr; node = node->psNext) {
        if (node->eType == CXT_Element &&
            (EQUAL(node->pszValue, "SourceFilename") || EQUAL(node->pszValue, "SourceDataset"))) {
            names.append(QString::fromUtf8(CPLGetXMLValue(node, nullptr, "")));
        }
        addSourcesIn(node->psChild, names);
    }
}

/// The files that a virtual raster names, and what else it names as a source, an address say.
QStringList sourcesOf(GDALDataset& raster) {
    QStringList names;
    char** const list = raster.GetFileList();
    for (char** file = list; file != nullptr && *file != nullptr; ++file) {
        names.append(QString::fromUtf8(*file));
    }
    CSLDestroy(list);
    char** const description = raster.GetMetadata("xml:VRT");
    if (description != nullptr && *description != nullptr) {
        CPLXMLNode* const tree = CPLParseXMLString(*description);
        addSourcesIn(tree, names);
        CPLDestroyXMLNode(tree);
    }
    return names;
}

} // namespace

void requireLicence(GDALDataset& raster, const QString& path) {
    const auto manager = Licensing::LicenceManager::current();
    const QStringList refused = refusedDrivers(*manager);
    if (refused.isEmpty()) {
        return; // nothing is looked through for nothing
    }
    const QString driver =
        QString::fromUtf8(raster.GetDriver() == nullptr ? "" : raster.GetDriver()->GetDescription());
    if (refused.contains(driver)) {
        refuse(*manager, driver, path);
    }
    if (driver != QLatin1String("VRT")) {
        return;
    }
    QSet<QString> seen{path};
    QStringList waiting = sourcesOf(raster);
    while (!waiting.isEmpty() && seen.size() < mostSources) {
        const QString name = waiting.takeLast();
        if (seen.contains(name)) {
            continue;
        }
        seen.insert(name);
        const QString sourceDriver = driverOf(name);
        if (refused.contains(sourceDriver)) {
            refuse(*manager, sourceDriver, path);
        }
        if (sourceDriver == QLatin1String("VRT")) {
            const GDALDatasetUniquePtr nested(GDALDataset::Open(name.toUtf8().constData(), GDAL_OF_RASTER));
            if (nested != nullptr) {
                waiting.append(sourcesOf(*nested));
            }
        }
    }
}

} // namespace Cartolith::Core::Layers::Internal
