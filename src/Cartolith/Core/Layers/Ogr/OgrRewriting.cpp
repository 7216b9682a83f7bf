#include <Cartolith/Core/Layers/Files/SourceMembersInternal.h>
#include <Cartolith/Core/Layers/Formats/DbfTableInternal.h>
#include <Cartolith/Core/Layers/Formats/FlatGeobufRowsInternal.h>
#include <Cartolith/Core/Layers/Formats/ShpRecordsInternal.h>
#include <Cartolith/Core/Layers/Json/GeoJsonTextsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrRewrittenFieldsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSnapshotInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrSourceInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrTargetInternal.h>

#include <QFileInfo>

#include <algorithm>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

QList<qint64> idsIn(const QString& path) {
    OgrSource source(path);
    OGRLayer& layer = source.layer(QString());
    QList<qint64> ids;
    layer.ResetReading();
    while (const auto feature = source.next(layer)) {
        ids.append(feature->GetFID());
    }
    return ids;
}

/// False when something was changed and changed back while it was read, so that of several files, or of one
/// that is read twice, parts may be of two moments.
bool rewrite(const OgrEditTarget& target, const OgrEdits& edits) {
    OgrSnapshot snapshot(target.path, target.layerName, target.wait);
    OgrSource& source = snapshot.source();
    OGRLayer& from = snapshot.layer();
    OgrTarget written(*OgrFormat::forDriver(target.driverName), target.path, target.wait);
    if (source.isSystemElsewhere()) {
        written.fail(QStringLiteral(
            "it names a place in the network for its coordinate system, which would get lost"));
    }
    const auto prepared = [&](const QString& what, const auto& prepare) {
        try {
            prepare();
        } catch (const std::runtime_error& error) {
            written.fail(QStringLiteral("%1: %2").arg(what, QString::fromUtf8(error.what())));
        }
    };

    std::optional<GeoJsonTexts> texts;
    prepared(QStringLiteral("its text"), [&] { texts.emplace(target.driverName, target.path); });
    const bool isShapefile = target.driverName == QLatin1String("ESRI Shapefile");
    std::optional<FlatGeobufRows> rows;
    if (target.driverName == QLatin1String("FlatGeobuf")) {
        prepared(QStringLiteral("its rows"), [&] { rows.emplace(target.path); });
    }
    std::optional<DbfTable> table;
    std::optional<ShpRecords> records;
    const QByteArray encoding =
        isShapefile ? QByteArray(from.GetMetadataItem("SOURCE_ENCODING", "SHAPEFILE")) : QByteArray();
    QStringList options = texts->layerOptions();
    if (isShapefile) {
        prepared(QStringLiteral("its table"), [&] { table = DbfTable::beside(target.path); });
        prepared(QStringLiteral("its shapes"), [&] { records.emplace(target.path); });
        if (const QString type = records->typeOption(); !type.isEmpty()) {
            options << type;
        }
        options << QStringLiteral("ENCODING=") + QString::fromUtf8(encoding);
    }
    // Lines are in WGS 84 as they are. With a system, such as that with heights, GDAL would wrap longitudes.
    const bool hasSystem = texts->needsSystem() && !OgrFormat::forDriver(target.driverName)->isLongLat;
    OGRLayer& to = written.createLayer(target.layerName, hasSystem ? from.GetSpatialRef() : nullptr,
                                       from.GetGeomType(), options);
    addRewrittenFields(target, *from.GetLayerDefn(), written);

    // What GDAL finds in a file without a schema is no limit to what it may hold.
    const OGRwkbGeometryType type =
        target.driverName.startsWith(QLatin1String("GeoJSON")) ? wkbUnknown : from.GetGeomType();
    const OgrManner manner = OgrManner::of(target.driverName);
    // Names as the layer has them, which a Shapefile gives back only in the end.
    OGRFeatureDefn& schema = isShapefile ? *from.GetLayerDefn() : *to.GetLayerDefn();
    const bool needsGeometries = texts->needsGeometries();
    const bool isKept = isShapefile || texts->isAny(); // what was not changed comes from the old file
    const auto add = [&](OGRFeature& edited, const QString& what, const OgrChange* change) {
        for (int i = 0; isKept && change != nullptr && i < edited.GetFieldCount(); ++i) {
            if (!change->columns.contains(i)) {
                edited.UnsetField(i);
            }
        }
        const bool isStill = change != nullptr && !change->isMoved;
        if (isStill && (records || (texts->isAny() && !needsGeometries))) {
            edited.SetGeometryDirectly(nullptr);
        }
        if (isShapefile) {
            prepared(what, [&] { requireEncoded(edited, encoding); });
            OGRFeature out(to.GetLayerDefn());
            copyFields(edited, out);
            written.add(out, what);
        } else {
            written.add(edited, what);
        }
    };
    bool differs = !edits.deleted.empty() || !edits.added.isEmpty();
    QList<qint64> before;
    qsizetype met = 0;
    const auto total = static_cast<double>(from.GetFeatureCount());
    from.ResetReading();
    while (const auto feature = source.next(from)) {
        constexpr qsizetype interval = 256;
        if (++met % interval == 0 && target.progress && !target.progress(static_cast<double>(met) / total)) {
            written.fail(QStringLiteral("it was cancelled"));
        }
        const qint64 number = met - 1;
        if (edits.deleted.contains(number)) {
            continue;
        }
        const QString what = QStringLiteral("feature %1").arg(feature->GetFID());
        OGRFeature edited(&schema);
        copyFields(*feature, edited);
        OgrChange change;
        if (const auto shapes = edits.updated.find(number); shapes != edits.updated.end()) {
            prepared(what, [&] { change = update(edited, type, shapes->second, manner); });
        }
        if (!isKept && !source.complaint().isEmpty()) {
            written.fail(QStringLiteral("%1 cannot be read whole: %2").arg(what, source.complaint()));
        }
        differs = differs || change.isAny();
        if (rows) {
            rows->keep(number, change.columns);
        }
        if (records) {
            records->keep(feature->GetFID(), change.isMoved);
        }
        texts->add(*feature, number, change);
        if (table) {
            table->keep(feature->GetFID(), change.columns);
        }
        add(edited, what, &change);
        before.append(number);
    }
    if (!differs) { // everything was undone
        target.prepare({});
        return true;
    }
    for (const Shapes::GisShape* shape : edits.added) {
        const QString what = QStringLiteral("shape %1").arg(shape->id());
        OGRFeature edited(&schema);
        prepared(what, [&] { fill(edited, type, *shape, manner); });
        add(edited, what, nullptr);
    }
    written.close();
    const auto bytes = written.written(QFileInfo(written.writtenPath()).suffix());
    prepared(QStringLiteral("its text"), [&] {
        if (const auto text = texts->in({bytes.first, bytes.second}, met); text.has_value()) {
            written.rewrite(*text);
        }
    });
    if (rows) {
        QStringList names;
        const auto fields = attributeDefinitions(*from.GetLayerDefn());
        for (const Defs::GisAttributeDefinition& field : fields) {
            names.append(field.name());
        }
        prepared(QStringLiteral("its rows"), [&] {
            written.rewrite(rows->restored({bytes.first, bytes.second}, names));
        });
    }
    if (records) {
        const auto shx = written.written(QStringLiteral("shx"));
        prepared(QStringLiteral("its shapes"), [&] {
            const auto [shapes, index] =
                records->restored({bytes.first, bytes.second}, {shx.first, shx.second});
            written.rewrite(shapes);
            written.rewrite(index, QStringLiteral("shx"));
        });
    }
    if (table) {
        const auto [first, size] = written.written(QStringLiteral("dbf"));
        prepared(QStringLiteral("its table"), [&, at = first, count = size] { table->restore(at, count); });
    }
    if (isShapefile) {
        // What is in them holds as before, and GDAL would write what it makes of them.
        written.keep(QStringList() << QStringLiteral("prj") << QStringLiteral("cpg")
                                   << QStringLiteral("qpj"));
        // GDAL makes both where there is none.
        for (const QString& suffix : {QStringLiteral("dbf"), QStringLiteral("cpg")}) {
            if (membersOf(target.path, QStringList(suffix)).isEmpty()) {
                written.leaveOut(suffix);
            }
        }
    }
    requireUnchanged(target);
    if (!snapshot.state().isSameMoment(SourceState(target.path))) {
        return false;
    }

    // Read again, the new files tell the ids that GDAL gives, and that nothing got lost.
    const QList<qint64> after = idsIn(written.writtenPath());
    if (after.size() != before.size() + edits.added.size()) {
        written.fail(QStringLiteral("of %1 features the format kept %2")
                         .arg(before.size() + edits.added.size())
                         .arg(after.size()));
    }
    OgrSavedIds ids;
    ids.isRenumbered = true;
    for (qsizetype i = 0; i < before.size(); ++i) {
        ids.kept.emplace(before[i], i);
    }
    for (qsizetype i = before.size(); i < after.size(); ++i) {
        ids.added.append(i);
    }
    ids.numberedIds = after;
    target.prepare(ids);
    try {
        *target.state = written.publish([&target] { requireUnchanged(target); });
    } catch (const PublishedUnsafely& error) {
        *target.state = error.state;
        throw;
    }
    return true;
}

} // namespace

void saveByRewriting(const OgrEditTarget& target, const OgrEdits& edits) {
    const auto deadline = std::chrono::steady_clock::now() + target.wait;
    for (int attempt = 1; !rewrite(target, edits); ++attempt) {
        constexpr int most = 3;
        if (attempt >= most && std::chrono::steady_clock::now() >= deadline) {
            failToWrite(target.path, QStringLiteral("its files are being changed"));
        }
    }
}

} // namespace Cartolith::Core::Layers::Internal
