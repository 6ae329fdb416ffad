#include "Foundation/PathRules.hpp"
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

/// Where nearly every stub has its launch alias. The lookup of resources looks there first: what is there is
/// what it finds.
constexpr std::string_view usualAliasPath = "/Contents/Resources/Korvalias.plist";

/// What the walk has still to come to: a stub, or a folder to go into.
struct Waypoint {
    std::size_t nameStart;
    std::size_t nameLength;
    bool isStub;
    bool mayBeLink;
};

/// The waypoints of all folders that the walk is in, those of the innermost one last, and their names in one
/// text: nothing is made for each by itself.
struct Waypoints {
    std::vector<Waypoint> list;
    std::string names;

    void add(std::string_view name, bool isStub, bool mayBeLink) {
        list.push_back({names.size(), name.size(), isStub, mayBeLink});
        names += name;
    }
};

/// A folder that the walk is in.
struct Level {
    std::size_t pathLength;
    std::size_t firstWaypoint;
    std::size_t firstName;
    std::size_t next = firstWaypoint;
    bool holdsStub = false;
};

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
    Waypoints waypoints;

    std::string inFolder;
    const DirectoryVisitor note = [&](std::string_view name, EntryKind kind, VisitedDirectory& folder) {
        // What the listing tells of an entry's kind saves asking for it again.
        // A copy of a folder that a crash left unfinished may hold whole stubs.
        if (kind == EntryKind::Other || isTemporaryName(name)) return;
        const bool mayBeLink = kind != EntryKind::Directory;
        if (mayBeLink && !folder.holdsItem(inFolder.assign(name).append("/"))) return;
        const bool isPackage = isPackageName(name);
        if (isPackage && !folder.holdsItem(inFolder.assign(name).append(usualAliasPath)) &&
            !hasLaunchAlias(stringByAppendingPathComponent(current, name)))
            return;
        waypoints.add(name, isPackage, mayBeLink);
    };
    const auto enter = [&](bool isLink) {
        if (!chain.enter(current, isLink)) return;
        const Level level = {current.size(), waypoints.list.size(), waypoints.names.size()};
        levels.push_back(level);
        if (fileSystem.visitDirectory(current, note)) return;
        // A folder that cannot be listed to its end holds nothing.
        waypoints.list.resize(level.firstWaypoint);
        waypoints.names.resize(level.firstName);
    };

    bool holdsStub = false;
    enter(false);
    while (!levels.empty()) {
        Level& level = levels.back();
        current.resize(level.pathLength);
        if (level.next == waypoints.list.size()) {
            holdsStub = level.holdsStub;
            if (holdsStub || _foldersAddedByUser.contains(current)) arrays.folders.push_back(current);
            waypoints.list.resize(level.firstWaypoint);
            waypoints.names.resize(level.firstName);
            levels.pop_back();
            chain.leave();
            if (!levels.empty() && holdsStub) levels.back().holdsStub = true;
            continue;
        }
        const Waypoint waypoint = waypoints.list[level.next++];
        if (current.back() != '/') current += '/';
        current.append(waypoints.names, waypoint.nameStart, waypoint.nameLength);
        if (waypoint.isStub) {
            arrays.subscriptionPaths.push_back(current);
            level.holdsStub = true;
        } else {
            enter(waypoint.mayBeLink);
        }
    }
    if (containsApps) *containsApps = holdsStub;
}

} // namespace mox
