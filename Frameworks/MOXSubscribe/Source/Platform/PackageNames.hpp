#pragma once

#include <string_view>

namespace mox {

/// Whether a directory at `path` would be a package: its last component has one of the extensions of
/// packages, compared without ASCII case, and something before it. Looks at the text alone.
bool isPackageName(std::string_view path);

} // namespace mox
