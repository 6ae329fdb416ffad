#pragma once

#include <MOXSubscribe.hpp>
#include <string>

namespace mox::tool {

/// The picture in the file at `path`. Fails (`Failure`) when it cannot be read or is none.
Image iconInFile(const std::string& path);

} // namespace mox::tool
