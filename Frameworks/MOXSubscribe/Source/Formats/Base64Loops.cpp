#include "Formats/Base64Loops.hpp"

namespace mox {
namespace {

std::size_t encode(ByteView bytes, char* text) {
    const auto byteAt = [bytes](std::size_t index) {
        return std::uint32_t{static_cast<std::uint8_t>(bytes[index])};
    };
    std::size_t index = 0;
    for (; index + 3 <= bytes.size(); index += 3) {
        const std::uint32_t group = byteAt(index) << 16 | byteAt(index + 1) << 8 | byteAt(index + 2);
        *text++ = base64Digits[group >> 18];
        *text++ = base64Digits[group >> 12 & 63];
        *text++ = base64Digits[group >> 6 & 63];
        *text++ = base64Digits[group & 63];
    }
    return index;
}

std::size_t decode(std::string_view text, char* bytes) {
    std::size_t index = 0;
    for (; index + 4 <= text.size(); index += 4) {
        const std::uint32_t first = base64Value(text[index]);
        const std::uint32_t second = base64Value(text[index + 1]);
        const std::uint32_t third = base64Value(text[index + 2]);
        const std::uint32_t fourth = base64Value(text[index + 3]);
        if ((first | second | third | fourth) >= noBase64Digit) break;
        const std::uint32_t group = first << 18 | second << 12 | third << 6 | fourth;
        *bytes++ = static_cast<char>(group >> 16);
        *bytes++ = static_cast<char>(group >> 8 & 0xFF);
        *bytes++ = static_cast<char>(group & 0xFF);
    }
    return index;
}

std::size_t countDigits(std::string_view text) {
    std::size_t index = 0;
    for (; index + 4 <= text.size(); index += 4) {
        if ((base64Value(text[index]) | base64Value(text[index + 1]) | base64Value(text[index + 2]) |
             base64Value(text[index + 3])) >= noBase64Digit)
            break;
    }
    while (index < text.size() && base64Value(text[index]) < noBase64Digit)
        ++index;
    return index;
}

constexpr Base64Loops portable = {encode, decode, countDigits};

} // namespace

const Base64Loops& portableBase64Loops() {
    return portable;
}

const Base64Loops& base64Loops() {
    static const Base64Loops* const wide = wideBase64Loops();
    return wide != nullptr ? *wide : portable;
}

} // namespace mox
