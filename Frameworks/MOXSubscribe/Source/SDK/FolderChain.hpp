#pragma once

#include "Platform/FileSystem.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace mox {

/// The folders that a walk is in, from the outermost to the innermost, each in the one before it. It keeps a
/// walk that follows symbolic links from going round in circles.
///
/// Every walk is in the root of all folders: a link to it would lead through the whole machine, and through
/// the kernel's own folders, whose links make more ways than anybody can go.
///
/// Only a link can lead back to where the walk came from. Below no link, a folder therefore costs nothing; it
/// is looked up which folder it is as soon as that can matter. One thread at a time.
class FolderChain {
public:
    /// `fileSystem` must outlive the object.
    explicit FolderChain(FileSystem& fileSystem) : _fileSystem(fileSystem) {}

    /// Goes into the folder at `path`, which begins with the innermost folder's path; `isLink` when it is, or
    /// may be, a link to a folder. False when the walk is in that folder already; then nothing changes.
    bool enter(const std::string& path, bool isLink);

    /// Goes out of the innermost folder.
    void leave();

private:
    struct Level {
        std::size_t pathLength = 0;
        bool isLink = false;
        bool isLookedUp = false;
        std::optional<ItemIdentity> identity;
    };

    std::optional<ItemIdentity> identityAt(const std::string& path);

    FileSystem& _fileSystem;
    std::optional<ItemIdentity> _root;
    std::vector<Level> _levels;
    std::size_t _links = 0;
};

} // namespace mox
