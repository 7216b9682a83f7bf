#pragma once

#include <Cartolith/Core/Layers/SourceStateInternal.h>

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

namespace Cartolith::Core::Layers::Internal {

/// New files for a data source: made aside, in a hidden folder beside it, and put in place together.
///
/// One file replaces another in one step. Of a family of files, no step replaces all; so the hidden folder
/// gets a name that says it is complete, and then its files go to their places one by one. Whoever opens the
/// source calls finishInterrupted() first, which does what a killed process had left to do.
///
/// Errors are std::runtime_error that name the source.
class StagedFiles {
public:
    /// A source that is a symbolic link is replaced where it points to; one of several files only when all
    /// are links to files of one name. The family is that of a format: suffixes of files that go when there
    /// is no new one. Files that are there keep the case of their suffix.
    StagedFiles(const QString& path, const QStringList& family);
    /// Removes whatever is not in place.
    ~StagedFiles();
    StagedFiles(const StagedFiles&) = delete;
    StagedFiles& operator=(const StagedFiles&) = delete;

    /// Where the new file with that suffix is to be written.
    QString pathOf(const QString& suffix) const;
    /// Writes one, and sees to it that every byte has reached the disk.
    void write(const QString& suffix, const char* bytes, qint64 size) const;
    /// Has the old file with that suffix stay as it is. False when there is none.
    bool keep(const QString& suffix) const;
    /// Puts everything in place, and takes the access rights over from what was there. Gives the state of
    /// these very files.
    SourceState publish();

    /// \throws std::runtime_error for what is there and is not a file, or is a protected one
    static void requireWritable(const QString& path, const QStringList& family = {});
    /// Does nothing when there is nothing left to do, and nothing to files that do not belong to the source.
    /// A file that was written to since is not replaced: that is an error.
    static void finishInterrupted(const QString& given);

private:
    QString m_path;
    QString m_folder;
    QStringList m_family;
    bool m_isLinked = false;
    std::unique_ptr<QTemporaryDir> m_staging;
};

} // namespace Cartolith::Core::Layers::Internal
