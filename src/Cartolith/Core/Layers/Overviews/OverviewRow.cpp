#include <Cartolith/Core/Layers/Overviews/OverviewRowInternal.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// To be raised when what is in a level changes.
constexpr int currentVersion = 1;

struct Field {
    const char* name;
    OGRFieldType type;
};
enum Index {
    Version,
    Layer,
    First,
    System,
    Size,
    Written,
    Count,
    MinX,
    MinY,
    MaxX,
    MaxY,
    Pixel,
    LevelCount,
    Table
};
constexpr std::array<Field, Table + 1> fields{{{"version", OFTInteger},
                                               {"layer", OFTString},
                                               {"is_first", OFTInteger},
                                               {"has_system", OFTInteger},
                                               {"source_size", OFTInteger64},
                                               {"source_written", OFTInteger64},
                                               {"source_count", OFTInteger64},
                                               {"min_x", OFTReal},
                                               {"min_y", OFTReal},
                                               {"max_x", OFTReal},
                                               {"max_y", OFTReal},
                                               {"units_per_pixel", OFTReal},
                                               {"level_count", OFTInteger64},
                                               {"level_table", OFTString}}};

bool isAsDeclared(OGRFeature& feature) {
    if (feature.GetFieldCount() != std::ssize(fields)) {
        return false;
    }
    for (int i = 0; i < feature.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *feature.GetFieldDefnRef(i);
        if (field.GetType() != fields[static_cast<std::size_t>(i)].type ||
            !EQUAL(field.GetNameRef(), fields[static_cast<std::size_t>(i)].name) ||
            feature.IsFieldSetAndNotNull(i) == 0) {
            return false;
        }
    }
    return true;
}

} // namespace

bool OverviewRow::addFields(OGRLayer& layer) {
    return std::all_of(fields.begin(), fields.end(), [&layer](const Field& field) {
        OGRFieldDefn definition(field.name, field.type);
        return layer.CreateField(&definition) == OGRERR_NONE;
    });
}

bool OverviewRow::write(OGRLayer& to) const {
    OGRFeature feature(to.GetLayerDefn());
    feature.SetField(Version, currentVersion);
    feature.SetField(Layer, layer.toUtf8().constData());
    feature.SetField(First, isFirst ? 1 : 0);
    feature.SetField(System, hasSystem ? 1 : 0);
    feature.SetField(Size, GIntBig{stamp.size});
    feature.SetField(Written, GIntBig{stamp.writtenAt});
    feature.SetField(Count, GIntBig{featureCount});
    feature.SetField(MinX, extent.xMin());
    feature.SetField(MinY, extent.yMin());
    feature.SetField(MaxX, extent.xMax());
    feature.SetField(MaxY, extent.yMax());
    feature.SetField(Pixel, level.unitsPerPixel);
    feature.SetField(LevelCount, GIntBig{level.featureCount});
    feature.SetField(Table, level.tableName.toUtf8().constData());
    return to.CreateFeature(&feature) == OGRERR_NONE;
}

std::optional<OverviewRow> OverviewRow::read(OGRFeature& feature) {
    if (!isAsDeclared(feature) || feature.GetFieldAsInteger(Version) != currentVersion) {
        return std::nullopt;
    }
    const auto number = [&feature](Index i) { return feature.GetFieldAsDouble(i); };
    const auto whole = [&feature](Index i) { return qint64{feature.GetFieldAsInteger64(i)}; };
    const auto text = [&feature](Index i) { return QString::fromUtf8(feature.GetFieldAsString(i)); };
    const OverviewRow row{text(Layer),
                          feature.GetFieldAsInteger(First) != 0,
                          feature.GetFieldAsInteger(System) != 0,
                          {whole(Size), whole(Written)},
                          whole(Count),
                          {number(MinX), number(MinY), number(MaxX), number(MaxY)},
                          {number(Pixel), whole(LevelCount), text(Table)}};
    const bool isSane = std::isfinite(row.level.unitsPerPixel) && row.level.unitsPerPixel > 0.0 &&
                        row.level.featureCount >= 0 && row.level.featureCount <= row.featureCount;
    return isSane ? std::optional(row) : std::nullopt;
}

} // namespace Cartolith::Core::Layers::Internal
