#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTextInternal.h>

#include <QFileInfo>

#include <algorithm>
#include <initializer_list>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// QStringList itself, made from several, goes through a null pointer where there is no memory.
QStringList words(std::initializer_list<const char*> list) {
    QStringList all;
    for (const char* const word : list) {
        all.append(QLatin1String(word));
    }
    return all;
}

const std::vector<OgrFormat>& formats() {
    // Seventeen digits give a double back, unless GDAL cuts them: see JsonNumbers. FlatGeobuf's index would
    // put the features into another order.
    static const std::vector<OgrFormat> list{
        {.driver = "GPKG", .suffixes = words({"gpkg"}), .isDatabase = true, .isTyped = true},
        {.driver = "SQLite",
         .suffixes = words({"sqlite"}),
         .options = words({"LAUNDER=NO"}),
         .hiddenFields = words({"ogc_fid", "_rowid_"}),
         .isDatabase = true,
         .isTyped = true},
        {.driver = "PostgreSQL",
         .options = words({"LAUNDER=NO"}),
         .hiddenFields = words({"ctid", "xmin", "xmax", "cmin", "cmax", "tableoid"}),
         .isServer = true,
         .isDatabase = true,
         .isTyped = true},
        {.driver = "GeoJSON",
         .suffixes = words({"geojson", "json"}),
         .options = words({"COORDINATE_PRECISION=17", "SIGNIFICANT_FIGURES=17"})},
        {.driver = "GeoJSONSeq",
         .suffixes = words({"geojsonl", "geojsons", "ndjson", "jsonl"}),
         .options = words({"COORDINATE_PRECISION=17", "SIGNIFICANT_FIGURES=17"}),
         .needsFeatures = true,
         .isLongLat = true},
        {.driver = "FlatGeobuf",
         .suffixes = words({"fgb"}),
         .options = words({"SPATIAL_INDEX=NO"}),
         .isTyped = true,
         .needsGeometry = true,
         .needsFeatures = true,
         .needsName = true},
        {.driver = "ESRI Shapefile",
         .suffixes = words({"shp"}),
         .family = words({"shx", "dbf", "prj", "cpg", "qpj", "qix", "sbn", "sbx", "idm", "ind", "*.atx"}),
         .needed = words({"shx", "dbf"}),
         .options = words({"ENCODING=UTF-8"}),
         .takesMixedKinds = false,
         .needsName = true},
    };
    return list;
}

template <typename Condition>
const OgrFormat* find(const Condition& condition) {
    const auto found = std::find_if(formats().begin(), formats().end(), condition);
    return found != formats().end() ? &*found : nullptr;
}

} // namespace

const OgrFormat* OgrFormat::forPath(const QString& path) {
    if (isPostgres(path)) {
        return find([](const OgrFormat& format) { return format.isServer; });
    }
    const QString suffix = QFileInfo(path).suffix().toLower();
    return find([&suffix](const OgrFormat& format) { return format.suffixes.contains(suffix); });
}

const OgrFormat* OgrFormat::forDriver(const QString& driver) {
    return find([&driver](const OgrFormat& format) { return QLatin1String(format.driver) == driver; });
}

bool OgrFormat::isServerOf(const QString& driver) {
    const OgrFormat* const format = forDriver(driver);
    return format != nullptr && format->isServer;
}

QString OgrFormat::knownSuffixes() {
    QStringList usual;
    for (const OgrFormat& format : formats()) {
        if (!format.suffixes.isEmpty()) {
            usual.append(format.suffixes.first());
        }
    }
    return usual.join(QStringLiteral(", "));
}

} // namespace Cartolith::Core::Layers::Internal
