#pragma once

#include <QString>
#include <QStringList>

namespace Cartolith::Core::Licensing {

/// The raster drivers of GDAL that need a licence: proprietary ones only, by GDAL's short names. An open
/// driver, JP2OpenJPEG for one, is never on this list.
inline QStringList licensedRasterDrivers() {
    return {QStringLiteral("ECW"), QStringLiteral("JP2ECW"), QStringLiteral("MrSID"),
            QStringLiteral("JP2MrSID"), QStringLiteral("JP2KAK")};
}

/// The feature that permits a driver: "raster.ECW".
inline QString rasterFeature(const QString& driver) {
    return QStringLiteral("raster.") + driver;
}

/// The feature that permits pictures without a mark.
inline QString unmarkedOutputFeature() {
    return QStringLiteral("output.unmarked");
}

} // namespace Cartolith::Core::Licensing
