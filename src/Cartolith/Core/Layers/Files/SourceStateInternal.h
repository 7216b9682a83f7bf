#pragma once

#include <Cartolith/Core/Layers/Files/FileIdentityInternal.h>

#include <QList>
#include <QString>

#include <utility>

namespace Cartolith::Core::Layers::Internal {

/// What tells one state of a data source's files from the next: their sizes, times of writing and places on
/// the disk. Taken before the source is read. A source that is not a file is always in the same state.
class SourceState {
public:
    SourceState() = default;
    explicit SourceState(const QString& path);

    bool operator==(const SourceState& other) const { return m_files == other.m_files; }
    /// Whether the first file lies in the same place, changed or not.
    bool isSameFile(const SourceState& other) const {
        return m_files.value(0).identity == other.m_files.value(0).identity;
    }
    /// Whether not even something has changed between the two that was changed back.
    bool isSameMoment(const SourceState& other) const {
        return *this == other && m_changedAt == other.m_changedAt;
    }

private:
    struct File {
        qint64 size;
        qint64 seconds;
        qint64 nanoseconds;
        FileIdentity identity;
        bool operator==(const File&) const = default;
    };
    QList<File> m_files;
    QList<std::pair<qint64, qint64>> m_changedAt; ///< by the system's own book, renaming included
};

} // namespace Cartolith::Core::Layers::Internal
