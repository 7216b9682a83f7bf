#include <Cartolith/Core/Layers/DatabaseLockInternal.h>

#include <QFile>
#include <QFileInfo>
#include <cpl_conv.h>

#include <algorithm>
#include <fcntl.h>
#include <optional>
#include <string_view>
#include <unistd.h>

namespace Cartolith::Core::Layers::Internal {

namespace {

/// While it lives, databases that this thread opens wait so long for others.
class BusyTimeout {
public:
    explicit BusyTimeout(std::chrono::milliseconds wait) {
        if (const char* const before = CPLGetThreadLocalConfigOption(key, nullptr)) {
            m_before = QByteArray(before);
        }
        CPLSetThreadLocalConfigOption(key, QByteArray::number(qint64{wait.count()}).constData());
    }
    ~BusyTimeout() { CPLSetThreadLocalConfigOption(key, m_before ? m_before->constData() : nullptr); }
    BusyTimeout(const BusyTimeout&) = delete;
    BusyTimeout& operator=(const BusyTimeout&) = delete;

private:
    static constexpr const char* key = "SQLITE_BUSY_TIMEOUT";
    std::optional<QByteArray> m_before;
};

} // namespace

DatabaseLock::DatabaseLock(const QString& path, Kind kind, std::chrono::steady_clock::time_point deadline) {
    using std::chrono::milliseconds;
    Common::Internal::registerGdalDrivers();
    const Common::Internal::GdalErrorCapture errors;
    const BusyTimeout timeout(
        std::clamp(std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now()),
                   milliseconds(0), milliseconds(std::chrono::hours(1))));
    m_dataset.reset(GDALDataset::Open(path.toUtf8().constData(), GDAL_OF_VECTOR | GDAL_OF_UPDATE));
    if (m_dataset != nullptr) {
        const char* const begin = kind == Kind::All ? "BEGIN EXCLUSIVE" : "BEGIN IMMEDIATE";
        m_dataset->ReleaseResultSet(m_dataset->ExecuteSQL(begin, nullptr, nullptr));
    }
    m_isTaken = m_dataset != nullptr && errors.message().isEmpty();
    m_reason = errors.message();
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
    for (const char* const ending : {"-journal", "-wal", "-shm"}) {
        const QFileInfo log(path + QLatin1String(ending));
        if (log.size() > 0) {
            return log.fileName();
        }
    }
    return {};
}

} // namespace Cartolith::Core::Layers::Internal
