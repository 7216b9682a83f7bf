#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QStringList>

#include <optional>
#include <sys/stat.h>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

/// The name of an entry as the system wants it. To make one takes memory, to use it does not: what has to
/// work when there is none is named beforehand.
class EntryName {
public:
    EntryName() = default;
    // NOLINTNEXTLINE(google-explicit-constructor)
    EntryName(const QString& name) : m_encoded(QFile::encodeName(name)) {}

    const char* data() const noexcept { return m_encoded.constData(); }

private:
    QByteArray m_encoded;
};

/// A folder that is held open, so that its entries are the same whatever it is called meanwhile.
///
/// Entries are looked at and changed by name, links are never followed. Everything is false, empty or none
/// when it fails, for the reason that errno gives. Only what returns a list or bytes asks for memory, and
/// throws std::bad_alloc without it.
class Folder {
public:
    /// The folder at a path, through links.
    explicit Folder(const QString& path);
    /// The entry of another, unless it is a link or no folder.
    Folder(const Folder& parent, const EntryName& name) noexcept;
    ~Folder();
    Folder(Folder&& other) noexcept : m_handle(std::exchange(other.m_handle, -1)) {}
    Folder& operator=(Folder&& other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }

    bool isOpen() const { return m_handle >= 0; }
    /// For openat(2) and the like.
    int handle() const { return m_handle; }
    /// About the folder itself.
    std::optional<struct stat> status() const noexcept;
    std::optional<struct stat> status(const EntryName& name) const noexcept;
    /// Whether an entry is this very folder.
    bool isSame(const Folder& parent, const EntryName& name) const noexcept;
    QStringList names() const;
    /// Removes every file in it but this one. False when something stays.
    bool removeAllBut(const EntryName& kept) const noexcept;

    std::optional<QByteArray> read(const EntryName& name, qint64 most) const;
    /// A new file with that content.
    bool write(const EntryName& name, const QByteArray& content) const noexcept;
    /// A number for the content of a file, by which a changed one is known.
    std::optional<QByteArray> checksum(const EntryName& name) const;

    bool rename(const EntryName& name, const Folder& to, const EntryName& newName) const noexcept;
    /// The same where there is nothing of the new name; else false for EEXIST.
    bool renameToNew(const EntryName& name, const Folder& to, const EntryName& newName) const noexcept;
    /// Another name for a file.
    bool link(const EntryName& name, const Folder& to, const EntryName& newName) const noexcept;
    bool remove(const EntryName& name) const noexcept;
    bool removeFolder(const EntryName& name) const noexcept;
    /// Has the entries of the folder reach the disk.
    bool sync() const noexcept;
    bool syncFile(const EntryName& name) const noexcept;

private:
    int m_handle = -1;
};

/// What the operating system says of the last failure.
QString lastSystemError();

} // namespace Cartolith::Core::Layers::Internal
