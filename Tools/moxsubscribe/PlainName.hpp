#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace mox::tool {

/// The longest name that common file systems take for one component, in bytes.
inline constexpr std::size_t maximumNameLength = 255;

/// `text` as one component of a path: "/", NUL and control characters become "-", and so do the dots of "."
/// and
/// "..", which would not be names of their own. Not cut.
std::string plainName(std::string_view text);

/// `text` cut at a character so that it has at most `maximumLength` bytes.
std::string_view cutAtCharacter(std::string_view text, std::size_t maximumLength);

} // namespace mox::tool
