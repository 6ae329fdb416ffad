#pragma once

#include "Platform/RunLoop.hpp"

namespace mox::test {

/// Run loops that never have anything to do: one for every thread that asks. They tell the loops of threads
/// apart, no more.
class SteppedRunLoops : public RunLoops {
public:
    std::shared_ptr<RunLoop> currentRunLoop() override;
};

} // namespace mox::test
