#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/Ogr/DatabaseLockInternal.h>

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace Cartolith::Core::Layers::Internal {

DatabaseLock::DatabaseLock(const QString& path, std::chrono::steady_clock::time_point deadline) {
    using std::chrono::milliseconds;
    Common::Internal::registerGdalDrivers();
    const Common::Internal::GdalErrorCapture errors;
    const auto wait =
        std::clamp(std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now()),
                   milliseconds(0), milliseconds(std::chrono::hours(1)));
    const Common::Internal::ThreadOption timeout("SQLITE_BUSY_TIMEOUT",
                                                 QByteArray::number(qint64{wait.count()}).constData());
    m_dataset.reset(GDALDataset::Open(gdalNameOf(path).constData(), GDAL_OF_VECTOR | GDAL_OF_UPDATE));
    // Not "BEGIN IMMEDIATE", of which GDAL would not know when it writes something of its own.
    if (m_dataset != nullptr && m_dataset->StartTransaction() == OGRERR_NONE) {
        const QByteArray nothing = "DELETE FROM \"" + firstTable() + "\" WHERE 0";
        m_dataset->ReleaseResultSet(m_dataset->ExecuteSQL(nothing.constData(), nullptr, nullptr));
        m_isTaken = errors.message().isEmpty();
    }
    m_reason = errors.message();
}

DatabaseLock::~DatabaseLock() {
    const Common::Internal::GdalErrorCapture errors;
    if (m_isTaken) {
        m_dataset->RollbackTransaction();
    }
    m_dataset.reset();
}

QByteArray DatabaseLock::firstTable() const {
    OGRLayer* const tables =
        m_dataset->ExecuteSQL("SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                              "'sqlite%' AND sql NOT LIKE 'CREATE VIRTUAL%' LIMIT 1",
                              nullptr, nullptr);
    QByteArray name;
    if (tables != nullptr) {
        const Common::Internal::FeaturePtr row(tables->GetNextFeature());
        name = row != nullptr ? QByteArray(row->GetFieldAsString(0)).replace('"', "\"\"") : QByteArray();
        m_dataset->ReleaseResultSet(tables);
    }
    return name;
}

bool DatabaseLock::isHeldByOthers() const {
    return !m_isTaken && m_reason.contains(QLatin1String("locked"));
}

bool DatabaseLock::isDatabase(const QString& path) {
    constexpr std::string_view first("SQLite format 3");
    const int handle = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (handle < 0) {
        return false;
    }
    char bytes[first.size()];
    const bool isRead = ::pread(handle, bytes, sizeof bytes, 0) == ssize_t{sizeof bytes};
    ::close(handle);
    return isRead && std::string_view(bytes, sizeof bytes) == first;
}

QString DatabaseLock::logInUse(const QString& path) {
    for (const QLatin1String ending : {DatabaseLog::journal, DatabaseLog::wal, DatabaseLog::shared}) {
        const QFileInfo log(besideDatabase(path, ending));
        if (log.size() > 0) {
            return log.fileName();
        }
    }
    return {};
}

} // namespace Cartolith::Core::Layers::Internal
