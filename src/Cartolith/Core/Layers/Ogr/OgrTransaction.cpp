#include <Cartolith/Core/Layers/Files/FileIdentityInternal.h>
#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrDigestInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrEditsInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>

#include <QFile>

#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// The edits of one transaction, which is rolled back unless it was committed.
class Transaction {
public:
    explicit Transaction(const OgrEditTarget& target) : m_target(target) {
        const Common::Internal::EpsgCodesAsGiven codes;
        m_opened = identity();
        m_dataset.reset(GDALDataset::Open(gdalNameOf(target.path).constData(),
                                          GDAL_OF_VECTOR | GDAL_OF_UPDATE | GDAL_OF_VERBOSE_ERROR));
        if (m_dataset == nullptr) {
            fail(QStringLiteral("it cannot be opened for changes"));
        }
        if (!m_isCompared) {
            *target.state = SourceState(target.path); // GDAL mends what older versions wrote, as it opens
        }
        if (!m_dataset->TestCapability(ODsCTransactions)) {
            failToWrite(
                target.path,
                QStringLiteral("the format %1 can be read only; save it as another").arg(target.driverName));
        }
        m_layer = m_dataset->GetLayerByName(target.layerName.toUtf8().constData());
        if (m_layer == nullptr) {
            fail(QStringLiteral("there is no layer '%1' any more").arg(target.layerName));
        }
        m_layer->GetSpatialRef(); // while codes mean themselves
        m_errors.reset();
        m_isOpen = m_dataset->StartTransaction() == OGRERR_NONE;
        if (!m_isOpen) {
            fail(QStringLiteral("no transaction"));
        }
    }

