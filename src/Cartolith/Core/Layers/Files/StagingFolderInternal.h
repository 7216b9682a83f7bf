#pragma once

#include <Cartolith/Core/Layers/Files/FolderInternal.h>

#include <QString>

#include <optional>

namespace Cartolith::Core::Layers::Internal {

/// A lock that the system gives back when the process ends, however it ends.
class FileLock {
public:
    enum class Outcome {
        Taken,
        Held, ///< by another
        None, ///< there is no such file, or nothing can be locked there
    };

    /// On a file of that name, or on a new one. Does not wait.
    FileLock(const Folder& folder, const EntryName& name, bool isNew) noexcept;
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    Outcome outcome() const { return m_outcome; }
    bool isOpen() const { return m_handle >= 0; }
    /// Whether the file still has its name.
    bool isThere() const;
    /// Whether it is the one of a name.
    bool isAt(const Folder& folder, const EntryName& name) const noexcept;
    bool write(const QByteArray& content) const;

private:
    int m_handle;
    Outcome m_outcome = Outcome::None;
};

/// The hidden folder beside a file in which a save keeps what is not in place yet, or not any more. Nobody
/// else may look into it, and it is locked for as long as the process works on it.
class StagingFolder {
public:
    /// \throws std::runtime_error with the reason
    StagingFolder(const Folder& parent, const QString& fileName);
    /// Removes it with all that is in it, unless it was left.
    ~StagingFolder();
    StagingFolder(const StagingFolder&) = delete;
    StagingFolder& operator=(const StagingFolder&) = delete;

    const Folder& folder() const { return *m_folder; }
    /// The one it was made with.
    const QString& name() const { return m_name; }
    /// The files in it, but for the lock.
    QStringList files() const;
    /// Has the folder be called something else, until unmark() or discard().
    bool mark(const EntryName& name) noexcept { return rename(name, true); }
    bool unmark() noexcept { return rename(m_firstName, false); }
    /// From now on it is litter, under another name that nobody can foresee.
    bool discard() noexcept { return rename(m_litterName, false); }
    /// Has it stay when this object goes.
    void leave() { m_isLeft = true; }

    static QString lockNameFor(const QString& fileName);
    /// A name for such a folder that nobody can foresee.
    static QString newNameFor(const QString& fileName);
    /// Removes those of processes that are gone, as far as they are this user's and lie where they were made.
    static void removeAbandoned(const Folder& parent, const QString& fileName);
    /// Removes a folder with the files in it, the lock last.
    static void remove(const Folder& parent, const EntryName& name, const EntryName& lockName) noexcept;
    /// Whether nobody else can have put anything into it.
    static bool isPrivate(const Folder& folder);

private:
    bool make();
    bool rename(const EntryName& name, bool isMark) noexcept;
    void takeBack() noexcept;

    const Folder& m_parent;
    QString m_fileName;
    QString m_name;
    // Made beforehand: what is left is removed without asking for memory.
    EntryName m_lockName;
    EntryName m_firstName;
    EntryName m_litterName;
    EntryName m_currentName;
    std::optional<Folder> m_folder;
    std::optional<FileLock> m_lock;
    bool m_isMarked = false;
    bool m_isLeft = false;
};

} // namespace Cartolith::Core::Layers::Internal
