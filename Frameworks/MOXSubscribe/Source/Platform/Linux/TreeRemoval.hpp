#pragma once

#include "Platform/Linux/FileOperations.hpp"

#include <string>

namespace mox {

// Removal of whole trees, from the directory `folder` (or `AT_FDCWD`) on. Links are removed themselves, never
// what they lead to, also when they are put in place meanwhile; a mount point is refused with EXDEV before
// anything in it is removed. What was removed before a failure is gone. What somebody else removes meanwhile
// is no failure.

/// Removes what is at `path`, a directory with all in it.
ErrorNumber removeTree(SystemCalls& system, int folder, const std::string& path);

/// Removes what is at `path` and was made by this process, whatever the modes given to its directories.
ErrorNumber removeOwnTree(SystemCalls& system, int folder, const std::string& path);

/// Removes the directory at `path`, or a link at it that leads to a directory, if it is no package and there
/// is nothing in it but the like of it and whatever is named ".DS_Store". ENOTEMPTY when there is.
ErrorNumber removeAlmostEmptyTree(SystemCalls& system, int folder, const std::string& path);

} // namespace mox