    ~Transaction() {
        if (m_isOpen) {
            m_dataset->RollbackTransaction();
        }
        m_dataset.reset();
        if (m_isOurs && !m_isCompared) { // a large transaction reaches the file before its end; rolled back,
            try {                        // it is as it was
                *m_target.state = SourceState(m_target.path);
            } catch (const std::bad_alloc&) { // the next commit is refused
            }
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// Keeps everybody else from writing, after which nobody must have written. False when another file has
    /// taken the place of the one that is open.
    bool begin() {
        if (!m_isCompared) {
            requireUnchanged(m_target);
        } else {
            m_errors.reset();
            QString table = m_target.layerName;
            table.replace(QLatin1Char('"'), QLatin1String("\"\""));
            const QByteArray nothing = QStringLiteral("DELETE FROM \"%1\" WHERE 0").arg(table).toUtf8();
            m_dataset->ReleaseResultSet(m_dataset->ExecuteSQL(nothing.constData(), nullptr, nullptr));
            if (m_errors.message().contains(QLatin1String("locked"))) {
                fail(QStringLiteral("it cannot be written to"));
            }
            if (identity() != m_opened) {
                return false;
            }
            requireSame("fields were", OgrDigest::ofFields(*m_layer), m_target.read.fieldNames);
            requireSame("coordinate system was", OgrDigest::ofSystem(*m_layer), m_target.read.system);
            requireSameTable();
        }
        m_isOurs = m_errors.message().isEmpty(); // else the layer is no table, and the first edit locks
        return true;
    }

    void remove(qint64 id) {
        if (m_isCompared) {
            read(id);
        }
        m_errors.reset();
        require(m_layer->DeleteFeature(id) == OGRERR_NONE, id);
    }

    void change(qint64 id, const QList<const Shapes::GisShape*>& shapes) {
        if (id == OGRNullFID) { // means to GDAL that there is none
            fail(QStringLiteral("feature %1: a row of this id can be deleted, not changed").arg(id));
        }
        const Common::Internal::FeaturePtr feature = read(id);
        m_errors.reset(); // what was odd about reading it is no fault of the edit
        OgrChange change;
        try {
            change = update(*feature, m_layer->GetGeomType(), shapes, m_manner);
        } catch (const std::runtime_error& error) {
            fail(QStringLiteral("feature %1: %2").arg(id).arg(QString::fromUtf8(error.what())));
        }
        leaveOutUnchanged(*feature, change);
        require(!change.isAny() || m_layer->SetFeature(feature.get()) == OGRERR_NONE, id);
        noteDigest(id);
    }

    qint64 add(const Shapes::GisShape& shape) {
        m_errors.reset();
        OGRFeature feature(m_layer->GetLayerDefn());
        try {
            fill(feature, m_layer->GetGeomType(), shape, m_manner);
        } catch (const std::runtime_error& error) {
            fail(QStringLiteral("shape %1: %2").arg(shape.id()).arg(QString::fromUtf8(error.what())));
        }
        const bool isAdded = m_layer->CreateFeature(&feature) == OGRERR_NONE;
        if (!isAdded || hasComplaint()) {
            fail(QStringLiteral("shape %1").arg(shape.id()));
        }
        noteDigest(feature.GetFID());
        return feature.GetFID();
    }

    /// Of what was changed and added.
    std::unordered_map<qint64, quint64> digests() { return std::move(m_digests); }

    void commit() {
        if (identity() != m_opened) {
            failToWrite(m_target.path, QStringLiteral("another file has taken its place meanwhile"));
        }
        m_errors.reset();
        if (m_dataset->CommitTransaction() != OGRERR_NONE) {
            fail(QStringLiteral("the transaction failed"));
        }
        m_isOpen = false;
        m_isOurs = true;
    }

private:
    /// Of the file, if it is one.
    std::optional<FileIdentity> identity() const {
        return FileIdentity::ofTarget(QFile::encodeName(m_target.path).constData());
    }

    void requireSame(const char* what, quint64 digest, quint64 known) const {
        if (digest != known) {
            failToWrite(m_target.path, QStringLiteral("its %1 changed by someone else since it was opened")
                                           .arg(QLatin1String(what)));
        }
    }

    Common::Internal::FeaturePtr get(qint64 id) {
        m_errors.reset();
        Common::Internal::FeaturePtr feature(m_layer->GetFeature(id));
        if (feature == nullptr) {
            fail(QStringLiteral("there is no feature %1 any more").arg(id));
        }
        return feature;
    }

    /// A feature that nobody has changed since it was read: another layer of this process, or another one.
    Common::Internal::FeaturePtr read(qint64 id) {
        Common::Internal::FeaturePtr feature = get(id);
        const ReadFeature* const known = m_target.read.features.find(id);
        if (m_isCompared && known != nullptr && m_digest.of(*feature) != known->digest) {
            failToWrite(m_target.path,
                        QStringLiteral("feature %1 was changed by someone else since it was read").arg(id));
        }
        return feature;
    }

    /// What is unset, these drivers do not write: GDAL reads less of a value than may be there. Others write
    /// nothing in its place. (Without a geometry, all of them would remove it.)
    void leaveOutUnchanged(OGRFeature& feature, const OgrChange& change) {
        if (m_isCompared && change.columns != m_lastColumns) {
            m_layer->ResetReading(); // GeoPackage's driver prepares one statement for whatever columns come
            m_lastColumns = change.columns;
        }
        for (int i = 0; m_isCompared && i < feature.GetFieldCount(); ++i) {
            if (!change.columns.contains(i)) {
                feature.UnsetField(i);
            }
        }
    }

    void noteDigest(qint64 id) {
        if (m_isCompared) {
            m_digests[id] = m_digest.of(*get(id)); // as the source took it
        }
    }

    /// Another file in the place of the one that was read may give its ids to other features.
    void requireSameTable() {
        if (SourceState(m_target.path).isSameFile(*m_target.state)) {
            return;
        }
        quint64 sum = 0;
        m_layer->ResetReading();
        while (const Common::Internal::FeaturePtr feature{m_layer->GetNextFeature()}) {
            sum += m_digest.of(*feature);
        }
        m_layer->ResetReading();
        if (sum != m_target.read.digest) {
            failToWrite(m_target.path, QStringLiteral("it was changed by someone else since it was opened"));
        }
    }

    bool hasComplaint() const { return !m_errors.message().isEmpty() || !m_errors.warning().isEmpty(); }

    void require(bool done, qint64 id) const {
        if (!done || hasComplaint()) {
            fail(QStringLiteral("feature %1").arg(id));
        }
    }

    /// With GDAL's own reason where it gives one.
    [[noreturn]] void fail(const QString& what) const {
        const QString reason = m_errors.message().isEmpty() ? m_errors.warning() : m_errors.message();
        failToWrite(m_target.path, reason.isEmpty() ? what : QStringLiteral("%1: %2").arg(what, reason));
    }

    const OgrEditTarget& m_target;
    std::optional<FileIdentity> m_opened;
    const OgrManner m_manner = OgrManner::of(m_target.driverName);
    Common::Internal::GdalErrorCapture m_errors;
    Common::Internal::DatasetPtr m_dataset;
    OGRLayer* m_layer = nullptr;
    const bool m_isCompared = OgrFormat::forDriver(m_target.driverName) != nullptr; // feature by feature
    OgrDigest m_digest;
    std::set<int> m_lastColumns; // written of the feature before
    std::unordered_map<qint64, quint64> m_digests;
    bool m_isOpen = false;
    bool m_isOurs = false; ///< the state in which the source is left
};

} // namespace

void saveInTransaction(const OgrEditTarget& target, const OgrEdits& edits) {
    std::optional<Transaction> transaction;
    constexpr int most = 20;
    for (int attempt = 1; !transaction.emplace(target).begin(); ++attempt) {
        transaction.reset();
        if (attempt == most) {
            failToWrite(target.path, QStringLiteral("other files take its place all the time"));
        }
    }
    const auto total = static_cast<double>(edits.deleted.size() + edits.updated.size()) +
                       static_cast<double>(edits.added.size());
    qsizetype done = 0;
    const auto step = [&] {
        constexpr qsizetype interval = 256;
        if (++done % interval == 0 && target.progress &&
            !target.progress(static_cast<double>(done) / total)) {
            failToWrite(target.path, QStringLiteral("it was cancelled"));
        }
    };
    OgrSavedIds ids;
    for (const qint64 id : edits.deleted) {
        transaction->remove(id);
        step();
    }
    for (const auto& [id, shapes] : edits.updated) {
        transaction->change(id, shapes);
        step();
    }
    for (const Shapes::GisShape* shape : edits.added) {
        ids.added.append(transaction->add(*shape));
        step();
    }
    ids.digests = transaction->digests();
    target.prepare(ids);
    transaction->commit();
}

} // namespace Cartolith::Core::Layers::Internal
