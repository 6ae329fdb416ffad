#pragma once

#include "Platform/Linux/SystemCalls.hpp"
#include "Platform/Workspace.hpp"

#include <optional>
#include <string>

namespace mox {

/// The desktop's view of the disk. The Trash is that of the freedesktop.org Trash specification 1.0.
class LinuxWorkspace : public Workspace {
public:
    /// Where the user's own Trash is.
    struct Surroundings {
        /// The folder of the user's data, "$XDG_DATA_HOME" or ".local/share" in the home directory; the home
        /// Trash is "Trash" in it.
        std::string dataFolder;
    };

    /// Makes every call through `system`, which must outlive the object.
    LinuxWorkspace(SystemCalls& system, Surroundings surroundings);

    bool isFilePackageAtPath(const std::string& path) override;
    bool recycleItem(const std::string& folder, const std::string& name) override;
    void recycledItemMovedOut(const std::string& pathInTrash) override;

private:
    SystemCalls& _system;
    Surroundings _surroundings;
};

/// The folder of the user's data: "$XDG_DATA_HOME" when it is absolute, else ".local/share" in
/// `homeDirectory`.
std::string userDataFolder(const std::string& homeDirectory);

} // namespace mox
