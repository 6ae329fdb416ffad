#pragma once

#include <ctime>
#include <string>
#include <vector>

namespace mox::test {

// What tests of the Trash look at in it, read by rules of their own.

/// The moment at which the tests' items are recycled: 14 February 2021, 13:14:15.
std::tm valentinesDay();

/// What the information file of an item that was at `path`, recycled at that moment, must be, to the byte.
std::string informationAbout(const std::string& path);

/// The items in the Trash folder at `trash`, sorted; none when it is missing.
std::vector<std::string> itemsInTrash(const std::string& trash);

/// The names of the information files in the Trash folder at `trash`, sorted; none when it is missing.
std::vector<std::string> informationInTrash(const std::string& trash);

/// Whether something, be it a link that leads nowhere, is at `path`.
bool isThere(const std::string& path);

} // namespace mox::test
