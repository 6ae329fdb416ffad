#pragma once

#include "Foundation/Export.hpp"
#include "Platform/RunLoop.hpp"

#include <memory>

namespace mox {

/// The run loop of the calling thread. The framework delivers what happens behind its back on the run loop of
/// the thread that first asked for the shared manager, while that runs in the default mode: a client of that
/// thread runs it, or polls its descriptor in a loop of its own. Null when the process has no descriptors
/// left. Any thread may call.
MOX_EXPORT std::shared_ptr<RunLoop> currentRunLoop();

} // namespace mox
