#include <Cartolith/Core/Layers/OgrFormatInternal.h>

#include <QFileInfo>

#include <algorithm>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

namespace {

const std::vector<OgrFormat>& formats() {
    // Seventeen digits give a double back. FlatGeobuf's index would put the features into another order.
    static const std::vector<OgrFormat> list{
        {.driver = "GPKG", .suffixes = {"gpkg"}, .isDatabase = true, .isTyped = true},
        {.driver = "SQLite",
         .suffixes = {"sqlite"},
         .options = {"LAUNDER=NO"},
         .isDatabase = true,
         .isTyped = true},
        {.driver = "GeoJSON",
         .suffixes = {"geojson", "json"},
         .options = {"COORDINATE_PRECISION=17", "SIGNIFICANT_FIGURES=17"}},
        {.driver = "GeoJSONSeq",
         .suffixes = {"geojsonl", "geojsons", "ndjson", "jsonl"},
         .options = {"COORDINATE_PRECISION=17", "SIGNIFICANT_FIGURES=17"},
         .needsFeatures = true},
        {.driver = "FlatGeobuf",
         .suffixes = {"fgb"},
         .options = {"SPATIAL_INDEX=NO"},
         .isTyped = true,
         .needsGeometry = true,
         .needsFeatures = true},
        {.driver = "ESRI Shapefile",
         .suffixes = {"shp"},
         .family = {"shx", "dbf", "prj", "cpg", "qpj", "qix", "sbn", "sbx", "idm", "ind", "*.atx"},
         .options = {"ENCODING=UTF-8"},
         .takesMixedKinds = false},
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
    const QString suffix = QFileInfo(path).suffix().toLower();
    return find([&suffix](const OgrFormat& format) { return format.suffixes.contains(suffix); });
}

const OgrFormat* OgrFormat::forDriver(const QString& driver) {
    return find([&driver](const OgrFormat& format) { return QLatin1String(format.driver) == driver; });
}

QString OgrFormat::knownSuffixes() {
    QStringList usual;
    for (const OgrFormat& format : formats()) {
        usual.append(format.suffixes.first());
    }
    return usual.join(QStringLiteral(", "));
}

} // namespace Cartolith::Core::Layers::Internal
