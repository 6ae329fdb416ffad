#pragma once

#include <optional>
#include <string>
#include <vector>

namespace mox::launcher {

/// The absolute path of the program `name`: itself when it is absolute, else the first file of that name that
/// may be executed in the folders of PATH. Folders that are not absolute do not count, since they depend on
/// where somebody stands; nor does a relative `name` with "/". Nil when there is none.
std::optional<std::string> pathOfProgram(const std::string& name);

/// Becomes the program at `path` with `arguments`, without a shell. Returns only on failure, with errno.
void becomeProgram(const std::string& path, const std::vector<std::string>& arguments);

/// Runs the program at `path` with `arguments`, its input and output nowhere, and waits for its end. How it
/// ends, or that it cannot be started, is not told.
void runSilently(const std::string& path, const std::vector<std::string>& arguments);

} // namespace mox::launcher
