#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace mox {

/// Eight bytes of a text, looked at together.
using TextWord = std::uint64_t;

/// The word with `byte` in each place.
constexpr TextWord eachByte(unsigned char byte) {
    return TextWord{0x0101010101010101} * byte;
}

inline TextWord textWordAt(const char* bytes) {
    TextWord word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// How many bytes at the beginning of the word stand for themselves in the text of an XML element, by
/// arithmetic on all of them at once: the highest bit of a byte tells of one that may not. There may be more
/// of them.
constexpr std::size_t plainTextBytes(TextWord word) {
    constexpr TextWord highest = eachByte(0x80);
    const auto hasByte = [](TextWord bytes, unsigned char byte) {
        const TextWord difference = bytes ^ eachByte(byte);
        return (difference - eachByte(1)) & ~difference;
    };
    const TextWord controls = word - eachByte(0x20);
    // "<" and ">" differ in one bit.
    const TextWord angles = hasByte(word | eachByte('<' ^ '>'), '>');
    const TextWord others = (word | controls | angles | hasByte(word, '&') | hasByte(word, ']')) & highest;
    const int plainBits =
        std::endian::native == std::endian::little ? std::countr_zero(others) : std::countl_zero(others);
    return static_cast<std::size_t>(plainBits) / 8;
}

/// Whether all bytes of the word stand for themselves. May say no to a word of which that is true.
constexpr bool isPlainText(TextWord word) {
    return plainTextBytes(word) == sizeof word;
}

} // namespace mox
