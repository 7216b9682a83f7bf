#include <Cartolith/Core/Layers/Files/FileIdentityInternal.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace Cartolith::Core::Layers::Internal {

namespace {

std::optional<FileIdentity> identityAt(int folder, const char* name, int flags) noexcept {
    struct statx found {};
    if (::statx(folder, name, flags, STATX_INO | STATX_BTIME, &found) != 0) {
        return std::nullopt;
    }
    const bool isMadeKnown = (found.stx_mask & STATX_BTIME) != 0;
    return FileIdentity{makedev(found.stx_dev_major, found.stx_dev_minor), found.stx_ino,
                        isMadeKnown ? found.stx_btime.tv_sec : 0, isMadeKnown ? found.stx_btime.tv_nsec : 0};
}

} // namespace

std::optional<FileIdentity> FileIdentity::of(int folder, const char* name) noexcept {
    return identityAt(folder, name, AT_SYMLINK_NOFOLLOW);
}

std::optional<FileIdentity> FileIdentity::ofTarget(const char* path) noexcept {
    return identityAt(AT_FDCWD, path, 0);
}

std::optional<FileIdentity> FileIdentity::of(int handle) noexcept {
    return identityAt(handle, "", AT_EMPTY_PATH);
}

} // namespace Cartolith::Core::Layers::Internal
