#pragma once

#include "Foundation/Error.hpp"

#include <string>

namespace mox {

// The errors of every `FileSystem`, made from the errno value of the call that failed. They are of
// `NSCocoaErrorDomain`, carry `path` under `NSFilePathErrorKey` and the errno value's error under
// `NSUnderlyingErrorKey`.

/// Why the item at `path` could not be read: 260 nothing there, 257 no permission, 256 anything else.
Error readError(const std::string& path, int errorNumber);

/// Why the item at `path` could not be written, made or moved: 4 nothing there, 513 no permission, 516
/// something is there already, 640 no space or quota left, 642 read-only volume, 512 anything else.
Error writeError(const std::string& path, int errorNumber);

} // namespace mox
