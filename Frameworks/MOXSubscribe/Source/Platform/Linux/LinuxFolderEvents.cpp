#include "Platform/Linux/LinuxFolderEvents.hpp"

namespace mox {

std::unique_ptr<FolderEventStream> LinuxFolderEvents::createStream(const std::string&,
                                                                   std::chrono::milliseconds, Callback) {
    return nullptr;
}

} // namespace mox
