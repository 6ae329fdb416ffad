#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox::launcher {

/// Why `url` may not be handed to another program, as the rest of a sentence that begins with "The launch
/// URL"; nil when it may. It is a server's text: what the desktop would take for an option, a file or a
/// script must not pass. Passing are absolute URLs without control characters whose scheme is http or https,
/// these with a host, or one of `allowedSchemes`; schemes are compared without ASCII case. The schemes file,
/// data and javascript never pass, even when they are allowed.
std::optional<std::string> objectionToLaunchURL(std::string_view url,
                                                const std::vector<std::string>& allowedSchemes);

} // namespace mox::launcher
