#pragma once

#include <Cartolith/Core/Layers/Files/StagingFolderInternal.h>
#include <Cartolith/Core/Layers/Ogr/DatabaseLockInternal.h>

#include <QString>

#include <chrono>
#include <optional>

namespace Cartolith::Core::Layers::Internal {

/// Keeps a file at its place while it lives: no other process of this library replaces it, and where it is a
/// database of SQLite, no program commits to it. A file that cannot be locked is not kept.
class FileHold {
public:
    /// Waits until then for others. \throws std::runtime_error with the reason, when they go on
    FileHold(const Folder& folder, const QString& path, std::chrono::steady_clock::time_point deadline);

    /// Whether there is such a file.
    bool isFile() const { return m_isFile; }
    bool isDatabase() const { return m_database.has_value(); }

private:
    QString hold(const Folder& folder, const QString& path, std::chrono::steady_clock::time_point deadline);

    bool m_isFile = false;
    std::optional<FileLock> m_file;
    std::optional<DatabaseLock> m_database;
};

} // namespace Cartolith::Core::Layers::Internal
