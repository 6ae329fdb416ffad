#include "Platform/Linux/LinuxFileReferences.hpp"

#include <cerrno>

namespace mox {

SystemStatus LinuxFileReferences::makeReference(const std::string&, std::shared_ptr<const FileReference>&) {
    return ENOSYS;
}

SystemStatus LinuxFileReferences::makeAlias(const FileReference&, std::shared_ptr<const FileAlias>&) {
    return ENOSYS;
}

SystemStatus LinuxFileReferences::resolveAlias(const FileAlias&, std::shared_ptr<const FileReference>&) {
    return ENOSYS;
}

SystemStatus LinuxFileReferences::makePath(const FileReference&, std::string&) {
    return ENOSYS;
}

} // namespace mox
