#pragma once

#include <string_view>

#include "Session.hpp"

namespace mox::tool {

/// Fails (`UsageFailure`) on the dictionary model, which has no stubs, for the command named.
void requireBundleModel(const Session& session, std::string_view command);

/// Fails (`Failure`) for `operation` when there is something at `path` that is no stub: the framework deletes
/// and moves whatever it is told to, without a look. Does nothing on the dictionary model.
void requireStubIfAny(Session& session, std::string_view operation, const std::string& path);

/// Fails (`Failure`) for `operation` when there is something at `path` that is no plain folder, or when the
/// applications folder itself or one above it is meant. Does nothing on the dictionary model.
void requireFolderIfAny(Session& session, std::string_view operation, const std::string& path);

} // namespace mox::tool
