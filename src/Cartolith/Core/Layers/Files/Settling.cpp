#include <Cartolith/Core/Layers/Files/ReplacementInternal.h>
#include <Cartolith/Core/Layers/Files/SettlingInternal.h>
#include <Cartolith/Core/Layers/Files/SourceMembersInternal.h>
#include <Cartolith/Core/Layers/Files/SourcePathInternal.h>
#include <Cartolith/Core/Layers/Files/StagingFolderInternal.h>
#include <Cartolith/Core/Layers/Ogr/OgrFormatInternal.h>

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <thread>
#include <unistd.h>

namespace Cartolith::Core::Layers::Internal {

void waitAMoment() {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

QString Settling::folderNameFor(const QString& fileName) {
    return QStringLiteral(".%1.saved").arg(fileName);
}

QString Settling::fileNameOf(const QString& folderName) {
    const QString name = folderName.mid(1).chopped(folderName.endsWith(QLatin1String(".saved")) ? 6 : 0);
    return !folderName.isEmpty() && folderName == folderNameFor(name) ? name : QString();
}

QString Settling::manifestNameFor(const QString& fileName) {
    return fileName + QStringLiteral(".manifest");
}

Settling::Settling(const QString& path, bool mayWrite)
    : m_path(path), m_fileName(QFileInfo(path).fileName()), m_folderName(folderNameFor(m_fileName)),
      m_place(QFileInfo(path).path()), m_mayWrite(mayWrite) {}

/// Whoever has put a file in place owns it. Files that can be missing are not asked: anybody can add them.
bool Settling::hasMemberOf(unsigned int user) const {
    const OgrFormat* const format = OgrFormat::forPath(m_path);
    const QStringList names =
        format != nullptr ? membersOf(m_path, format->suffixes + format->needed) : QStringList();
    return std::any_of(names.begin(), names.end(), [&](const QString& name) {
        const auto found = m_place.status(name);
        return found && found->st_uid == user;
    });
}

Settling::Obstacle Settling::look() const {
    const auto found = m_place.status(m_folderName);
    if (!found || !S_ISDIR(found->st_mode)) {
        return {};
    }
    const Folder staged(m_place, m_folderName);
    // A folder of that name with neither was made by somebody else for something else.
    const QString lockName = StagingFolder::lockNameFor(m_fileName);
    const bool isOfASave =
        staged.isOpen() && (staged.status(lockName) || staged.status(manifestNameFor(m_fileName)));
    if (found->st_uid != ::geteuid()) {
        const bool concerns = (isOfASave || !staged.isOpen()) && hasMemberOf(found->st_uid);
        return {concerns ? QStringLiteral("another user is saving it, or was interrupted at that and has to "
                                          "open it again: '%1' is there")
                               .arg(m_folderName)
                         : QString()};
    }
    if (!isOfASave) {
        return {};
    }
    const FileLock lock(staged, lockName, false);
    if (lock.outcome() == FileLock::Outcome::Held || !staged.isSame(m_place, m_folderName)) {
        return {QStringLiteral("it is being saved by another process")};
    }
    const QString objection = lock.outcome() == FileLock::Outcome::Taken
                                  ? putBack(staged)
                                  : QStringLiteral("nothing can be locked there");
    return objection.isEmpty()
               ? Obstacle()
               : Obstacle{QStringLiteral("saving it was interrupted, and the old files in '%1' cannot be put "
                                         "back: %2")
                              .arg(m_folderName, objection),
                          true};
}

/// Gives the reason why not.
QString Settling::putBack(const Folder& staged) const {
    if (!StagingFolder::isPrivate(staged)) {
        return QStringLiteral("others can write to it");
    }
    const QString manifest = manifestNameFor(m_fileName);
    const auto replacement = Replacement::read(staged, manifest);
    if (!replacement) {
        return QStringLiteral("it is a copy, or damaged");
    }
    QString objection = replacement->objection(
        m_place, staged, QStringList(manifest) << StagingFolder::lockNameFor(m_fileName));
    if (!objection.isEmpty()) {
        return objection;
    }
    if (!m_mayWrite) {
        return replacement->isUndone(m_place)
                   ? QString()
                   : QStringLiteral("that is not done through a link, open '%1'").arg(m_path);
    }
    if (!replacement->undo(m_place, staged)) {
        return lastSystemError();
    }
    // Should any of this fail, the folder says the same as before, and the old files are in place.
    const QString litter = StagingFolder::newNameFor(m_fileName);
    if (m_place.sync() && m_place.rename(m_folderName, m_place, litter) && m_place.sync()) {
        StagingFolder::remove(m_place, litter, StagingFolder::lockNameFor(m_fileName));
    }
    return {};
}

QString Settling::obstacle(std::chrono::steady_clock::time_point deadline) const {
    for (;;) {
        const Obstacle found = look();
        if (found.reason.isEmpty() || found.isLasting || std::chrono::steady_clock::now() >= deadline) {
            return found.reason;
        }
        waitAMoment();
    }
}

QString Settling::settle(const QString& given, std::chrono::milliseconds wait) {
    const QString path = resolvedPath(given);
    const QFileInfo info(path);
    if (info.isDir()) {
        return settleFolder(path, wait);
    }
    const OgrFormat* const format = OgrFormat::forPath(path);
    const Folder place(info.path());
    if (!place.isOpen() || (format == nullptr && !info.isFile())) {
        return {};
    }
    const bool mayWrite = !QFileInfo(given).isSymLink();
    if (mayWrite) {
        StagingFolder::removeAbandoned(place, info.fileName());
    }
    return format != nullptr && !format->family.isEmpty()
               ? Settling(path, mayWrite).obstacle(std::chrono::steady_clock::now() + wait)
               : QString();
}

QString Settling::settleFolder(const QString& path, std::chrono::milliseconds wait) {
    const auto deadline = std::chrono::steady_clock::now() + wait;
    for (const QString& name : Folder(path).names()) {
        const QString fileName = Settling::fileNameOf(name);
        const OgrFormat* const format = fileName.isEmpty() ? nullptr : OgrFormat::forPath(fileName);
        if (format != nullptr && !format->family.isEmpty()) {
            QString obstacle = Settling(QDir(path).filePath(fileName), true).obstacle(deadline);
            if (!obstacle.isEmpty()) {
                return obstacle;
            }
        }
    }
    return {};
}

} // namespace Cartolith::Core::Layers::Internal
