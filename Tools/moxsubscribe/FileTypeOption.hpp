#pragma once

#include <MOXSubscribe.hpp>
#include <optional>
#include <string_view>

namespace mox::tool {

/// The file type in `text`, "GROUP:.ext,.ext:DESCRIPTION": the description may hold ":" and may be left out
/// with its ":". Nil when the group or an extension is empty, or an extension has no leading ".".
std::optional<MOXFileType> fileTypeFromOption(std::string_view text);

} // namespace mox::tool
