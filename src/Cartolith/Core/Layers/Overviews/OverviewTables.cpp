#include <Cartolith/Core/CoordinateSystems/SpatialReferenceInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Overviews/OverviewTablesInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresTableInternal.h>

#include <cpl_string.h>

#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr int longestName = 63; // of a table, in bytes; the server cuts the rest off
const QLatin1String ending("_overviews");

} // namespace

QString OverviewTables::tableFor(const QString& layer) {
    return layer + ending;
}

std::optional<IndexFile::Stamp> OverviewTables::stampOf(GDALDataset& source, OGRLayer& layer) {
    const SqlRows found = execute(
        source,
        "SELECT c.relfilenode::text, (s.n_tup_ins + s.n_tup_upd + s.n_tup_del)::text FROM "
        "pg_catalog.pg_class c JOIN pg_catalog.pg_stat_all_tables s ON s.relid = c.oid WHERE c.relkind "
        "IN ('r','m') AND current_setting('track_counts') = 'on' AND c.oid = (SELECT t.oid::oid FROM (" +
            tableOf(layer) + ") AS t)");
    return found.isEmpty()
               ? std::nullopt
               : std::optional(IndexFile::Stamp{found[0][0].toLongLong(), found[0][1].toLongLong()});
}

OverviewTables::OverviewTables(const QString& source, const OverviewPlan& plan, OGRLayer& layer)
    : OverviewLevels(source, plan, CoordinateSystems::Internal::isDefined(layer.GetSpatialRef())) {
    m_dataset.reset(GDALDataset::Open(source.toUtf8().constData(),
                                      GDAL_OF_VECTOR | GDAL_OF_UPDATE | GDAL_OF_VERBOSE_ERROR));
    if (m_dataset == nullptr || m_dataset->StartTransaction() != OGRERR_NONE) {
        fail();
    }
    m_isOpen = true;
    try {
        const SqlRows names = execute(*m_dataset, tableOf(layer));
        begin(names.value(0).value(1), names.value(0).value(2));
    } catch (const std::runtime_error& error) {
        fail(QString::fromUtf8(error.what()));
    }
    for (int level = 0; level < plan.levelCount(); ++level) {
        createLevel(QStringLiteral("%1_%2").arg(m_table).arg(level), layer, m_options);
    }
}

/// Makes room, but only where there are overviews now.
void OverviewTables::begin(const QByteArray& schema, const QByteArray& table) {
    m_table = tableFor(QString::fromUtf8(table));
    m_options << QStringLiteral("LAUNDER=NO") << QStringLiteral("FID64=YES")
              << QStringLiteral("SCHEMA=") + QString::fromUtf8(schema);
    if (m_table.toUtf8().size() + 3 > longestName) {
        throw std::runtime_error("the name of the table is too long for those of overviews");
    }
    const QByteArray name = quotedName(schema) + '.' + quotedName(m_table.toUtf8());
    const SqlRows there = execute(*m_dataset, "SELECT to_regclass(" + quotedText(name) + ")::text");
    if (there.value(0).value(0).isEmpty()) {
        return;
    }
    const SqlRows levels =
        execute(*m_dataset, "SELECT count(*)::text FROM (SELECT level_table, units_per_pixel FROM " + name +
                                " LIMIT 64) AS t");
    for (int level = 0; level < levels.value(0).value(0).toInt(); ++level) {
        execute(*m_dataset, "DROP TABLE IF EXISTS " + quotedName(schema) + '.' +
                                quotedName(m_table.toUtf8() + '_' + QByteArray::number(level)));
    }
    execute(*m_dataset, "DROP TABLE " + name);
}

OverviewTables::~OverviewTables() {
    const Common::Internal::GdalErrorCapture errors; // of a connection that broke
    if (m_isOpen) {
        m_dataset->RollbackTransaction();
    }
    m_dataset.reset();
}

void OverviewTables::publish(const QString& layer, bool isFirst, const IndexFile::Stamp& stamp,
                             const std::function<void()>& check) {
    m_errors.reset();
    CPLStringList options;
    for (const QString& option : std::as_const(m_options)) {
        options.AddString(option.toUtf8().constData());
    }
    describe(m_dataset->CreateLayer(m_table.toUtf8().constData(), nullptr, wkbNone, options.List()), layer,
             isFirst, stamp);
    m_dataset->FlushCache(false);
    if (!m_errors.message().isEmpty()) {
        fail();
    }
    check();
    commitInPostgres(*m_dataset, m_path);
    m_isOpen = false;
}

} // namespace Cartolith::Core::Layers::Internal
