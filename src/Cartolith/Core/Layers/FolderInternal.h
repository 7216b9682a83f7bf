#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>
#include <sys/stat.h>
#include <utility>

namespace Cartolith::Core::Layers::Internal {

/// A folder that is held open, so that its entries are the same whatever it is called meanwhile.
///
/// Entries are looked at and changed by name, links are never followed. Everything is false, empty or none
/// when it fails, for the reason that errno gives.
class Folder {
public:
    /// The folder at a path, through links.
    explicit Folder(const QString& path);
    /// The entry of another, unless it is a link or no folder.
    Folder(const Folder& parent, const QString& name);
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
    std::optional<struct stat> status() const;
    std::optional<struct stat> status(const QString& name) const;
    /// Whether an entry is this very folder.
    bool isSame(const Folder& parent, const QString& name) const;
    QStringList names() const;

    std::optional<QByteArray> read(const QString& name, qint64 most) const;
    /// A new file with that content.
    bool write(const QString& name, const QByteArray& content) const;
    /// A number for the content of a file, by which a changed one is known.
    std::optional<QByteArray> checksum(const QString& name) const;

    bool rename(const QString& name, const Folder& to, const QString& newName) const;
    /// Another name for a file.
    bool link(const QString& name, const Folder& to, const QString& newName) const;
    bool remove(const QString& name) const;
    bool removeFolder(const QString& name) const;
    /// Has the entries of the folder reach the disk.
    bool sync() const;
    bool syncFile(const QString& name) const;

private:
    int m_handle = -1;
};

/// What the operating system says of the last failure.
QString lastSystemError();

} // namespace Cartolith::Core::Layers::Internal
