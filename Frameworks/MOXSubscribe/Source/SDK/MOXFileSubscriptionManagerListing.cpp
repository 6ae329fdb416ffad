#include "Platform/PackageNames.hpp"
#include "Platform/Platform.hpp"
#include "Platform/TemporaryNames.hpp"
#include "SDK/FolderChain.hpp"
#include "SDK/MOXFileSubscriptionManager.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

// What the manager lists: the walk through the applications folder.

namespace mox {
namespace {

/// A folder that the walk is in.
struct Level {
    std::vector<DirectoryEntry> entries;
    std::size_t pathLength;
    std::size_t next = 0;
    bool holdsStub = false;
};

/// The entries of the folder at `path`; none when it is missing or cannot be listed.
std::vector<DirectoryEntry> entriesOf(FileSystem& fileSystem, const std::string& path) {
    Result<std::vector<DirectoryEntry>> entries = fileSystem.contentsOfDirectory(path);
    return entries ? std::move(*entries) : std::vector<DirectoryEntry>();
}

} // namespace

void MOXFileSubscriptionManager::updateConvenienceArrays() {
    ConvenienceArrays arrays;
    updateConvenienceArraysAtPath(appsFolderPath(), arrays, nullptr);
    if (std::ranges::find(arrays.folders, appsFolderPath()) == arrays.folders.end())
        arrays.folders.push_back(appsFolderPath());
    // The arrays stay the same objects, since callers hold them.
    const std::lock_guard lock(monitor());
    _subscriptionPaths.swap(arrays.subscriptionPaths);
    _folders.swap(arrays.folders);
}

void MOXFileSubscriptionManager::updateConvenienceArraysAtPath(const std::string& path,
                                                               ConvenienceArrays& arrays,
                                                               bool* containsApps) const {
    FileSystem& fileSystem = platform().fileSystem;
    // A list of its own instead of recursion, since folders may be nested deeper than any stack, and one path
    // that grows and shrinks.
    std::string current = path;
    FolderChain chain(fileSystem);
    std::vector<Level> levels;
    const auto enter = [&](bool isLink) {
        if (chain.enter(current, isLink)) levels.push_back({entriesOf(fileSystem, current), current.size()});
    };

    bool holdsStub = false;
    enter(false);
    while (!levels.empty()) {
        Level& level = levels.back();
        current.resize(level.pathLength);
        if (level.next == level.entries.size()) {
            holdsStub = level.holdsStub;
            if (holdsStub || _foldersAddedByUser.contains(current)) arrays.folders.push_back(current);
            levels.pop_back();
            chain.leave();
            if (!levels.empty() && holdsStub) levels.back().holdsStub = true;
            continue;
        }
        // What the listing tells of an entry's kind saves asking for it again.
        const DirectoryEntry& entry = level.entries[level.next++];
        // A copy of a folder that a crash left unfinished may hold whole stubs.
        if (entry.kind == EntryKind::Other || isTemporaryName(entry.name)) continue;
        if (current.back() != '/') current += '/';
        current += entry.name;
        const bool mayBeLink = entry.kind != EntryKind::Directory;
        if (mayBeLink && fileSystem.itemKindAtPath(current) != ItemKind::Directory) continue;
        if (!isPackageName(entry.name)) {
            enter(mayBeLink);
        } else if (hasLaunchAlias(current)) {
            arrays.subscriptionPaths.push_back(current);
            level.holdsStub = true;
        }
    }
    if (containsApps) *containsApps = holdsStub;
}

} // namespace mox
