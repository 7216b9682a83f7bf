#include <Cartolith/Core/Layers/OgrFormatInternal.h>

#include <QFileInfo>

#include <algorithm>
#include <vector>

namespace Cartolith::Core::Layers::Internal {

namespace {

const std::vector<OgrFormat>& formats() {
    // Seventeen digits give a double back. FlatGeobuf's index would put the features into another order.
    static const std::vector<OgrFormat> list{
        {"GPKG", {"gpkg"}, {}, true, true, true, false, {}},
        {"SQLite", {"sqlite"}, {}, true, true, true, false, {"LAUNDER=NO"}},
        {"GeoJSON",
         {"geojson", "json"},
         {},
         false,
         false,
         true,
         false,
         {"COORDINATE_PRECISION=17", "SIGNIFICANT_FIGURES=17"}},
        {"GeoJSONSeq",
         {"geojsonl", "geojsons", "ndjson", "jsonl"},
         {},
         false,
         false,
         true,
         false,
         {"COORDINATE_PRECISION=17", "SIGNIFICANT_FIGURES=17"}},
        {"FlatGeobuf", {"fgb"}, {}, false, true, true, true, {"SPATIAL_INDEX=NO"}},
        {"ESRI Shapefile",
         {"shp"},
         {"shx", "dbf", "prj", "cpg", "qpj", "qix", "sbn", "sbx"},
         false,
         false,
         false,
         false,
         {"ENCODING=UTF-8"}},
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
