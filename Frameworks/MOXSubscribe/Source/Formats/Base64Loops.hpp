#pragma once

#include "Foundation/Bytes.hpp"

#include <array>
#include <cstddef>
#include <cstdint>

namespace mox {

/// The digits of base64, each at the place of its value.
inline constexpr std::string_view base64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// What is no digit has this value. It shares no bit with those of the digits, so that one comparison tells
/// whether several characters are digits.
inline constexpr std::uint8_t noBase64Digit = 0x80;

/// The value of each character.
inline constexpr std::array<std::uint8_t, 256> base64Values = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(noBase64Digit);
    for (std::size_t value = 0; value < base64Digits.size(); ++value)
        values[static_cast<std::uint8_t>(base64Digits[value])] = static_cast<std::uint8_t>(value);
    return values;
}();

inline std::uint32_t base64Value(char character) {
    return base64Values[static_cast<std::uint8_t>(character)];
}

/// The inner loops of base64, which know neither padding nor anything else outside the alphabet. A processor
/// may have several; all give the same answers and write nothing behind their result.
struct Base64Loops {
    /// Encodes the whole groups of three at the front of `bytes` into `text`; returns how many bytes that
    /// were.
    std::size_t (*encode)(ByteView bytes, char* text);

    /// Decodes the groups at the front of `text` that are four digits into `bytes`; returns how many
    /// characters that were.
    std::size_t (*decode)(std::string_view text, char* bytes);

    /// How many characters at the front of `text` are digits.
    std::size_t (*countDigits)(std::string_view text);
};

/// The loops that every processor runs.
const Base64Loops& portableBase64Loops();

/// The loops of processors with AVX2; null where there are none.
const Base64Loops* wideBase64Loops();

/// The fastest loops that this processor runs. Safe from any thread.
const Base64Loops& base64Loops();

} // namespace mox
