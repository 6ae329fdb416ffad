#pragma once

#include <cstddef>
#include <string_view>

namespace mox {

/// What the hidden name begins with under which a file system makes an item before it gets its own name; so
/// many lower-case hexadecimal digits follow, and nothing else.
inline constexpr std::string_view temporaryNamePrefix = ".mox-";
inline constexpr std::size_t temporaryNameDigits = 32;

/// Whether `name` is such a name. An item that has it after a crash is a part of a copy.
constexpr bool isTemporaryName(std::string_view name) {
    return name.starts_with(temporaryNamePrefix) &&
           name.size() == temporaryNamePrefix.size() + temporaryNameDigits &&
           name.find_first_not_of("0123456789abcdef", temporaryNamePrefix.size()) == name.npos;
}

} // namespace mox
