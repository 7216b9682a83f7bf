#pragma once

#include <Cartolith/Core/Layers/Files/FolderInternal.h>

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace Cartolith::Core::Layers::Internal {

/// The files that one save replaces, removes and adds in a folder: which they are, and which are to come.
///
/// The new files wait in a staging folder under their own names; the old ones stay there, with another
/// ending, until the last new one is in its place. A manifest in that folder says all this, so that any
/// process can tell how far it went, and put the old files back.
class Replacement {
public:
    /// Of the files with these names, those in the staging folder are the new ones. The old ones get a second
    /// name there; where the file system has no second names, they get it when they are replaced.
    /// None when a file cannot be read.
    static std::optional<Replacement> prepare(const Folder& place, const Folder& staged,
                                              const QStringList& names);
    /// Takes the second names back.
    static void forget(const Folder& staged, const QStringList& names);

    bool write(const Folder& staged, const QString& manifest) const;
    /// None when there is no whole one, or it is not that of this very folder.
    static std::optional<Replacement> read(const Folder& staged, const QString& manifest);

    /// Whether the files in place are the old ones, as they were.
    bool isUndone(const Folder& place) const noexcept;
    /// What speaks against putting the old files back, as the end of a sentence; empty when nothing does.
    /// Beside those in `others` there is nothing in the staging folder but these files.
    QString objection(const Folder& place, const Folder& staged, const QStringList& others) const;

    /// Puts the new files in place. May stop halfway, though not for want of memory, of which it needs none.
    bool apply(const Folder& place, const Folder& staged) const noexcept;
    /// Puts the old files in place, from any point; so it can be repeated. Needs no memory either.
    bool undo(const Folder& place, const Folder& staged) const noexcept;

private:
    /// One state of a file.
    struct Version {
        quint64 device = 0;
        quint64 inode = 0;
        quint64 owner = 0;
        qint64 size = 0;
        qint64 writtenAt = 0; ///< nanoseconds since 1970, as many bits of them as there are
        QByteArray checksum;

        /// But for the content, which takes reading.
        bool isAt(const Folder& folder, const EntryName& name) const noexcept;
        bool isWholeAt(const Folder& folder, const EntryName& name) const;
    };
    struct Member {
        explicit Member(const QString& called);

        QString name;
        EntryName entry;
        EntryName oldEntry; ///< of the one that is kept
        std::optional<Version> before;
        std::optional<Version> after;
    };

    static std::optional<Version> versionOf(const Folder& folder, const EntryName& name);
    /// Of a line of the manifest.
    static std::optional<Version> versionFrom(const QList<QByteArray>& words);

    QList<Member> m_members;
};

} // namespace Cartolith::Core::Layers::Internal
