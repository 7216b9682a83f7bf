#include <Cartolith/Core/Common/BytesInternal.h>
#include <Cartolith/Core/Layers/Files/FolderInternal.h>

#include <QCryptographicHash>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace Cartolith::Core::Layers::Internal {

using Common::Internal::copyOf;

namespace {

int openFolder(int parent, const EntryName& name, int flags) noexcept {
    return ::openat(parent, name.data(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags);
}

/// A file that is open for reading. Not QFile, which asks for memory all the time and tells none from no
/// file.
class Reader {
public:
    Reader(const Folder& folder, const EntryName& name) noexcept
        : m_handle(::openat(folder.handle(), name.data(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)) {
        struct stat found {};
        m_isFile = m_handle >= 0 && ::fstat(m_handle, &found) == 0 && S_ISREG(found.st_mode);
        m_size = found.st_size;
    }
    ~Reader() {
        if (m_handle >= 0) {
            ::close(m_handle);
        }
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Not a pipe, of which the reading would wait.
    bool isFile() const { return m_isFile; }
    qint64 size() const { return m_size; }
    /// So many bytes, fewer at the end only; below 0 for an error.
    qint64 read(char* bytes, qint64 most) const noexcept {
        qint64 done = 0;
        while (done < most) {
            const ssize_t more = ::read(m_handle, bytes + done, static_cast<std::size_t>(most - done));
            if (more < 0 && errno != EINTR) {
                return more;
            }
            if (more == 0) {
                break;
            }
            done += std::max<ssize_t>(more, 0);
        }
        return done;
    }

private:
    int m_handle;
    bool m_isFile = false;
    qint64 m_size = 0;
};

/// Gives the names in an open folder to a function, without asking for memory as readdir() does. False when
/// they cannot be read.
template <typename Function>
bool forEachName(int folder, const Function& function) {
    // With a handle of its own: the place in the list belongs to what was opened.
    const int handle = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle < 0) {
        return false;
    }
    struct Close {
        int handle;
        ~Close() { ::close(handle); }
    } const close{handle};
    constexpr std::size_t room = 8192;
    alignas(dirent64) char entries[room];
    for (;;) {
        const ssize_t size = ::getdents64(handle, entries, room);
        if (size <= 0) {
            return size == 0;
        }
        for (ssize_t at = 0; at < size;) {
            const auto* const entry = reinterpret_cast<const dirent64*>(entries + at);
            at += entry->d_reclen;
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") {
                function(entry->d_name);
            }
        }
    }
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

Folder::Folder(const QString& path) : m_handle(openFolder(AT_FDCWD, path, 0)) {}

Folder::Folder(const Folder& parent, const EntryName& name) noexcept
    : m_handle(openFolder(parent.m_handle, name, O_NOFOLLOW)) {}

Folder::~Folder() {
    if (isOpen()) {
        ::close(m_handle);
    }
}

std::optional<struct stat> Folder::status() const noexcept {
    struct stat found {};
    return ::fstat(m_handle, &found) == 0 ? std::optional(found) : std::nullopt;
}

std::optional<struct stat> Folder::status(const EntryName& name) const noexcept {
    struct stat found {};
    return ::fstatat(m_handle, name.data(), &found, AT_SYMLINK_NOFOLLOW) == 0 ? std::optional(found)
                                                                              : std::nullopt;
}

bool Folder::isSame(const Folder& parent, const EntryName& name) const noexcept {
    const auto own = status();
    const auto other = parent.status(name);
    return own && other && own->st_dev == other->st_dev && own->st_ino == other->st_ino;
}

QStringList Folder::names() const {
    QStringList names;
    forEachName(m_handle, [&names](const char* name) {
        names.append(
            QFile::decodeName(QByteArray::fromRawData(name, static_cast<qsizetype>(std::strlen(name)))));
    });
    return names;
}

bool Folder::removeAllBut(const EntryName& kept) const noexcept {
    for (;;) {
        bool isMoving = false;
        bool isEmpty = true;
        const bool isRead = forEachName(m_handle, [&](const char* name) {
            if (std::strcmp(name, kept.data()) != 0) {
                const bool isGone = ::unlinkat(m_handle, name, 0) == 0;
                isMoving = isMoving || isGone;
                isEmpty = isEmpty && isGone;
            }
        });
        if (!isRead || !isMoving) { // some file systems leave names out while others go
            return isRead && isEmpty;
        }
    }
}

std::optional<QByteArray> Folder::read(const EntryName& name, qint64 most) const {
    const Reader file(*this, name);
    if (!file.isFile() || file.size() > most) {
        return std::nullopt;
    }
    QByteArray bytes(file.size(), Qt::Uninitialized);
    const qint64 size = file.read(bytes.data(), bytes.size());
    if (size < 0) {
        return std::nullopt;
    }
    bytes.truncate(size);
    return bytes;
}

bool Folder::write(const EntryName& name, const QByteArray& content) const noexcept {
    constexpr mode_t mode = S_IRUSR | S_IWUSR;
    const int handle = ::openat(m_handle, name.data(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (handle < 0) {
        return false;
    }
    if (::write(handle, content.constData(), static_cast<std::size_t>(content.size())) != content.size()) {
        ::close(handle);
        return false;
    }
    return syncAndClose(handle);
}

std::optional<QByteArray> Folder::checksum(const EntryName& name) const {
    const Reader file(*this, name);
    if (!file.isFile()) {
        return std::nullopt;
    }
    QCryptographicHash hash(QCryptographicHash::Blake2b_256);
    constexpr qint64 block = 1 << 16;
    const auto bytes = std::make_unique<char[]>(block);
    for (;;) {
        const qint64 size = file.read(bytes.get(), block);
        if (size <= 0) {
            return size == 0 ? std::optional(copyOf(hash.resultView()).toHex()) : std::nullopt;
        }
        hash.addData(QByteArrayView(bytes.get(), size));
    }
}

bool Folder::rename(const EntryName& name, const Folder& to, const EntryName& newName) const noexcept {
    return ::renameat(m_handle, name.data(), to.m_handle, newName.data()) == 0;
}

bool Folder::renameToNew(const EntryName& name, const Folder& to, const EntryName& newName) const noexcept {
    if (::renameat2(m_handle, name.data(), to.m_handle, newName.data(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    // Some file systems cannot do so, but have second names; others have neither.
    if (link(name, to, newName)) {
        remove(name);
        return true;
    }
    if (errno == EEXIST || to.status(newName)) {
        errno = EEXIST;
        return false;
    }
    return rename(name, to, newName);
}

bool Folder::link(const EntryName& name, const Folder& to, const EntryName& newName) const noexcept {
    return ::linkat(m_handle, name.data(), to.m_handle, newName.data(), 0) == 0;
}

bool Folder::remove(const EntryName& name) const noexcept {
    return ::unlinkat(m_handle, name.data(), 0) == 0;
}

bool Folder::removeFolder(const EntryName& name) const noexcept {
    return ::unlinkat(m_handle, name.data(), AT_REMOVEDIR) == 0;
}

bool Folder::sync() const noexcept {
    // Some file systems cannot do so for folders, and say that.
    return ::fsync(m_handle) == 0 || errno == EINVAL || errno == ENOTSUP;
}

bool Folder::syncFile(const EntryName& name) const noexcept {
    return syncAndClose(::openat(m_handle, name.data(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

} // namespace Cartolith::Core::Layers::Internal
