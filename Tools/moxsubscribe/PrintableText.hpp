#pragma once

#include <string>
#include <string_view>

namespace mox::tool {

/// `text` as one line that is safe to print: whatever could end the line, steer a terminal or turn the
/// reading direction is written as `\u{HEX}`, and each byte that is no UTF-8 as `\xHH`. Other text,
/// backslashes included, stays as it is; programs that need the exact text use the JSON output.
std::string printable(std::string_view text);

/// The length in bytes of the well-formed UTF-8 character that `text` begins with; 0 when it begins with
/// none.
std::size_t lengthOfFirstCharacter(std::string_view text);

/// The code point of `character`, one well-formed UTF-8 character.
char32_t codePoint(std::string_view character);

/// Whether `scalar` is a control character: C0, DEL or C1.
bool isControl(char32_t scalar);

} // namespace mox::tool
