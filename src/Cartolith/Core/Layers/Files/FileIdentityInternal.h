#pragma once

#include <QtGlobal>

#include <optional>

namespace Cartolith::Core::Layers::Internal {

/// Which file it is, whatever it is called and holds. A system gives the number of a file that is gone to
/// another, which was made later.
struct FileIdentity {
    quint64 device = 0;
    quint64 inode = 0;
    qint64 madeSeconds = 0; ///< both 0 where the file system does not know
    qint64 madeNanoseconds = 0;

    bool operator==(const FileIdentity&) const = default;

    /// What a name in a folder stands for, a link being one; AT_FDCWD is the working folder. None when there
    /// is nothing. Asks for no memory.
    static std::optional<FileIdentity> of(int folder, const char* name) noexcept;
    /// The same of what a link points to.
    static std::optional<FileIdentity> ofTarget(const char* path) noexcept;
    /// Of what is open.
    static std::optional<FileIdentity> of(int handle) noexcept;
};

} // namespace Cartolith::Core::Layers::Internal
