#pragma once

#include <QList>
#include <QString>

namespace Cartolith::Core::Layers::Internal {

/// What tells one state of a data source's files from the next: their sizes, times of writing and places on
/// the disk. Taken before the source is read. A source that is not a file is always in the same state.
class SourceState {
public:
    SourceState() = default;
    explicit SourceState(const QString& path);

    bool operator==(const SourceState&) const = default;
    /// Whether the first file lies in the same place, changed or not.
    bool isSameFile(const SourceState& other) const {
        return m_files.value(0).inode == other.m_files.value(0).inode;
    }

private:
    struct File {
        qint64 size;
        qint64 seconds;
        qint64 nanoseconds;
        quint64 inode;
        bool operator==(const File&) const = default;
    };
    QList<File> m_files;
};

} // namespace Cartolith::Core::Layers::Internal
