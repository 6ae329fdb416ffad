#pragma once

#include <string_view>

#include "Session.hpp"

namespace mox::tool {

/// Fails (`UsageFailure`) on the dictionary model, which has no stubs, for the command named.
void requireBundleModel(const Session& session, std::string_view command);

/// The record of the stub at `path`. Fails (`Failure`) with the framework's error when there is none.
std::shared_ptr<MOXSubscription> stubAtPath(Session& session, const std::string& path);

} // namespace mox::tool
