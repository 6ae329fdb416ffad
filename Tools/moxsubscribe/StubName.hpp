#pragma once

#include <string>
#include <string_view>

namespace mox::tool {

/// `name` as the name of a stub: the desktop takes only a folder with a package's extension for one thing, so
/// ".app" is added to a name without it (ASCII case ignored).
std::string stubName(std::string_view name);

} // namespace mox::tool
