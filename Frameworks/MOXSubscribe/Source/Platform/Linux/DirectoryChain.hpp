#pragma once

#include "Platform/Linux/FileOperations.hpp"

#include <cstdint>
#include <vector>

namespace mox {

/// The directories from a folder down to the one in which a walk through a tree is, for calls that are
/// relative to it. Links are never followed, and however deep the tree, only a few descriptors are open.
class DirectoryChain {
public:
    /// Begins at `folder`, a descriptor that stays the caller's and open, or `AT_FDCWD`.
    DirectoryChain(SystemCalls& system, int folder) : _system(system), _folder(folder) {}

    /// The directory in which the walk is; the folder when none was entered or all were left.
    int descriptor() const { return _links.empty() ? _folder : _links.back().descriptor.number(); }

    /// Enters the directory `path`, from the current one on. After a failure the walk is where it was. A link
    /// is refused with ENOTDIR or ELOOP.
    ErrorNumber enter(const char* path);

    /// Goes back to where the last `enter` came from. ESTALE when the directory was moved elsewhere
    /// meanwhile.
    ErrorNumber leave();

    /// Whether something is mounted on the directory in which the walk is, which must have been entered.
    bool isMountPoint() const { return _links.back().isMountPoint; }

    /// The type and permission bits of that directory when it was entered.
    mode_t mode() const { return _links.back().mode; }

    /// Whether the walk is in the directory that `other` entered first.
    bool isAtBeginningOf(const DirectoryChain& other) const;

private:
    struct Identity {
        std::uint32_t deviceMajor;
        std::uint32_t deviceMinor;
        std::uint64_t inode;
        bool operator==(const Identity&) const = default;
    };

    struct Link {
        Descriptor descriptor;
        Identity identity;
        mode_t mode;
        bool isMountPoint;
    };

    SystemCalls& _system;
    int _folder;
    std::vector<Link> _links;
};

} // namespace mox
