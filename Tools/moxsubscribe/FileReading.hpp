#pragma once

#include <cstddef>
#include <string>

namespace mox::tool {

/// The bytes of the file or pipe at `path`. Fails (`Failure`, with the system's error and the path) when it
/// cannot be read or is longer than `maximumLength` bytes.
std::string bytesOfFile(const std::string& path, std::size_t maximumLength);

} // namespace mox::tool
