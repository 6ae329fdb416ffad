#include "SDK/AlmostEmptyDirectory.hpp"

#include "Foundation/PathRules.hpp"
#include "Platform/PackageNames.hpp"
#include "SDK/FolderChain.hpp"

#include <cstddef>
#include <utility>
#include <vector>

namespace mox {
namespace {

constexpr std::string_view desktopFile = ".DS_Store";

/// A folder that the test is in.
struct Level {
    std::vector<DirectoryEntry> entries;
    std::size_t pathLength;
    std::size_t next = 0;
};

/// The entries of the folder at `path`; none when it cannot be listed.
std::vector<DirectoryEntry> entriesOf(FileSystem& fileSystem, const std::string& path) {
    Result<std::vector<DirectoryEntry>> entries = fileSystem.contentsOfDirectory(path);
    return entries ? std::move(*entries) : std::vector<DirectoryEntry>();
}

} // namespace

bool isAlmostEmptyDirectory(FileSystem& fileSystem, const std::string& path) {
    const auto isPlainFolder = [&](const std::string& item, EntryKind kind) {
        if (kind == EntryKind::Other) return false;
        if (kind != EntryKind::Directory && fileSystem.itemKindAtPath(item) != ItemKind::Directory)
            return false;
        return !isPackageName(item);
    };
    if (!isPlainFolder(path, EntryKind::Unknown)) return false;

    // A list of its own instead of recursion: folders may be nested deeper than any stack.
    FolderChain chain(fileSystem);
    std::vector<Level> levels;
    const auto enter = [&](const std::string& folder, bool isLink) {
        if (!chain.enter(folder, isLink)) return false;
        levels.push_back({entriesOf(fileSystem, folder), folder.size()});
        return true;
    };

    std::string current = path;
    enter(current, false);
    while (!levels.empty()) {
        Level& level = levels.back();
        current.resize(level.pathLength);
        if (level.next == level.entries.size()) {
            levels.pop_back();
            chain.leave();
            continue;
        }
        const DirectoryEntry& entry = level.entries[level.next++];
        if (entry.name == desktopFile) continue;
        if (current.back() != '/') current += '/';
        current += entry.name;
        // A folder that holds itself by way of a link would be asked for ever whether it is empty.
        if (!isPlainFolder(current, entry.kind) || !enter(current, entry.kind != EntryKind::Directory))
            return false;
    }
    return true;
}

} // namespace mox
