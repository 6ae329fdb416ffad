#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace mox {

/// How many bytes the processor looks at together: every one of today has registers of this size for it.
inline constexpr std::size_t textBlockSize = 16;

/// The bytes of a block of text, as what they are compared with: those above U+007F are less than any other.
using TextBlock [[gnu::vector_size(textBlockSize)]] = signed char;

/// The `textBlockSize` bytes at `bytes`.
inline TextBlock textBlockAt(const char* bytes) {
    TextBlock block;
    std::memcpy(&block, bytes, sizeof block);
    return block;
}

/// How many bytes at the beginning of a block are not `marked` with all bits of theirs.
inline std::size_t bytesBeforeFirst(TextBlock marked) {
    std::uint64_t words[2];
    static_assert(sizeof words == sizeof marked);
    std::memcpy(words, &marked, sizeof words);
    const auto bitsBefore = [](std::uint64_t word) {
        return static_cast<std::size_t>(std::endian::native == std::endian::little ? std::countr_zero(word)
                                                                                   : std::countl_zero(word));
    };
    return (words[0] != 0 ? bitsBefore(words[0]) : 64 + bitsBefore(words[1])) / 8;
}

/// How many bytes at the beginning of the block stand for themselves in the text of an XML element. There may
/// be more of them, since a tab and a line feed count as what may not.
inline std::size_t plainTextBytes(TextBlock block) {
    // "<" and ">" differ in one bit. What is above U+007F is less than a space as well.
    return bytesBeforeFirst((block < ' ') | ((block | ('<' ^ '>')) == '>') | (block == '&') | (block == ']'));
}

} // namespace mox
