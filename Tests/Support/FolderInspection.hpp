#pragma once

#include <map>
#include <string>
#include <vector>

namespace mox::test {

// What a test looks at in its scratch folder. Problems throw std::system_error.

/// The names in the folder at `path`, sorted, hidden ones too.
std::vector<std::string> namesIn(const std::string& path);

/// The permission bits of what is at `path`, links not followed.
unsigned modeOf(const std::string& path);

/// Everything below the folder at `path`, by path relative to it: the bytes of a file, "-> " and the target
/// of a link, "/" for a folder.
std::map<std::string, std::string> contentsOfTree(const std::string& path);

} // namespace mox::test
