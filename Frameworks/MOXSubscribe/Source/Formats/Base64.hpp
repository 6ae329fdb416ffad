#pragma once

#include "Formats/Base64Loops.hpp"
#include "Foundation/Bytes.hpp"

#include <cstdint>
#include <optional>

namespace mox {

/// How long the base64 form of `size` bytes is, padded and on one line.
constexpr std::size_t base64Size(std::size_t size) {
    return (size + 2) / 3 * 4;
}

/// Writes the base64 form of `bytes` to `text`, where there must be room for it.
void encodeBase64(ByteView bytes, char* text, const Base64Loops& loops = base64Loops());

/// Appends the base64 form of `bytes` to `text`, padded and on one line.
void appendBase64(std::string& text, ByteView bytes, const Base64Loops& loops = base64Loops());

/// Whether `text` is exactly what appendBase64 makes of some bytes, "" included: whole groups of digits, the
/// last one padded where bytes are missing, the bits of a padded group that belong to no byte all zero, and
/// no white space. What is canonical stays the same character by character when it is decoded and encoded
/// again. Reads the text at several times the speed of decoding it and takes no memory.
bool isCanonicalBase64(std::string_view text, const Base64Loops& loops = base64Loops());

/// The bytes of base64 text that is nothing but whole groups of digits, the last one perhaps padded; nil for
/// any other text. Every canonical text has bytes; beyond these, unused bits may have any value.
std::optional<Bytes> bytesFromPlainBase64(std::string_view text, const Base64Loops& loops = base64Loops());

/// Decodes base64 that arrives in pieces. White space and whatever else is outside the alphabet is skipped,
/// as the platform does; "=" ends a group, and an unfinished group yields the bytes that are complete.
class Base64Decoder {
public:
    explicit Base64Decoder(const Base64Loops& loops = base64Loops()) : _loops(&loops) {}

    /// Decodes the next piece of the text.
    void append(std::string_view text);

    /// The decoded bytes; the decoder is ready for another text afterwards.
    Bytes take();

private:
    const Base64Loops* _loops;
    Bytes _bytes;
    std::uint32_t _bits = 0;
    int _digits = 0;
};

} // namespace mox
