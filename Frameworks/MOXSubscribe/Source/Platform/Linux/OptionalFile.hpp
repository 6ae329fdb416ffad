#pragma once

#include "Platform/FileSystem.hpp"

#include <optional>
#include <string>

namespace mox {

/// The content of the file at `path`; nil when nothing is there. An error when it cannot be read.
Result<std::optional<Bytes>> contentsOfFileIfPresent(FileSystem& fileSystem, const std::string& path);

} // namespace mox
