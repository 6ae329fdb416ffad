#include "Platform/Linux/LinuxRunLoop.hpp"

namespace mox {

std::shared_ptr<RunLoop> LinuxRunLoops::currentRunLoop() {
    return nullptr;
}

} // namespace mox
