#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/Files/SourceStateInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace Cartolith::Core::Layers::Internal {

SourceState::SourceState(const QString& path) {
    QStringList paths = QStringList()
                        << path << besideDatabase(path, DatabaseLog::wal); // may throw, {} crashes
    const OgrFormat* const format = OgrFormat::forPath(path);
    const QFileInfo info(path);
    for (const QString& suffix : format != nullptr ? format->family : QStringList()) {
        const QString stem = info.path() + QLatin1Char('/') + info.completeBaseName() + QLatin1Char('.');
        paths << stem + suffix << stem + suffix.toUpper();
    }
    for (const QString& name : std::as_const(paths)) {
        struct stat status {};
        const QByteArray encoded = QFile::encodeName(name);
        const bool isThere = ::stat(encoded.constData(), &status) == 0 && S_ISREG(status.st_mode);
        // A journal comes and goes when a database is read.
        m_files.append(isThere && status.st_size > 0
                           ? File{status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec,
                                  FileIdentity::ofTarget(encoded.constData()).value_or(FileIdentity{})}
                           : File{});
        m_changedAt.append({status.st_ctim.tv_sec, status.st_ctim.tv_nsec});
    }
}

} // namespace Cartolith::Core::Layers::Internal
