#pragma once

#include "Platform/Linux/FileOperations.hpp"

#include <string>

namespace mox {

// How items get from place to place, within a file system or from one to another. Nothing is ever replaced:
// EEXIST when something is at the destination.

/// Copies what is at `source` under `name` into the folder at `folderPath`, as `FileSystem::copyItem`
/// promises.
ErrorNumber copyIntoFolder(SystemCalls& system, const std::string& source, const std::string& folderPath,
                           const std::string& name);

/// Moves what is at `source` to `destination`, as `FileSystem::moveItem` promises.
ErrorNumber transferItem(SystemCalls& system, const std::string& source, const std::string& destination);

/// Prepares the move from `source` to `destination`, as `FileSystem::stageForMove` promises. `result` is the
/// path from which that can be one rename.
ErrorNumber stageItem(SystemCalls& system, const std::string& source, const std::string& destination,
                      std::string& result);

} // namespace mox
