#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Common/VsiFileInternal.h>
#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Formats/DbfTableInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrTargetInternal.h>
#include <Cartolith/Core/Layers/Ogr/SystemKeptInternal.h>
#include <Cartolith/Core/Layers/Ogr/ValueTextInternal.h>

#include <QFileInfo>
#include <QUuid>
#include <cpl_string.h>
#include <cpl_vsi.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

OgrTarget::OgrTarget(const OgrFormat& format, const QString& path, std::chrono::milliseconds wait)
    : m_format(format), m_path(path), m_suffix(QFileInfo(path).suffix()) {
    Common::Internal::registerGdalDrivers();
    if (m_format.isServer) {
        openServer(wait);
        return;
    }
    m_files.emplace(path, format.family, wait);
    if (m_format.isDatabase) {
        m_workPath = m_files->pathOf(m_suffix);
    } else {
        m_memoryFolder = QStringLiteral("/vsimem/cartolith-") + QUuid::createUuid().toString(QUuid::Id128);
        m_memoryFolderName = m_memoryFolder.toStdString();
        // Drivers look at the suffix, and in lower case only.
        m_workSuffix =
            m_format.suffixes.contains(m_suffix.toLower()) ? m_suffix.toLower() : m_format.suffixes.first();
        m_workPath =
            QStringLiteral("%1/%2.%3").arg(m_memoryFolder, QFileInfo(path).completeBaseName(), m_workSuffix);
    }
    m_driver = GetGDALDriverManager()->GetDriverByName(m_format.driver);
    if (m_driver == nullptr) {
        fail(QStringLiteral("this build of GDAL does not have the format %1").arg(m_format.driver));
    }
    m_dataset.reset(m_driver->Create(m_workPath.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
    if (m_dataset == nullptr) {
        fail(reasonOr(QStringLiteral("GDAL gives no reason")));
    }
}

OgrTarget::~OgrTarget() {
    m_rows.reset();
    if (m_isServerOpen) {
        m_dataset->RollbackTransaction();
    }
    m_dataset.reset();
    if (!m_memoryFolderName.empty()) {
        VSIRmdirRecursive(m_memoryFolderName.c_str());
    }
}

// A table on a server. GDAL would cut texts to their columns and doubles to 15 digits; so it makes the table,
// and rows are written as in edits.

void OgrTarget::openServer(std::chrono::milliseconds wait) {
    m_dataset.reset(GDALDataset::Open(m_path.toUtf8().constData(),
                                      GDAL_OF_VECTOR | GDAL_OF_UPDATE | GDAL_OF_VERBOSE_ERROR));
    m_driver = m_dataset != nullptr ? m_dataset->GetDriver() : nullptr;
    if (m_driver == nullptr || m_dataset->StartTransaction() != OGRERR_NONE) {
        fail(reasonOr(QStringLiteral("GDAL gives no reason")));
    }
    m_isServerOpen = true;
    onServer([&] {
        const auto most = std::max<qint64>(1, qint64{wait.count()});
        execute(*m_dataset, "SET LOCAL lock_timeout = " + QByteArray::number(most));
        askPlainTexts(*m_dataset);
    });
}

void OgrTarget::onServer(const std::function<void()>& work) const {
    try {
        work();
    } catch (const std::runtime_error& error) {
        fail(QString::fromUtf8(error.what()));
    }
}

namespace {

/// A server cuts longer ones without an error. \throws std::runtime_error
void requireServerName(const QByteArray& name) {
    constexpr qsizetype most = 63;
    if (name.isEmpty() || name.size() > most) {
        throw std::runtime_error(name.isEmpty() ? "the name is empty" : "the name has more than 63 bytes");
    }
}

} // namespace

/// A table of that name is an error or goes, but not with views that need it.
void OgrTarget::makeRoom(const QByteArray& name) {
    onServer([&] {
        const SqlRows schema =
            execute(*m_dataset, "SELECT nspname::text FROM pg_catalog.pg_namespace WHERE nspname =" +
                                    quotedText(name.left(name.indexOf('.'))));
        const bool hasSchema = name.contains('.') && !schema.isEmpty();
        if (name.contains('.') && !hasSchema) { // GDAL takes it for one
            throw std::runtime_error("there is no schema '" + name.left(name.indexOf('.')).toStdString() +
                                     '\'');
        }
        requireServerName(hasSchema ? name.mid(name.indexOf('.') + 1) : name);
        const QByteArray table =
            hasSchema ? quotedName(schema[0][0]) + '.' + quotedName(name.mid(name.indexOf('.') + 1))
                      : quotedName(name);
        const SqlRows there = execute(*m_dataset, "SELECT to_regclass(" + quotedText(table) + ")::text");
        if (!there.value(0).value(0).isEmpty() && !m_replacesTable) {
            throw std::runtime_error("there is such a table");
        }
        if (!there.value(0).value(0).isEmpty()) {
            execute(*m_dataset, "DROP TABLE " + table);
        }
    });
}

void OgrTarget::dropZone() {
    const OGRFeatureDefn& made = *m_layer->GetLayerDefn();
    m_clockTimes.append(
        const_cast<OGRFeatureDefn&>(made).GetFieldDefn(made.GetFieldCount() - 1)->GetNameRef());
}

void OgrTarget::requireSystem(const OGRSpatialReference& system, const Shapes::GisExtent& extent) {
    onServer([&] {
        m_layer->GetFeatureCount(); // now the table is made
        const int number = PostgresTable(*m_dataset, *m_layer).system();
        // As GDAL reads a table's; it has none for what a statement selects.
        const SqlRows found =
            execute(*m_dataset, "SELECT srtext::text, auth_name::text, auth_srid::text FROM spatial_ref_sys "
                                "WHERE srid = " +
                                    QByteArray::number(number));
        const QList<QByteArray> row = found.value(0);
        const Common::Internal::EpsgCodesAsGiven codes;
        OGRSpatialReference read;
        read.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        const bool isRead =
            (row.value(1).toUpper() == "EPSG" && read.importFromEPSG(row.value(2).toInt()) == OGRERR_NONE) ||
            (!row.value(0).isEmpty() && read.importFromWkt(row.value(0).constData()) == OGRERR_NONE);
        const auto kept = CoordinateSystems::Internal::systemFound(isRead ? &read : nullptr);
        requireSameSystem(system, kept.get(), extent);
    });
}

void OgrTarget::addRow(OGRFeature& feature, const QString& what) {
    try {
        if (!m_rows) {
            m_errors.reset();
            m_layer->GetFeatureCount();          // now the table is made
            if (!m_errors.message().isEmpty()) { // or not, of which all that follows would hide the reason
                throw std::runtime_error(m_errors.message().toStdString());
            }
            for (const QByteArray& column : std::as_const(m_clockTimes)) {
                execute(*m_dataset, "ALTER TABLE " + PostgresTable(*m_dataset, *m_layer).name() + " ALTER " +
                                        quotedName(column) + " TYPE timestamp");
            }
            m_rows.emplace(*m_dataset, *m_layer);
        }
        m_rows->add(feature);
    } catch (const std::runtime_error& error) {
        fail(QStringLiteral("%1: %2").arg(what, QString::fromUtf8(error.what())));
    }
    ++m_added;
}

void OgrTarget::endRows() {
    m_errors.reset();
    m_layer->GetFeatureCount();
    if (!m_errors.message().isEmpty()) {
        fail(m_errors.message());
    }
    if (m_rows) {
        onServer([this] { m_rows->flush(); });
    }
    m_rows.reset();
    m_layer = nullptr;
}

void OgrTarget::fail(const QString& reason) const {
    failToWrite(m_path, reason);
}

QString OgrTarget::reasonOr(const QString& otherwise) const {
    return m_errors.message().isEmpty() ? otherwise : m_errors.message();
}

OGRLayer& OgrTarget::createLayer(const QString& name, OGRSpatialReference* system, OGRwkbGeometryType type,
                                 const QStringList& options) {
    CPLStringList list;
    const QStringList all = options + m_format.options; // of options of one name, the first counts
    for (const QString& option : all) {
        list.AddString(option.toUtf8().constData());
    }
    const Common::Internal::EpsgCodesAsGiven codes;
    QByteArray bytes;
    try {
        bytes = savedTextOf(name);
    } catch (const std::runtime_error& error) {
        fail(QStringLiteral("the layer's name: %1").arg(QString::fromUtf8(error.what())));
    }
    if (!m_files) {
        makeRoom(bytes);
    }
    m_layer = m_dataset->CreateLayer(bytes.constData(), system, type, list.List());
    if (m_layer == nullptr) {
        fail(reasonOr(QStringLiteral("GDAL does not make a layer and gives no reason")));
    }
    if (m_files && m_format.isDatabase && m_dataset->StartTransaction() != OGRERR_NONE) {
        fail(reasonOr(QStringLiteral("no transaction")));
    }
    return *m_layer;
}

void OgrTarget::addField(OGRFieldDefn& field) {
    m_errors.reset();
    const OGRFeatureDefn& made = *m_layer->GetLayerDefn();
    const int before = made.GetFieldCount();
    const QString name = Common::Internal::wholeName(field.GetNameRef());
    const auto refuse = [&name, this](const QString& reason) {
        fail(QStringLiteral("no field '%1': %2").arg(name, reason));
    };
    if (m_format.hiddenFields.contains(name, Qt::CaseInsensitive)) {
        refuse(QStringLiteral("the format keeps that name for itself"));
    }
    if (m_format.isServer) {
        try {
            requireServerName(name.toUtf8());
        } catch (const std::runtime_error& error) {
            refuse(QString::fromUtf8(error.what()));
        }
    }
    if (m_layer->CreateField(&field) != OGRERR_NONE || made.GetFieldCount() != before + 1) {
        refuse(reasonOr(QStringLiteral("the format has a field of that name already")));
    }
    for (int i = 0; m_format.isServer && i < before; ++i) { // such a table could not be read
        if (QByteArray(made.GetFieldDefn(i)->GetNameRef()).toLower() ==
            QByteArray(field.GetNameRef()).toLower()) {
            refuse(QStringLiteral("there is one whose name differs in case only"));
        }
    }
    const QString given = Common::Internal::wholeName(made.GetFieldDefn(before)->GetNameRef());
    if (m_format.family.isEmpty() && given != name) {
        refuse(QStringLiteral("the format would call it '%1'").arg(given));
    }
}

/// In a column of more than 18 places, whole numbers read back as real ones.
void OgrTarget::requireKept(OGRFeature& feature, const QString& what) const {
    constexpr GIntBig most = 999'999'999'999'999'999;
    constexpr GIntBig least = -99'999'999'999'999'999;
    for (int i = 0; i < feature.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *feature.GetFieldDefnRef(i);
        if (field.GetType() == OFTInteger64 && feature.IsFieldSetAndNotNull(i)) {
            const GIntBig number = feature.GetFieldAsInteger64(i);
            if (number < least || number > most) {
                fail(QStringLiteral("%1: the value '%2' of the field '%3' has more than 18 places")
                         .arg(what)
                         .arg(qint64{number})
                         .arg(QString::fromUtf8(field.GetNameRef())));
            }
        }
    }
}

bool OgrTarget::isGeoJson() const {
    return QLatin1String(m_format.driver).startsWith(QLatin1String("GeoJSON"));
}

void OgrTarget::add(OGRFeature& feature, const QString& what) {
    if (m_format.needsGeometry && feature.GetGeometryRef() == nullptr) {
        fail(QStringLiteral("%1: the format wants a geometry, and there is none").arg(what));
    }
    if (!m_format.family.isEmpty()) {
        requireKept(feature, what);
    }
    if (isGeoJson()) {
        m_marks.add(feature);
    }
    if (!m_files) {
        addRow(feature, what);
        return;
    }
    m_errors.reset();
    const qsizetype before = isGeoJson() ? written(m_workSuffix).second : 0;
    if (m_layer->CreateFeature(&feature) != OGRERR_NONE || !m_errors.message().isEmpty() ||
        !m_errors.warning().isEmpty()) {
        fail(QStringLiteral("%1: %2").arg(what, reasonOr(m_errors.warning())));
    }
    if (isGeoJson()) {
        const auto [bytes, size] = written(m_workSuffix);
        m_numbers.add(feature, {bytes + before, size - before}, before);
    }
    ++m_added;
}

void OgrTarget::close() {
    if (m_format.needsFeatures && m_added == 0) {
        fail(QStringLiteral(
            "a file of this format without features cannot be told from any other empty file"));
    }
    if (!m_files) {
        endRows();
        return;
    }
    m_errors.reset();
    const Common::Internal::EpsgCodesAsGiven codes; // some drivers write the system at the end
    if (m_format.isDatabase && m_dataset->CommitTransaction() != OGRERR_NONE) {
        fail(reasonOr(QStringLiteral("the transaction failed")));
    }
    m_layer = nullptr;
    m_dataset.reset();
    if (!m_errors.message().isEmpty()) {
        fail(m_errors.message());
    }
    if (const auto [table, size] = written(QStringLiteral("dbf")); table != nullptr) {
        DbfTable::completeDates(table, size);
    }
    const auto [bytes, size] = written(m_workSuffix);
    if (isGeoJson()) {
        m_numbers.addBox({bytes, size});
    }
    if (m_numbers.isUsed()) { // by their places, which the marks would move
        rewrite(m_numbers.resolved({bytes, size}));
    }
    if (m_marks.isUsed()) {
        const auto [now, count] = written(m_workSuffix);
        rewrite(m_marks.resolved({now, count}));
    }
}

QByteArray OgrTarget::memoryPath(const QString& suffix) const {
    return QStringLiteral("%1/%2.%3")
        .arg(m_memoryFolder, QFileInfo(m_workPath).completeBaseName(), suffix)
        .toUtf8();
}

std::pair<char*, qsizetype> OgrTarget::written(const QString& suffix) const {
    vsi_l_offset size = 0;
    GByte* const bytes = m_memoryFolder.isEmpty()
                             ? nullptr
                             : VSIGetMemFileBuffer(memoryPath(suffix).constData(), &size, FALSE);
    return {reinterpret_cast<char*>(bytes), static_cast<qsizetype>(size)};
}

void OgrTarget::rewrite(const QByteArray& bytes, const QString& suffix) {
    const QByteArray path = memoryPath(suffix.isEmpty() ? m_workSuffix : suffix);
    const auto file = Common::Internal::openVsiFile(path, "wb");
    const auto size = static_cast<std::size_t>(bytes.size());
    if (file == nullptr || VSIFWriteL(bytes.constData(), 1, size, file.get()) != size) {
        fail(QStringLiteral("there is not enough memory"));
    }
}

void OgrTarget::keep(const QStringList& suffixes) {
    std::copy_if(suffixes.begin(), suffixes.end(), std::back_inserter(m_kept),
                 [this](const QString& suffix) { return m_files->keep(suffix); });
}

void OgrTarget::leaveOut(const QString& suffix) {
    m_kept.append(suffix);
}

SourceState OgrTarget::publish(const std::function<void()>& check) {
    if (!m_files) {
        commitInPostgres(*m_dataset, m_path);
        m_isServerOpen = false;
        return {};
    }
    if (!m_memoryFolder.isEmpty()) {
        const CPLStringList names(VSIReadDir(m_memoryFolder.toUtf8().constData()));
        for (int i = 0; i < names.Count(); ++i) {
            const QString suffix = QFileInfo(QString::fromUtf8(names[i])).suffix();
            if (const auto [bytes, size] = written(suffix); !m_kept.contains(suffix)) {
                m_files->write(suffix == m_workSuffix ? m_suffix : suffix, bytes, size);
            }
        }
    }
    return m_files->publish(check);
}

} // namespace Cartolith::Core::Layers::Internal
