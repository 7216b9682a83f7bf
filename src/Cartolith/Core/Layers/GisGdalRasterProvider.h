#pragma once

#include <Cartolith/Core/Export.h>
#include <Cartolith/Core/Layers/GisLayerProvider.h>

#include <QStringList>

namespace Cartolith::Core::Layers::Providers {

/// What GDAL knows of a raster data source: its driver and its bands. A value; it holds no file open.
class CARTOLITH_CORE_EXPORT GisGdalRasterProvider : public GisLayerProvider {
public:
    /// Knows the path and nothing else; isOpen() is false.
    explicit GisGdalRasterProvider(const QString& path);
    GisGdalRasterProvider(const QString& path, const QString& driverName, const QStringList& bandNames);

    QString driverName() const override;
    /// The names of the bands: their descriptions, or "Band 1", "Band 2" and so on.
    QStringList contents() const override;
    QString source() const override;
    bool isOpen() const override;

    /// Whether GDAL recognises the source as a raster, from its name and its first bytes alone. Nothing is
    /// thrown, and open() of the layer may still fail.
    static bool isRaster(const QString& path);

private:
    QString m_path;
    QString m_driverName;
    QStringList m_bandNames;
    bool m_open = false;
};

} // namespace Cartolith::Core::Layers::Providers
