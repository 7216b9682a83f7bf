#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewFileInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewGeometryInternal.h>

#include <QFile>
#include <QFileInfo>
#include <cpl_string.h>

#include <chrono>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr std::chrono::seconds wait(2); // for another process that makes the same file

QString tableOf(int level) {
    return QStringLiteral("level_%1").arg(level);
}

bool isTaken(OGRFieldType type) {
    return type == OFTInteger || type == OFTInteger64 || type == OFTReal || type == OFTString ||
           type == OFTDate || type == OFTTime || type == OFTDateTime;
}

/// Of a column that the fields do not have, in any case.
QByteArray freeName(OGRFeatureDefn& fields, QByteArray name) {
    while (fields.GetFieldIndex(name.constData()) >= 0) {
        name += '_';
    }
    return name;
}

} // namespace

OverviewFile::OverviewFile(const QString& path, const OverviewPlan& plan, OGRLayer& source)
    : m_path(path), m_plan(plan), m_files(path, {}, wait),
      m_workPath(m_files.pathOf(QFileInfo(path).suffix())),
      m_hasSystem(CoordinateSystems::Internal::isDefined(source.GetSpatialRef())) {
    GDALDriver* const driver = GetGDALDriverManager()->GetDriverByName("GPKG");
    if (driver != nullptr) {
        m_dataset.reset(driver->Create(m_workPath.toUtf8().constData(), 0, 0, 0, GDT_Unknown, nullptr));
    }
    if (m_dataset == nullptr) {
        fail();
    }
    for (int level = 0; level < plan.levelCount(); ++level) {
        createLevel(level, source);
    }
    if (m_dataset->StartTransaction() != OGRERR_NONE) {
        fail();
    }
}

void OverviewFile::fail() const {
    const QString reason =
        m_errors.message().isEmpty() ? QStringLiteral("GDAL gives no reason") : m_errors.message();
    throw std::runtime_error(QStringLiteral("Cannot write '%1': %2").arg(m_path, reason).toStdString());
}

void OverviewFile::createLevel(int level, OGRLayer& source) {
    OGRFeatureDefn& fields = *source.GetLayerDefn();
    CPLStringList options;
    options.SetNameValue("FID", freeName(fields, "overview_fid").constData());
    options.SetNameValue("GEOMETRY_NAME", freeName(fields, "overview_geom").constData());
    OGRLayer* const made = m_dataset->CreateLayer(tableOf(level).toUtf8().constData(), source.GetSpatialRef(),
                                                  wkbUnknown, options.List());
    if (made == nullptr) {
        fail();
    }
    m_fields.clear();
    int count = 0;
    for (int i = 0; i < fields.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *fields.GetFieldDefn(i);
        OGRFieldDefn plain(field.GetNameRef(), field.GetType());
        plain.SetSubType(field.GetSubType());
        // Of two of one name the second is refused.
        const bool isMade = isTaken(field.GetType()) && made->CreateField(&plain) == OGRERR_NONE;
        m_fields.push_back(isMade ? count : -1);
        count += isMade ? 1 : 0;
    }
    m_errors.reset();
    m_levels.push_back(made);
    m_counts.push_back(0);
}

void OverviewFile::add(const OGRFeature& feature, int levels) {
    for (int level = 0; level < levels; ++level) {
        OGRLayer& to = *m_levels[static_cast<std::size_t>(level)];
        OGRFeature made(to.GetLayerDefn());
        made.SetFID(feature.GetFID());
        made.SetGeometryDirectly(coarsened(*feature.GetGeometryRef(), m_plan.unitsPerPixel(level)).release());
        made.SetFieldsFrom(&feature, m_fields.data());
        m_errors.reset();
        if (to.CreateFeature(&made) != OGRERR_NONE) {
            fail();
        }
        ++m_counts[static_cast<std::size_t>(level)];
    }
}

void OverviewFile::publish(const QString& layer, bool isFirst, const QString& source,
                           const IndexFile::Stamp& stamp, const std::function<void()>& check) {
    m_errors.reset();
    OGRLayer* const table = m_dataset->CreateLayer(OverviewRow::table, nullptr, wkbNone, nullptr);
    if (table == nullptr || !OverviewRow::addFields(*table)) {
        fail();
    }
    const OGREnvelope& box = m_plan.extent();
    for (int level = 0; level < m_plan.levelCount(); ++level) {
        const OverviewRow row{
            layer,
            isFirst,
            m_hasSystem,
            stamp,
            m_plan.featureCount(),
            {box.MinX, box.MinY, box.MaxX, box.MaxY},
            {m_plan.unitsPerPixel(level), m_counts[static_cast<std::size_t>(level)], tableOf(level)}};
        if (!row.write(*table)) {
            fail();
        }
    }
    if (m_dataset->CommitTransaction() != OGRERR_NONE) {
        fail();
    }
    m_dataset.reset();
    if (!m_errors.message().isEmpty()) {
        fail();
    }
    QFile::setPermissions(m_workPath, QFileInfo(source).permissions());
    m_files.publish(check);
}

} // namespace Cartolith::Core::Layers::Internal
