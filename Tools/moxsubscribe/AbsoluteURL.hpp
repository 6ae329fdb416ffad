#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mox::tool {

/// Whether `url` begins with a scheme and ":".
bool isAbsoluteURL(std::string_view url);

/// `reference` resolved against `base` by the rules of RFC 3986, section 5.2. An absolute reference is taken
/// with its path's dot segments removed; nil when neither is absolute. Both are taken as they are: blanks and
/// other characters that the RFC wants encoded, as servers write them, are passed through.
std::optional<std::string> absoluteURL(std::string_view reference, std::string_view base);

/// The last component of the path of `url`, query and fragment cut off, percent-decoded; "" when there is
/// none.
std::string lastComponentOfURL(std::string_view url);

} // namespace mox::tool
