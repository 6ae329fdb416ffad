#include "Platform/RunLoop.hpp"

namespace mox {

RunLoop::~RunLoop() = default;

} // namespace mox
