#include "PrintableText.hpp"

#include <cstdint>

namespace mox::tool {
namespace {

constexpr std::string_view hexDigits = "0123456789ABCDEF";

bool isBetween(unsigned char byte, unsigned char low, unsigned char high) {
    return byte >= low && byte <= high;
}

/// Characters that change how the text around them is laid out: an attacker's means to show one name as
/// another.
bool steersLayout(char32_t scalar) {
    return scalar == 0x061C || (scalar >= 0x200E && scalar <= 0x200F) ||
           (scalar >= 0x2028 && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069) ||
           scalar == 0xFEFF;
}

void appendHex(std::string& text, char32_t value, unsigned minimumDigits) {
    std::string digits;
    for (; value != 0 || digits.size() < minimumDigits; value >>= 4)
        digits.insert(0, 1, hexDigits[value & 0xF]);
    text += digits;
}

} // namespace

std::size_t lengthOfFirstCharacter(std::string_view text) {
    if (text.empty()) return 0;
    const auto byte = [&](std::size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : static_cast<unsigned char>(0);
    };
    const unsigned char first = byte(0);
    const auto continues = [&](std::size_t index) { return isBetween(byte(index), 0x80, 0xBF); };
    if (first < 0x80) return 1;
    if (isBetween(first, 0xC2, 0xDF)) return continues(1) ? 2 : 0;
    if (isBetween(first, 0xE0, 0xEF)) {
        const unsigned char low = first == 0xE0 ? 0xA0 : 0x80;
        const unsigned char high = first == 0xED ? 0x9F : 0xBF;
        return isBetween(byte(1), low, high) && continues(2) ? 3 : 0;
    }
    if (isBetween(first, 0xF0, 0xF4)) {
        const unsigned char low = first == 0xF0 ? 0x90 : 0x80;
        const unsigned char high = first == 0xF4 ? 0x8F : 0xBF;
        return isBetween(byte(1), low, high) && continues(2) && continues(3) ? 4 : 0;
    }
    return 0;
}

char32_t codePoint(std::string_view character) {
    const auto byte = [&](std::size_t index) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(character[index]));
    };
    switch (character.size()) {
    case 1:
        return byte(0);
    case 2:
        return (byte(0) & 0x1F) << 6 | (byte(1) & 0x3F);
    case 3:
        return (byte(0) & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F);
    default:
        return (byte(0) & 0x07) << 18 | (byte(1) & 0x3F) << 12 | (byte(2) & 0x3F) << 6 | (byte(3) & 0x3F);
    }
}

bool isControl(char32_t scalar) {
    return scalar < 0x20 || (scalar >= 0x7F && scalar <= 0x9F);
}

std::string printable(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = lengthOfFirstCharacter(text);
        if (length == 0) {
            result += "\\x";
            appendHex(result, static_cast<unsigned char>(text.front()), 2);
            text.remove_prefix(1);
            continue;
        }
        const std::string_view character = text.substr(0, length);
        if (const char32_t scalar = codePoint(character); isControl(scalar) || steersLayout(scalar)) {
            result += "\\u{";
            appendHex(result, scalar, 2);
            result += '}';
        } else {
            result += character;
        }
        text.remove_prefix(length);
    }
    return result;
}

} // namespace mox::tool
