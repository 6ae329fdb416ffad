#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace mox::test {

/// Texts that somebody could send to do harm: to paths, terminals, shells, key files, formats of messages,
/// property lists, or to whoever reads them.
std::vector<std::string> hostileTexts();

/// Those of them that a file can have for its name, of at most `longest` bytes.
std::vector<std::string> hostileFileNames(std::size_t longest = 255);

} // namespace mox::test
