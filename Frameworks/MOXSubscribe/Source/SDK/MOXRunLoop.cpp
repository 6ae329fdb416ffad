#include "SDK/MOXRunLoop.hpp"

#include "Platform/Platform.hpp"

namespace mox {

std::shared_ptr<RunLoop> currentRunLoop() {
    return currentPlatform().runLoops.currentRunLoop();
}

} // namespace mox
