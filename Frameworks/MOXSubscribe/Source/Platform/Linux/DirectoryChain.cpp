#include "Platform/Linux/DirectoryChain.hpp"

#include <fcntl.h>
#include <utility>

namespace mox {
namespace {

constexpr int directoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;

/// How many directories stay open, the innermost ones; those above are opened again on the way back.
constexpr std::size_t mostOpenDirectories = 16;

ErrorNumber look(SystemCalls& system, const Descriptor& directory, struct ::statx& status) {
    return errorNumberOf(
        system.statx(directory.number(), "", AT_EMPTY_PATH, STATX_TYPE | STATX_MODE | STATX_INO, &status));
}

} // namespace

ErrorNumber DirectoryChain::enter(const char* path) {
    Descriptor directory(_system, descriptor(), path, directoryFlags);
    if (directory.openError() != 0) return directory.openError();
    struct ::statx status = {};
    if (const ErrorNumber error = look(_system, directory, status)) return error;
    const Identity identity = {status.stx_dev_major, status.stx_dev_minor, status.stx_ino};
    bool isMountPoint = (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    if ((status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) == 0 && !_links.empty()) {
        // A system too old to tell can still tell devices apart.
        const Identity& parent = _links.back().identity;
        isMountPoint =
            parent.deviceMajor != identity.deviceMajor || parent.deviceMinor != identity.deviceMinor;
    }
    _links.push_back({std::move(directory), identity, status.stx_mode, isMountPoint});
    if (_links.size() > mostOpenDirectories) {
        _links[_links.size() - 1 - mostOpenDirectories].descriptor.close();
    }
    return 0;
}

ErrorNumber DirectoryChain::leave() {
    if (_links.size() > 1) {
        Link& parent = _links[_links.size() - 2];
        if (parent.descriptor.number() < 0) {
            Descriptor directory(_system, descriptor(), "..", directoryFlags);
            if (directory.openError() != 0) return directory.openError();
            struct ::statx status = {};
            if (const ErrorNumber error = look(_system, directory, status)) return error;
            if (parent.identity != Identity{status.stx_dev_major, status.stx_dev_minor, status.stx_ino})
                return ESTALE;
            parent.descriptor = std::move(directory);
        }
    }
    _links.pop_back();
    return 0;
}

bool DirectoryChain::isAtBeginningOf(const DirectoryChain& other) const {
    return !_links.empty() && !other._links.empty() &&
           _links.back().identity == other._links.front().identity;
}

} // namespace mox
