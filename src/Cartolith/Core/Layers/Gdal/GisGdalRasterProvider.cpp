#include <Cartolith/Core/Common/GdalInternal.h>
#include <Cartolith/Core/Layers/GisGdalRasterProvider.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

namespace Cartolith::Core::Layers::Providers {

GisGdalRasterProvider::GisGdalRasterProvider(const QString& path) : m_path(path) {}

GisGdalRasterProvider::GisGdalRasterProvider(const QString& path, const QString& driverName,
                                             const QStringList& bandNames)
    : m_path(path), m_driverName(driverName), m_bandNames(bandNames), m_open(true) {}

QString GisGdalRasterProvider::driverName() const {
    return m_driverName;
}

QStringList GisGdalRasterProvider::contents() const {
    return m_bandNames;
}

QString GisGdalRasterProvider::source() const {
    return Internal::shownPath(m_path);
}

bool GisGdalRasterProvider::isOpen() const {
    return m_open;
}

bool GisGdalRasterProvider::isRaster(const QString& path) {
    Common::Internal::registerGdalDrivers();
    const Common::Internal::GdalErrorCapture errors;
    return GDALIdentifyDriverEx(path.toUtf8().constData(), GDAL_OF_RASTER, nullptr, nullptr) != nullptr;
}

} // namespace Cartolith::Core::Layers::Providers
