#include "Foundation/UnicodeText.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace mox {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

struct Sequence {
    std::size_t length;
    bool valid;
};

std::uint8_t byteAt(std::string_view text, std::size_t index) {
    return static_cast<std::uint8_t>(text[index]);
}

/// The sequence that begins at `start`: a well-formed character, or the longest ill-formed part of one.
Sequence sequenceAt(std::string_view text, std::size_t start) noexcept {
    const std::uint8_t lead = byteAt(text, start);
    if (lead < 0x80) return {1, true};
    std::size_t length = 0;
    std::uint8_t lowest = 0x80;
    std::uint8_t highest = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        if (lead == 0xE0) lowest = 0xA0;
        if (lead == 0xED) highest = 0x9F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        if (lead == 0xF0) lowest = 0x90;
        if (lead == 0xF4) highest = 0x8F;
    } else {
        return {1, false};
    }
    for (std::size_t index = 1; index < length; ++index) {
        if (start + index >= text.size()) return {index, false};
        const std::uint8_t byte = byteAt(text, start + index);
        if (byte < lowest || byte > highest) return {index, false};
        lowest = 0x80;
        highest = 0xBF;
    }
    return {length, true};
}

/// The first index from `start` on at which `text` holds something other than ASCII.
std::size_t endOfASCII(std::string_view text, std::size_t start) noexcept {
    constexpr std::uint64_t highBits = 0x8080808080808080;
    while (start + sizeof(std::uint64_t) <= text.size()) {
        std::uint64_t block = 0;
        std::memcpy(&block, text.data() + start, sizeof block);
        if ((block & highBits) != 0) break;
        start += sizeof block;
    }
    while (start < text.size() && byteAt(text, start) < 0x80)
        ++start;
    return start;
}

/// The end of the well-formed text that begins at `start`.
std::size_t endOfValid(std::string_view text, std::size_t start) noexcept {
    while ((start = endOfASCII(text, start)) < text.size()) {
        const Sequence sequence = sequenceAt(text, start);
        if (!sequence.valid) return start;
        start += sequence.length;
    }
    return start;
}

} // namespace

bool isValidUTF8(std::string_view text) noexcept {
    return endOfValid(text, 0) == text.size();
}

std::string repairedUTF8(std::string text) {
    std::size_t end = endOfValid(text, 0);
    if (end == text.size()) return text;
    std::string repaired;
    repaired.reserve(text.size() + replacementCharacter.size());
    std::size_t start = 0;
    while (end < text.size()) {
        repaired.append(text, start, end - start).append(replacementCharacter);
        start = end + sequenceAt(text, end).length;
        end = endOfValid(text, start);
    }
    return repaired.append(text, start, end - start);
}

bool precedesByUTF16(std::string_view left, std::string_view right) noexcept {
    const std::size_t shared = std::min(left.size(), right.size());
    std::size_t index = 0;
    while (index < shared && left[index] == right[index])
        ++index;
    if (index == shared) return left.size() < right.size();
    const std::uint8_t leftByte = byteAt(left, index);
    const std::uint8_t rightByte = byteAt(right, index);
    // Surrogates (lead bytes F0 and above) sort before U+E000 to U+FFFF (lead bytes EE and EF).
    const bool leftIsSupplementary = leftByte >= 0xF0;
    const bool rightIsSupplementary = rightByte >= 0xF0;
    if (leftIsSupplementary != rightIsSupplementary && leftByte >= 0xEE && rightByte >= 0xEE) {
        return leftIsSupplementary;
    }
    return leftByte < rightByte;
}

std::size_t lengthInUTF16(std::string_view text) noexcept {
    std::size_t length = 0;
    for (const char character : text) {
        const auto byte = static_cast<std::uint8_t>(character);
        if ((byte & 0xC0) != 0x80) length += byte >= 0xF0 ? 2 : 1;
    }
    return length;
}

void appendUTF8(std::string& text, char32_t scalar) {
    const auto append = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (scalar < 0x80) {
        append(scalar);
    } else if (scalar < 0x800) {
        append(0xC0 | scalar >> 6);
        append(0x80 | (scalar & 0x3F));
    } else if ((scalar >= 0xD800 && scalar <= 0xDFFF) || scalar > 0x10FFFF) {
        text.append(replacementCharacter);
    } else if (scalar < 0x10000) {
        append(0xE0 | scalar >> 12);
        append(0x80 | (scalar >> 6 & 0x3F));
        append(0x80 | (scalar & 0x3F));
    } else {
        append(0xF0 | scalar >> 18);
        append(0x80 | (scalar >> 12 & 0x3F));
        append(0x80 | (scalar >> 6 & 0x3F));
        append(0x80 | (scalar & 0x3F));
    }
}

} // namespace mox
