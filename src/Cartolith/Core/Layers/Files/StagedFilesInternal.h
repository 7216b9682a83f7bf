#pragma once

#include <Cartolith/Core/Layers/Files/FolderInternal.h>
#include <Cartolith/Core/Layers/Files/SourceStateInternal.h>

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>

namespace Cartolith::Core::Layers::Internal {

class FileHold;
class Replacement;
class StagingFolder;

/// The new files are in place, but may not outlast a power failure.
class PublishedUnsafely : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    SourceState state; ///< the one that publish() would have given
};

/// New files for a data source: made aside, in a hidden folder beside it, and put in place together.
///
/// One file replaces another in one step. Of a family of files, no step replaces all; so while they go to
/// their places one by one, the hidden folder has a name that says so, and keeps the old ones. Whoever opens
/// the source calls Settling::settle() first.
///
/// Errors are std::runtime_error that name the source.
class StagedFiles {
public:
    /// A source that is a symbolic link is replaced where it points to; one of several files only when all
    /// are links to files of one name. The family is that of a format: suffixes of files that go when there
    /// is no new one. Files that are there keep the case of their suffix. Waits so long for another process
    /// that saves the same source.
    StagedFiles(const QString& path, const QStringList& family, std::chrono::milliseconds wait);
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
    /// Puts everything in place, with the group and the access rights of what was there. The check is called
    /// when no other save can come between, and throws to prevent it. When this fails, the old files are in
    /// place, or will be when the source is opened again. Gives the state of these very files.
    SourceState publish(const std::function<void()>& check);

    /// Has a file that was put in place, and its place, reach the disk. \throws std::runtime_error
    static void sync(const QString& path);

private:
    [[noreturn]] void fail(const QString& reason) const;
    [[noreturn]] void failInPlace() const;
    void requireSettled(std::chrono::steady_clock::time_point deadline) const;
    QString nameOf(const QString& suffix) const;
    QString stagedPath(const QString& name) const;
    void takeRights(const QString& name) const;
    std::unique_ptr<FileHold> hold(std::chrono::steady_clock::time_point deadline) const;
    void publishOne(const std::function<void()>& check);
    void publishFamily(const std::function<void()>& check);
    Replacement begin(const EntryName& mark);
    [[noreturn]] void undo(const Replacement& replacement, int error);

    QString m_given;
    QString m_path;
    QString m_fileName;
    QStringList m_family;
    std::chrono::milliseconds m_wait;
    bool m_isLinked = false;
    Folder m_place;
    std::unique_ptr<StagingFolder> m_staging;
};

} // namespace Cartolith::Core::Layers::Internal
