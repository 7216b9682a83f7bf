#pragma once

#include <Cartolith/Core/Export.h>

#include <QString>

namespace Cartolith::Core::Layers {

/// How features become columns, see GisFeatureReader::toArrow().
struct CARTOLITH_CORE_EXPORT GisArrowOptions {
    enum class DateTimes {
        /// As timestamps of milliseconds: those with a zone as the moment in UTC, those without as a clock
        /// shows them. Both in one field are an error.
        Typed,
        /// As ISO 8601 texts, each with the zone that it has.
        AsText
    };

    /// The name of the column with the geometries, the last one; there is none when the request wants none.
    QString geometryColumn = QStringLiteral("geometry");
    /// The name of the column with the ids, the first one; empty for none.
    QString featureIdColumn;
    /// A batch is full when it has so many rows, or bytes: from 1 to 2^31 - 1, and to 2^30.
    qint64 rowsInBatch = 65'536;
    qint64 bytesInBatch = 16'777'216;
    DateTimes dateTimes = DateTimes::Typed;
};

} // namespace Cartolith::Core::Layers
