#include "Platform/Linux/LinuxWorkspace.hpp"

#include "Platform/PackageNames.hpp"

#include <cstdlib>
#include <fcntl.h>
#include <utility>

namespace mox {
namespace {

constexpr int folderFlags = O_RDONLY | O_DIRECTORY;

/// How the Trash notes the item `name` of the folder `folder`, seen from the folder `base` that is above it.
std::string pathFrom(const std::string& base, const std::string& folder, const std::string& name) {
    const std::string path = (folder == "/" ? "" : folder) + "/" + name;
    return path.substr(base == "/" ? 1 : base.size() + 1);
}

} // namespace

std::tm currentLocalTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    ::localtime_r(&now, &local);
    return local;
}

LinuxWorkspace::LinuxWorkspace(SystemCalls& system, Surroundings surroundings)
    : _system(system), _surroundings(std::move(surroundings)) {}

bool LinuxWorkspace::isFilePackageAtPath(const std::string& path) {
    if (!isPackageName(path) || holdsNul(path)) return false;
    struct ::stat status = {};
    return _system.stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool LinuxWorkspace::recycleItem(const std::string& folder, const std::string& name) {
    if (holdsNul(folder) || !isNameOfItem(name)) return false;
    const Descriptor opened(_system, folder, folderFlags);
    struct ::stat status = {};
    // For what is not there, no Trash is made.
    if (opened.openError() != 0 ||
        _system.fstatat(opened.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0)
        return false;
    const std::optional<Place> place = placeOf(opened);
    if (!place) return false;
    for (const Trash kind : trashesFor(*place)) {
        std::optional<TrashFolder> trash = openTrash(kind, *place, MissingFolder::IsMade);
        if (!trash) continue;
        const std::string path = kind == Trash::Home ? "/" + pathFrom("/", place->path, name)
                                                     : pathFrom(place->top, place->path, name);
        return trash->take(opened, name, path, _surroundings.localTime()) == 0;
    }
    return false;
}

void LinuxWorkspace::recycledItemMovedOut(const std::string& pathInTrash) {
    const std::string name = pathInTrash.substr(pathInTrash.rfind('/') + 1);
    if (holdsNul(pathInTrash) || !isNameOfItem(name)) return;
    const Descriptor folder(_system, folderOf(pathInTrash), folderFlags);
    if (folder.openError() != 0) return;
    const std::optional<Place> place = placeOf(folder);
    if (!place) return;
    for (const Trash kind : trashesFor(*place)) {
        std::optional<TrashFolder> trash = openTrash(kind, *place, MissingFolder::Fails);
        if (trash && trash->keepsItemsIn(folder)) trash->forget(name);
    }
}

std::optional<LinuxWorkspace::Place> LinuxWorkspace::placeOf(const Descriptor& folder) {
    Place place;
    struct ::stat status = {};
    if (readPathOf(_system, folder.number(), place.path) != 0 || _system.fstat(folder.number(), &status) < 0)
        return std::nullopt;
    place.fileSystem = status.st_dev;
    place.top = place.path;
    while (place.top != "/") {
        std::string parent = folderOf(place.top);
        if (_system.lstat(parent.c_str(), &status) < 0) return std::nullopt;
        if (status.st_dev != place.fileSystem) break;
        place.top = std::move(parent);
    }
    return place;
}

/// The file system in which the home Trash is, or will be once it is made.
std::optional<dev_t> LinuxWorkspace::fileSystemOfHomeTrash() {
    struct ::stat status = {};
    std::string path = _surroundings.dataFolder + "/Trash";
    while (_system.stat(path.c_str(), &status) < 0) {
        if (errno != ENOENT || path == "/") return std::nullopt;
        path = folderOf(path);
    }
    return status.st_dev;
}

/// Where an item may be recycled, in the order in which that is tried; nowhere when that cannot be found out.
std::vector<LinuxWorkspace::Trash> LinuxWorkspace::trashesFor(const Place& place) {
    const std::optional<dev_t> home = fileSystemOfHomeTrash();
    if (!home) return {};
    if (*home == place.fileSystem) return {Trash::Home};
    return {Trash::Shared, Trash::Own};
}

std::optional<TrashFolder> LinuxWorkspace::openTrash(Trash trash, const Place& place, MissingFolder missing) {
    std::optional<Descriptor> folder;
    if (trash == Trash::Home)
        folder = openHomeTrash(missing);
    else
        folder = openTrashAtTop(trash, place.top, missing);
    if (!folder || folder->openError() != 0) return std::nullopt;
    TrashFolder opened(_system, *folder, missing);
    if (opened.openError() != 0) return std::nullopt;
    return opened;
}

Descriptor LinuxWorkspace::openHomeTrash(MissingFolder missing) {
    constexpr mode_t dataFolderMode = 0700;
    // Unlike elsewhere a link is followed: nobody else could have put it there.
    Descriptor trash(_system, _surroundings.dataFolder + "/Trash", folderFlags);
    if (trash.openError() != ENOENT || missing == MissingFolder::Fails) return trash;
    if (makeDirectories(_system, _surroundings.dataFolder, dataFolderMode) != 0) return trash;
    const Descriptor dataFolder(_system, _surroundings.dataFolder, folderFlags);
    if (dataFolder.openError() != 0) return trash;
    return openFolderIn(_system, dataFolder, "Trash", missing);
}

std::optional<Descriptor> LinuxWorkspace::openTrashAtTop(Trash trash, const std::string& top,
                                                         MissingFolder missing) {
    const Descriptor topFolder(_system, top, folderFlags);
    if (topFolder.openError() != 0) return std::nullopt;
    const std::string user = std::to_string(_surroundings.user);
    struct ::stat status = {};
    std::optional<Descriptor> folder;
    if (trash == Trash::Shared) {
        const Descriptor shared = openFolderIn(_system, topFolder, ".Trash", MissingFolder::Fails);
        // Without the sticky bit others could replace what is in it.
        if (shared.openError() != 0 || _system.fstat(shared.number(), &status) < 0 ||
            (status.st_mode & S_ISVTX) == 0)
            return std::nullopt;
        folder = openFolderIn(_system, shared, user, missing);
    } else {
        folder = openFolderIn(_system, topFolder, ".Trash-" + user, missing);
    }
    if (folder->openError() != 0 || _system.fstat(folder->number(), &status) < 0 ||
        status.st_uid != _surroundings.user)
        return std::nullopt;
    return folder;
}

std::string userDataFolder(const std::string& homeDirectory) {
    const char* folder = std::getenv("XDG_DATA_HOME");
    return folder && folder[0] == '/' ? folder : homeDirectory + "/.local/share";
}

} // namespace mox
