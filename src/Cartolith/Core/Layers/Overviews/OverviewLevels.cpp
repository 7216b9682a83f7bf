#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewGeometryInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewLevelsInternal.h>

#include <cpl_string.h>

namespace Cartolith::Core::Layers::Internal {

namespace {

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

void OverviewLevels::fail() const {
    fail(m_errors.message().isEmpty() ? QStringLiteral("GDAL gives no reason") : m_errors.message());
}

void OverviewLevels::fail(const QString& reason) const {
    failToWrite(m_path, reason);
}

void OverviewLevels::createLevel(const QString& name, OGRLayer& source, const QStringList& options) {
    OGRFeatureDefn& fields = *source.GetLayerDefn();
    CPLStringList all;
    all.SetNameValue("FID", freeName(fields, "overview_fid").constData());
    all.SetNameValue("GEOMETRY_NAME", freeName(fields, "overview_geom").constData());
    for (const QString& option : options) {
        all.AddString(option.toUtf8().constData());
    }
    OGRLayer* const made =
        m_dataset->CreateLayer(name.toUtf8().constData(), source.GetSpatialRef(), wkbUnknown, all.List());
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
    m_names.append(QString::fromUtf8(made->GetName()));
    m_levels.push_back(made);
    m_counts.push_back(0);
}

void OverviewLevels::add(const OGRFeature& feature, int levels) {
    if (levels > 0 && feature.GetFID() == OGRNullFID) { // it would get the id of another
        fail(QStringLiteral("no table of overviews can have the id -1, which a feature has"));
    }
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

void OverviewLevels::describe(OGRLayer* table, const QString& layer, bool isFirst,
                              const IndexFile::Stamp& stamp) {
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
            {m_plan.unitsPerPixel(level), m_counts[static_cast<std::size_t>(level)], m_names.at(level)}};
        if (!row.write(*table)) {
            fail();
        }
    }
}

} // namespace Cartolith::Core::Layers::Internal
