#include <Cartolith/Core/Layers/Files/FileIdentityInternal.h>
#include <Cartolith/Core/Layers/Files/StagingFolderInternal.h>

#include <QFile>
#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <unistd.h>

namespace Cartolith::Core::Layers::Internal {

namespace {

constexpr int endingSize = 6;

QString beginningFor(const QString& fileName) {
    return QStringLiteral(".%1.saving-").arg(fileName);
}

/// What the lock says: the folder that it was made in, of which a copy is another one.
QByteArray lockContentFor(const Folder& folder) {
    const auto status = folder.status();
    return status ? QByteArray::number(quint64{status->st_dev}) + ' ' +
                        QByteArray::number(quint64{status->st_ino}) + '\n'
                  : QByteArray();
}

} // namespace

FileLock::FileLock(const Folder& folder, const EntryName& name, bool isNew) noexcept {
    const auto open = [&](int flags) {
        return ::openat(folder.handle(), name.data(), flags | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK,
                        S_IRUSR | S_IWUSR);
    };
    m_handle = open(isNew ? O_RDWR | O_CREAT | O_EXCL : O_RDWR);
    if (m_handle < 0 && !isNew) { // what cannot be written to can still be locked on most file systems
        m_handle = open(O_RDONLY);
    }
    if (m_handle >= 0 && ::flock(m_handle, LOCK_EX | LOCK_NB) == 0) {
        m_outcome = Outcome::Taken;
    } else if (m_handle >= 0 && errno == EWOULDBLOCK) {
        m_outcome = Outcome::Held;
    }
}

FileLock::~FileLock() {
    if (m_handle >= 0) {
        ::close(m_handle);
    }
}

bool FileLock::isThere() const {
    struct stat found {};
    return m_handle >= 0 && ::fstat(m_handle, &found) == 0 && found.st_nlink > 0;
}

bool FileLock::isAt(const Folder& folder, const EntryName& name) const noexcept {
    const auto own = FileIdentity::of(m_handle);
    return own && own == FileIdentity::of(folder.handle(), name.data());
}

bool FileLock::write(const QByteArray& content) const {
    return ::write(m_handle, content.constData(), static_cast<std::size_t>(content.size())) == content.size();
}

StagingFolder::StagingFolder(const Folder& parent, const QString& fileName)
    : m_parent(parent), m_fileName(fileName), m_lockName(lockNameFor(fileName)) {
    // Before it is locked, another process may take it for litter.
    constexpr int most = 100;
    for (int attempt = 0; attempt < most; ++attempt) {
        try {
            if (make()) {
                return;
            }
        } catch (...) {
            takeBack();
            throw;
        }
        const int error = errno;
        const bool isMade = m_folder.has_value();
        const bool isTaken = m_lock && m_lock->isOpen() &&
                             (m_lock->outcome() == FileLock::Outcome::Held || !m_lock->isThere());
        const bool isLost = isMade && (isTaken || error == ENOENT);
        takeBack();
        if (!isLost) {
            errno = error;
            throw std::runtime_error(lastSystemError().toStdString());
        }
    }
    throw std::runtime_error("its hidden folder is removed by another process");
}

bool StagingFolder::make() {
    m_name = newNameFor(m_fileName);
    m_firstName = m_name;
    m_litterName = newNameFor(m_fileName);
    m_currentName = m_firstName;
    if (::mkdirat(m_parent.handle(), m_firstName.data(), S_IRWXU) != 0) {
        return false;
    }
    m_folder.emplace(m_parent, m_firstName);
    if (!m_folder->isOpen()) {
        return false;
    }
    m_lock.emplace(*m_folder, m_lockName, true);
    // Where nothing can be locked, nobody takes it for litter either.
    return m_lock->isThere() && m_lock->outcome() != FileLock::Outcome::Held &&
           m_lock->write(lockContentFor(*m_folder));
}

void StagingFolder::takeBack() noexcept {
    const bool isMade = m_folder.has_value();
    m_lock.reset();
    m_folder.reset();
    if (isMade) {
        remove(m_parent, m_firstName, m_lockName);
    }
}

StagingFolder::~StagingFolder() {
    if (!m_isLeft) {
        // Half removed under another name, it could not be told what it is.
        if (m_isMarked) {
            discard();
        }
        remove(m_parent, m_currentName, m_lockName);
    }
}

QStringList StagingFolder::files() const {
    QStringList names = m_folder->names();
    names.removeAll(lockNameFor(m_fileName));
    return names;
}

bool StagingFolder::rename(const EntryName& name, bool isMark) noexcept {
    if (!m_parent.rename(m_currentName, m_parent, name)) {
        return false;
    }
    m_currentName = name;
    m_isMarked = isMark;
    return true;
}

QString StagingFolder::lockNameFor(const QString& fileName) {
    return fileName + QStringLiteral(".lock");
}

QString StagingFolder::newNameFor(const QString& fileName) {
    QString name = beginningFor(fileName);
    for (int i = 0; i < endingSize; ++i) {
        name += QLatin1Char(static_cast<char>('a' + QRandomGenerator::system()->bounded('z' - 'a' + 1)));
    }
    return name;
}

bool StagingFolder::isPrivate(const Folder& folder) {
    const auto status = folder.status();
    return status && status->st_uid == ::geteuid() && (status->st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

void StagingFolder::removeAbandoned(const Folder& parent, const QString& fileName) {
    const QString beginning = beginningFor(fileName);
    for (const QString& name : parent.names()) {
        if (!name.startsWith(beginning) || name.size() != beginning.size() + endingSize) {
            continue;
        }
        const Folder folder(parent, name);
        if (!folder.isOpen() || !isPrivate(folder)) {
            continue;
        }
        const QString lockName = lockNameFor(fileName);
        const FileLock lock(folder, lockName, false);
        if (!lock.isOpen()) {
            parent.removeFolder(name); // which works while there is nothing in it
        } else if (lock.outcome() == FileLock::Outcome::Taken && lock.isThere()) {
            const auto content = folder.read(lockName, 64);
            const bool isOurs = content == lockContentFor(folder);
            if (isOurs || (content == QByteArray() && folder.names() == QStringList(lockName))) {
                remove(parent, name, lockName);
            }
        }
    }
}

void StagingFolder::remove(const Folder& parent, const EntryName& name, const EntryName& lockName) noexcept {
    const Folder folder(parent, name);
    // Without the lock, nobody could tell what the rest is.
    const bool isEmpty = !folder.isOpen() || (folder.removeAllBut(lockName) && folder.remove(lockName));
    if (isEmpty) {
        parent.removeFolder(name);
    }
}

} // namespace Cartolith::Core::Layers::Internal
