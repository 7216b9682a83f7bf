#pragma once

#include <QList>
#include <QSize>
#include <QString>
#include <QTypeInfo>

#include <limits>
#include <optional>

namespace Cartolith::Core::Layers::Defs {

/// What a raster says of one of its bands.
struct GisRasterBand {
    QString name;     ///< its description, or "Band 1" and so on
    QString typeName; ///< of the stored numbers, as GDAL calls it: "Byte", "Int16", "Float32", ...
    QString colour;   ///< what it is meant to show, as GDAL calls it: "Gray", "Red", "Alpha", ...
    std::optional<double> noData; ///< the number that stands for no value; NaN is possible
    bool hasColourTable = false;
    bool hasMask = false;   ///< an alpha band or a mask says which pixels have a value
    QSize blockSize;        ///< pixels that are read and unpacked together
    QList<QSize> overviews; ///< smaller copies kept with the raster
};

/// Numbers about the values of a band; NaN when it has none.
struct GisRasterStatistics {
    double minimum = std::numeric_limits<double>::quiet_NaN();
    double maximum = std::numeric_limits<double>::quiet_NaN();
    double mean = std::numeric_limits<double>::quiet_NaN();
    double standardDeviation = std::numeric_limits<double>::quiet_NaN();
    qsizetype count = 0;  ///< pixels with a value among those looked at
    bool isExact = false; ///< whether all pixels were looked at
};

} // namespace Cartolith::Core::Layers::Defs

Q_DECLARE_TYPEINFO(Cartolith::Core::Layers::Defs::GisRasterBand, Q_RELOCATABLE_TYPE);
Q_DECLARE_TYPEINFO(Cartolith::Core::Layers::Defs::GisRasterStatistics, Q_PRIMITIVE_TYPE);
