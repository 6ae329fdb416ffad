#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mox {

/// Whether `text` is well-formed UTF-8: no overlong form, no surrogate, nothing above U+10FFFF.
bool isValidUTF8(std::string_view text) noexcept;

/// `text` with U+FFFD in place of each maximal ill-formed sequence; well-formed text comes back as it is.
std::string repairedUTF8(std::string text);

/// Whether `left` sorts before `right` by UTF-16 code units, the order of keys in a property list. It
/// differs from the order of bytes only where a supplementary character meets one of U+E000 to U+FFFF.
/// Both are well-formed UTF-8.
bool precedesByUTF16(std::string_view left, std::string_view right) noexcept;

/// The number of UTF-16 code units that well-formed UTF-8 `text` takes.
std::size_t lengthInUTF16(std::string_view text) noexcept;

/// Appends the UTF-8 form of `scalar`, which is a Unicode scalar value; anything else becomes U+FFFD.
void appendUTF8(std::string& text, char32_t scalar);

} // namespace mox
