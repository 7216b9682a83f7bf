#include <Cartolith/Core/Layers/FolderInternal.h>
#include <Cartolith/Core/Layers/SourcePathInternal.h>

#include <unistd.h>

namespace Cartolith::Core::Layers::Internal {

QString foreignJournalOf(const QString& path) {
    const QFileInfo info(resolvedPath(path));
    const Folder folder(info.path());
    const auto place = folder.status();
    const auto database = folder.status(info.fileName());
    if (!place || !database || (place->st_mode & S_ISVTX) == 0) {
        return {};
    }
    for (const char* const ending : {"-journal", "-wal"}) {
        const QString name = info.fileName() + QLatin1String(ending);
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
