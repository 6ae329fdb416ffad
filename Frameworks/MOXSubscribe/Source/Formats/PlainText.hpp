#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace mox {

/// How many bytes of a text are looked at together: processors of today have registers of that size.
inline constexpr std::size_t textBlockSize = 16;

/// The bytes of a block of text, as signed numbers: those of characters above U+007F are less than all
/// others. It is passed by reference, since not every processor that we compile for has such registers.
using TextBlock [[gnu::vector_size(textBlockSize)]] = signed char;

/// How many bytes at the beginning of a block have no bit set.
inline std::size_t bytesBeforeFirst(const TextBlock& marked) {
    std::uint64_t words[2];
    static_assert(sizeof words == sizeof marked);
    std::memcpy(words, &marked, sizeof words);
    const auto bitsBefore = [](std::uint64_t word) {
        return static_cast<std::size_t>(std::endian::native == std::endian::little ? std::countr_zero(word)
                                                                                   : std::countl_zero(word));
    };
    return (words[0] != 0 ? bitsBefore(words[0]) : 64 + bitsBefore(words[1])) / 8;
}

/// How many of the `textBlockSize` bytes at `bytes` are tabs, up to the first other one.
inline std::size_t tabsOfBlock(const char* bytes) {
    TextBlock block;
    std::memcpy(&block, bytes, sizeof block);
    return bytesBeforeFirst(block != '\t');
}

/// How many of the `textBlockSize` bytes at `bytes` stand for themselves in the text of an XML element, up to
/// the first that may not. There may be more of them, since a tab and a line feed count as what may not.
inline std::size_t plainBytesOfBlock(const char* bytes) {
    TextBlock block;
    std::memcpy(&block, bytes, sizeof block);
    // "<" and ">" differ in one bit. The bytes of characters above U+007F are less than a space as well.
    return bytesBeforeFirst((block < ' ') | ((block | ('<' ^ '>')) == '>') | (block == '&') | (block == ']'));
}

} // namespace mox
