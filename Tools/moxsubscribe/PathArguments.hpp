#pragma once

#include <string>
#include <string_view>

namespace mox::tool {

/// `path` with one "/" for each run of them and none at its end; "/" and "" stay.
std::string normalizedPath(std::string_view path);

/// `text` as the store keeps it: bytes that are no UTF-8 are U+FFFD there.
std::string storedText(std::string_view text);

/// The path that a user means by `argument`: a relative one lies below `applicationsFolder`. Given back
/// normalised, its bytes as they are; the empty one stays empty, for the framework to judge.
std::string absoluteArgument(std::string_view argument, const std::string& applicationsFolder);

} // namespace mox::tool
