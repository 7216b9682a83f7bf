#include <Cartolith/Core/Layers/FolderInternal.h>

#include <QCryptographicHash>
#include <QFile>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace Cartolith::Core::Layers::Internal {

namespace {

int openFolder(int parent, const QByteArray& name, int flags) {
    return ::openat(parent, name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags);
}

/// Open for reading; not for a pipe, of which the opening would wait.
bool openToRead(const Folder& folder, const QString& name, QFile& file) {
    const int handle = ::openat(folder.handle(), QFile::encodeName(name).constData(),
                                O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (handle < 0) {
        return false;
    }
    struct stat found {};
    if (::fstat(handle, &found) == 0 && S_ISREG(found.st_mode) &&
        file.open(handle, QIODevice::ReadOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle)) {
        return true;
    }
    ::close(handle);
    return false;
}

bool syncAndClose(int handle) {
    if (handle < 0) {
        return false;
    }
    const bool done = ::fsync(handle) == 0;
    const int reason = errno;
    ::close(handle);
    errno = reason;
    return done;
}

} // namespace

QString lastSystemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

Folder::Folder(const QString& path) : m_handle(openFolder(AT_FDCWD, QFile::encodeName(path), 0)) {}

Folder::Folder(const Folder& parent, const QString& name)
    : m_handle(openFolder(parent.m_handle, QFile::encodeName(name), O_NOFOLLOW)) {}

Folder::~Folder() {
    if (isOpen()) {
        ::close(m_handle);
    }
}

std::optional<struct stat> Folder::status() const {
    struct stat found {};
    return ::fstat(m_handle, &found) == 0 ? std::optional(found) : std::nullopt;
}

std::optional<struct stat> Folder::status(const QString& name) const {
    struct stat found {};
    const QByteArray encoded = QFile::encodeName(name);
    return ::fstatat(m_handle, encoded.constData(), &found, AT_SYMLINK_NOFOLLOW) == 0 ? std::optional(found)
                                                                                      : std::nullopt;
}

bool Folder::isSame(const Folder& parent, const QString& name) const {
    const auto own = status();
    const auto other = parent.status(name);
    return own && other && own->st_dev == other->st_dev && own->st_ino == other->st_ino;
}

QStringList Folder::names() const {
    // With a handle of its own: the place in the list belongs to what was opened.
    const int handle = openFolder(m_handle, ".", 0);
    const std::unique_ptr<DIR, int (*)(DIR*)> list(handle >= 0 ? ::fdopendir(handle) : nullptr, ::closedir);
    QStringList names;
    while (list != nullptr) {
        const dirent* const entry = ::readdir(list.get());
        if (entry == nullptr) {
            break;
        }
        const QByteArray name(entry->d_name);
        if (name != "." && name != "..") {
            names.append(QFile::decodeName(name));
        }
    }
    return names;
}

std::optional<QByteArray> Folder::read(const QString& name, qint64 most) const {
    QFile file;
    if (!openToRead(*this, name, file) || file.size() > most) {
        return std::nullopt;
    }
    return file.read(most);
}

bool Folder::write(const QString& name, const QByteArray& content) const {
    constexpr mode_t mode = S_IRUSR | S_IWUSR;
    const int handle = ::openat(m_handle, QFile::encodeName(name).constData(),
                                O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (handle < 0) {
        return false;
    }
    if (::write(handle, content.constData(), static_cast<std::size_t>(content.size())) != content.size()) {
        ::close(handle);
        return false;
    }
    return syncAndClose(handle);
}

std::optional<QByteArray> Folder::checksum(const QString& name) const {
    QFile file;
    QCryptographicHash hash(QCryptographicHash::Blake2b_256);
    if (!openToRead(*this, name, file)) {
        return std::nullopt;
    }
    constexpr qint64 block = 1 << 20;
    for (QByteArray bytes = file.read(block); !bytes.isEmpty(); bytes = file.read(block)) {
        hash.addData(bytes);
    }
    return file.error() == QFileDevice::NoError ? std::optional(hash.result().toHex()) : std::nullopt;
}

bool Folder::rename(const QString& name, const Folder& to, const QString& newName) const {
    return ::renameat(m_handle, QFile::encodeName(name).constData(), to.m_handle,
                      QFile::encodeName(newName).constData()) == 0;
}

bool Folder::link(const QString& name, const Folder& to, const QString& newName) const {
    return ::linkat(m_handle, QFile::encodeName(name).constData(), to.m_handle,
                    QFile::encodeName(newName).constData(), 0) == 0;
}

bool Folder::remove(const QString& name) const {
    return ::unlinkat(m_handle, QFile::encodeName(name).constData(), 0) == 0;
}

bool Folder::removeFolder(const QString& name) const {
    return ::unlinkat(m_handle, QFile::encodeName(name).constData(), AT_REMOVEDIR) == 0;
}

bool Folder::sync() const {
    // Some file systems cannot do so for folders, and say that.
    return ::fsync(m_handle) == 0 || errno == EINVAL || errno == ENOTSUP;
}

bool Folder::syncFile(const QString& name) const {
    return syncAndClose(::openat(m_handle, QFile::encodeName(name).constData(),
                                 O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

} // namespace Cartolith::Core::Layers::Internal
