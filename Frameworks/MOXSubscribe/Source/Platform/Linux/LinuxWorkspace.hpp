#pragma once

#include "Platform/Linux/SystemCalls.hpp"
#include "Platform/Linux/TrashFolder.hpp"
#include "Platform/Workspace.hpp"

#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace mox {

/// The date and time by the clock on the wall, in the user's time zone.
std::tm currentLocalTime();

/// The desktop's view of the disk. The Trash is that of the freedesktop.org Trash specification 1.0: what is
/// in the file system of the home Trash goes there, anything else into the Trash at the top of its own file
/// system, which is "$uid" in a ".Trash" that the administrator made, or ".Trash-$uid".
///
/// A ".Trash" is used only when it is a folder, no link, with the sticky bit; a user's folder at the top only
/// when it is one and the user's own. Missing folders are made, for the user alone.
///
/// An item is recycled from the folder that its path leads to, and the Trash notes that folder's path with
/// links resolved.
class LinuxWorkspace : public Workspace {
public:
    /// Whose Trash it is, and where.
    struct Surroundings {
        /// The folder of the user's data, "$XDG_DATA_HOME" or ".local/share" in the home directory; the home
        /// Trash is "Trash" in it. An absolute path.
        std::string dataFolder;
        uid_t user = ::geteuid();
        std::function<std::tm()> localTime = currentLocalTime;
    };

    /// Makes every call through `system`, which must outlive the object.
    LinuxWorkspace(SystemCalls& system, Surroundings surroundings);

    bool isFilePackageAtPath(const std::string& path) override;
    bool recycleItem(const std::string& folder, const std::string& name) override;

    /// Does nothing either while something is at `pathInTrash`, or when the disk cannot be synchronised:
    /// after a power cut the item could be there again.
    void recycledItemMovedOut(const std::string& pathInTrash) override;

private:
    /// Where a folder is.
    struct Place {
        /// Absolute, without links.
        std::string path;
        dev_t fileSystem = 0;
        /// The topmost folder of its file system.
        std::string top;
    };

    enum class Trash { Home, Shared, Own };

    std::optional<Place> placeOf(const Descriptor& folder);
    std::optional<dev_t> fileSystemOfHomeTrash();
    std::vector<Trash> trashesFor(const Place& place);
    std::optional<TrashFolder> openTrash(Trash trash, const Place& place, MissingFolder missing);
    Descriptor openHomeTrash(MissingFolder missing);
    std::optional<Descriptor> openTrashAtTop(Trash trash, const std::string& top, MissingFolder missing);

    SystemCalls& _system;
    Surroundings _surroundings;
};

/// The folder of the user's data: "$XDG_DATA_HOME" when it is absolute, else ".local/share" in
/// `homeDirectory`.
std::string userDataFolder(const std::string& homeDirectory);

} // namespace mox
