#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrDigestInternal.h>
#include <Cartolith/Core/Layers/Postgres/PostgresSessionInternal.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

Common::Internal::DatasetPtr openPostgres(const QString& path, unsigned access) {
    Common::Internal::registerGdalDrivers();
    const Common::Internal::EpsgCodesAsGiven codes;
    return Common::Internal::DatasetPtr(
        GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_VECTOR | access | GDAL_OF_VERBOSE_ERROR));
}

PostgresSession::PostgresSession(const OgrEditTarget& target) : m_target(target) {
    m_dataset = openPostgres(target.path, GDAL_OF_UPDATE);
    if (m_dataset == nullptr) {
        fail(QStringLiteral("it cannot be opened for changes"));
    }
    m_dataset->GetLayerCount(); // only then are all found by their names
    m_layer = m_dataset->GetLayerByName(target.layerName.toUtf8().constData());
    if (m_layer == nullptr) {
        fail(QStringLiteral("there is no layer '%1' any more").arg(target.layerName));
    }
    m_layer->GetSpatialRef();
    if (m_dataset->StartTransaction() != OGRERR_NONE) {
        fail(QStringLiteral("no transaction"));
    }
    m_isOpen = true;
    // A row that was waited for is seen as it is then.
    run("SET TRANSACTION ISOLATION LEVEL READ COMMITTED");
    const auto wait = std::max<qint64>(1, qint64{target.wait.count()});
    run("SET LOCAL lock_timeout = " + QByteArray::number(wait));
    try {
        correctTypes(*m_dataset, *m_layer);
        m_table.emplace(*m_dataset, *m_layer);
        run("SELECT 1 AS here FROM " + m_table->name() + " LIMIT 0"); // keeps the table as it is
        m_table.emplace(*m_dataset, *m_layer);
        m_table->keepSystem();
    } catch (const std::runtime_error& error) {
        failToWrite(target.path, QString::fromUtf8(error.what()));
    }
    if (m_table->hasLostColumns() || OgrDigest::ofFields(*m_layer) != target.read.fieldNames) {
        failToWrite(target.path,
                    QStringLiteral("its fields were changed by someone else since it was opened"));
    }
    if (OgrDigest::ofSystem(*m_layer) != target.read.system) {
        failToWrite(target.path,
                    QStringLiteral("its coordinate system was changed by someone else since it was opened"));
    }
    if (m_table->key().isEmpty()) {
        failToWrite(target.path,
                    QStringLiteral("'%1' has no primary key of one whole number by which its rows "
                                   "are known, so it can be read only")
                        .arg(target.layerName));
    }
}

PostgresSession::~PostgresSession() {
    const Common::Internal::GdalErrorCapture errors; // of a connection that broke
    if (m_isOpen) {
        m_dataset->RollbackTransaction();
    }
    m_dataset.reset();
}

void PostgresSession::commit() {
    commitInPostgres(*m_dataset, m_target.path);
    m_isOpen = false;
}

QString PostgresSession::nameOf(int column) const {
    return Common::Internal::wholeName(m_layer->GetLayerDefn()->GetFieldDefn(column)->GetNameRef());
}

SqlRows PostgresSession::execute(const QByteArray& sql) {
    return Internal::execute(*m_dataset, sql);
}

SqlRows PostgresSession::run(const QByteArray& sql) {
    try {
        return execute(sql);
    } catch (const std::runtime_error& error) {
        failToWrite(m_target.path, QString::fromUtf8(error.what()));
    }
}

QByteArray PostgresSession::whereIn(const Ids& ids) const {
    return m_table->key() + " IN (" + listOf(ids) + ')';
}

PostgresSession::Rows PostgresSession::read(const Ids& ids) {
    m_errors.reset();
    Rows rows;
    m_layer->SetAttributeFilter(whereIn(ids).constData());
    m_layer->ResetReading();
    while (Common::Internal::FeaturePtr feature{m_layer->GetNextFeature()}) {
        const qint64 id = feature->GetFID();
        rows[id] = std::move(feature);
    }
    m_layer->SetAttributeFilter(nullptr);
    m_layer->ResetReading();
    if (!m_errors.message().isEmpty()) {
        fail(QStringLiteral("its rows cannot be read"));
    }
    return rows;
}

PostgresSession::Rows PostgresSession::lockAndRead(const Ids& ids) {
    try {
        execute("WITH locked AS (SELECT 1 FROM " + m_table->name() + " WHERE " + whereIn(ids) + " ORDER BY " +
                m_table->key() + " FOR UPDATE) SELECT count(*) FROM locked");
    } catch (const std::runtime_error& error) {
        failToWrite(m_target.path, QStringLiteral("its rows cannot be locked to be changed: %1")
                                       .arg(QString::fromUtf8(error.what())));
    }
    requireSystemOf(ids);
    return read(ids);
}

/// What GDAL reads of a geometry does not say in which system it is by now.
void PostgresSession::requireSystemOf(const Ids& ids) {
    const QByteArray isOther = m_table->isOfOtherSystem();
    const SqlRows others = isOther.isEmpty()
                               ? SqlRows()
                               : run("SELECT " + m_table->key() + "::text AS k FROM " + m_table->name() +
                                     " WHERE " + whereIn(ids) + " AND " + isOther + " LIMIT 1");
    if (!others.isEmpty()) {
        failToWrite(
            m_target.path,
            QStringLiteral("feature %1: %2").arg(QString::fromUtf8(others[0][0]), m_table->severalSystems()));
    }
}

ExactTexts PostgresSession::exactTexts(const Ids& ids, const ExactTexts& known) const {
    try {
        return m_table->exactTexts(ids, known);
    } catch (const std::runtime_error& error) {
        failToWrite(m_target.path, QString::fromUtf8(error.what()));
    }
}

void PostgresSession::fail(const QString& what) const {
    const QString reason = m_errors.message();
    failToWrite(m_target.path, reason.isEmpty() || what.contains(reason)
                                   ? what
                                   : QStringLiteral("%1: %2").arg(what, reason));
}

} // namespace Cartolith::Core::Layers::Internal
