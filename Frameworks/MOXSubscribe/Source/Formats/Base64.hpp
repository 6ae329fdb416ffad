#pragma once

#include "Foundation/Bytes.hpp"

#include <cstdint>
#include <optional>

namespace mox {

/// Appends the base64 form of `bytes` to `text`, padded and on one line.
void appendBase64(std::string& text, ByteView bytes);

/// Decodes base64 that arrives in pieces. White space and whatever else is outside the alphabet is skipped,
/// as the platform does; "=" ends a group, and an unfinished group yields the bytes that are complete.
class Base64Decoder {
public:
    /// Decodes the next piece of the text.
    void append(std::string_view text);

    /// The decoded bytes; the decoder is ready for another text afterwards.
    Bytes take();

private:
    Bytes _bytes;
    std::uint32_t _bits = 0;
    int _digits = 0;
};

/// The bytes of base64 text that is nothing but whole groups of digits, the last one perhaps padded; nil for
/// any other text.
std::optional<Bytes> bytesFromPlainBase64(std::string_view text);

} // namespace mox
