#pragma once

#include "Platform/RunLoop.hpp"

namespace mox {

/// Run loops over epoll, one for each thread that asks.
class LinuxRunLoops : public RunLoops {
public:
    std::shared_ptr<RunLoop> currentRunLoop() override;
};

} // namespace mox
