#pragma once

#include "Platform/FileSystem.hpp"

#include <string>

namespace mox {

/// What `isAlmostEmptyDirectoryAtPath` tells, on the disk behind `fileSystem`.
bool isAlmostEmptyDirectory(FileSystem& fileSystem, const std::string& path);

} // namespace mox
