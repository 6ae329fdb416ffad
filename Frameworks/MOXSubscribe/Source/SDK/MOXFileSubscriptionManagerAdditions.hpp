#pragma once

#include "Foundation/Export.hpp"

#include <string_view>

namespace mox {

/// Whether a user would take the folder at `path` for empty: everything in it, at any depth, is named exactly
/// ".DS_Store" or is a folder, links followed, that is almost empty itself. So any other file, any package
/// and any link that does not lead to a folder make it not empty, and so does a link that leads back to a
/// folder which it is in. A folder that cannot be listed counts as empty. False when nothing is at the path,
/// or a file, or a package. Changes nothing on the disk; any thread may call.
MOX_EXPORT bool isAlmostEmptyDirectoryAtPath(std::string_view path);

} // namespace mox
