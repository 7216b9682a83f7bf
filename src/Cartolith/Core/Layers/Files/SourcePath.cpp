#include <Cartolith/Core/Layers/Files/FolderInternal.h>
#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>

#include <QFile>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <unistd.h>

namespace Cartolith::Core::Layers::Internal {

QString resolvedPath(const QString& path) {
    // Not QFileInfo::canonicalFilePath(), to which a link is no file when there is no memory.
    char target[PATH_MAX];
    if (::realpath(QFile::encodeName(path).constData(), static_cast<char*>(target)) == nullptr) {
        return errno == ENOMEM ? throw std::bad_alloc() : path;
    }
    return QFile::decodeName(
        QByteArray::fromRawData(static_cast<char*>(target), static_cast<qsizetype>(std::strlen(target))));
}

QByteArray gdalNameOf(const QString& path) {
    const bool isFile =
        path.contains(QLatin1Char(':')) && !path.startsWith(QLatin1Char('/')) && QFileInfo::exists(path);
    return (isFile ? QLatin1String("./") + path : path).toUtf8();
}

QString besideDatabase(const QString& path, QLatin1String ending) {
    return resolvedPath(path) + ending;
}

QString foreignJournalOf(const QString& path) {
    const QFileInfo info(resolvedPath(path));
    const Folder folder(info.path());
    const auto place = folder.status();
    const auto database = folder.status(info.fileName());
    if (!place || !database || (place->st_mode & S_ISVTX) == 0) {
        return {};
    }
    for (const QLatin1String ending : {DatabaseLog::journal, DatabaseLog::wal}) {
        QString name = info.fileName() + ending;
        const auto journal = folder.status(name);
        const bool isTrusted = !journal || journal->st_size == 0 || journal->st_uid == ::geteuid() ||
                               journal->st_uid == database->st_uid || journal->st_uid == 0;
        if (!isTrusted) {
            return name;
        }
    }
    return {};
}

} // namespace Cartolith::Core::Layers::Internal
