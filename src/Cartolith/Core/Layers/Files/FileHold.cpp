#include <Cartolith/Core/Layers/Files/FileHoldInternal.h>
#include <Cartolith/Core/Layers/Files/FileIdentityInternal.h>
#include <Cartolith/Core/Layers/Files/SettlingInternal.h>

#include <QFileInfo>

#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

FileHold::FileHold(const Folder& folder, const QString& path,
                   std::chrono::steady_clock::time_point deadline) {
    for (;;) {
        const QString obstacle = hold(folder, path, deadline);
        if (obstacle.isEmpty()) {
            return;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            throw std::runtime_error(obstacle.toStdString());
        }
        waitAMoment();
    }
}

/// Gives the reason why not.
QString FileHold::hold(const Folder& folder, const QString& path,
                       std::chrono::steady_clock::time_point deadline) {
    const EntryName name(QFileInfo(path).fileName());
    m_file.reset();
    m_database.reset();
    const auto found = FileIdentity::of(folder.handle(), name.data());
    m_isFile = found.has_value();
    const auto inUse = [](const QString& what) {
        return QStringLiteral("it is a database in use, or one that was not closed: %1").arg(what);
    };
    if (const QString log = DatabaseLock::logInUse(path); !log.isEmpty()) {
        return inUse(QStringLiteral("there is '%1'").arg(log)); // SQLite would apply it to the next file
    }
    if (!m_isFile) {
        return {};
    }
    if (!DatabaseLock::isDatabase(path)) {
        m_file.emplace(folder, name, false);
        return m_file->outcome() == FileLock::Outcome::None ||
                       (m_file->outcome() == FileLock::Outcome::Taken && m_file->isAt(folder, name))
                   ? QString()
                   : QStringLiteral("other processes save it all the time");
    }
    // Locks of its own: some systems mix others up with them.
    m_database.emplace(path, deadline);
    if (m_database->isHeldByOthers()) {
        return inUse(m_database->reason());
    }
    return FileIdentity::of(folder.handle(), name.data()) == found
               ? QString()
               : QStringLiteral("other processes save it all the time");
}

} // namespace Cartolith::Core::Layers::Internal
