#include "SDK/MOXFileSubscriptionManagerAdditions.hpp"

#include "Platform/Platform.hpp"
#include "SDK/AlmostEmptyDirectory.hpp"

#include <string>

namespace mox {

bool isAlmostEmptyDirectoryAtPath(std::string_view path) {
    return isAlmostEmptyDirectory(currentPlatform().fileSystem, std::string(path));
}

} // namespace mox
