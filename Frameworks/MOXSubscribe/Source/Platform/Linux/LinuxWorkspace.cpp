#include "Platform/Linux/LinuxWorkspace.hpp"

#include "Platform/PackageNames.hpp"

#include <cstdlib>
#include <utility>

namespace mox {

LinuxWorkspace::LinuxWorkspace(SystemCalls& system, Surroundings surroundings)
    : _system(system), _surroundings(std::move(surroundings)) {}

bool LinuxWorkspace::isFilePackageAtPath(const std::string& path) {
    if (!isPackageName(path) || path.find('\0') != path.npos) return false;
    struct ::stat status;
    return _system.stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool LinuxWorkspace::recycleItem(const std::string&, const std::string&) {
    return false;
}

void LinuxWorkspace::recycledItemMovedOut(const std::string&) {}

std::string userDataFolder(const std::string& homeDirectory) {
    const char* folder = std::getenv("XDG_DATA_HOME");
    return folder && folder[0] == '/' ? folder : homeDirectory + "/.local/share";
}

} // namespace mox
