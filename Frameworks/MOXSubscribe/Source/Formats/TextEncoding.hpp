#pragma once

#include "Foundation/Bytes.hpp"

#include <optional>
#include <string>

namespace mox {

/// The encodings that a text file's own bytes tell.
enum class TextEncoding { UTF8, UTF16LittleEndian, UTF16BigEndian, UTF32LittleEndian, UTF32BigEndian };

/// A text with the form that it had in its file, so that it can be written back in the same form.
struct EncodedText {
    /// The text as UTF-8, without the byte order mark.
    std::string text;
    TextEncoding encoding = TextEncoding::UTF8;
    bool hasByteOrderMark = false;
};

/// The text in `bytes`: in the encoding of its byte order mark, else UTF-8. A surrogate without its other
/// half becomes U+FFFD. Nil when the bytes are no text of that encoding: ill-formed UTF-8, or a number of
/// bytes that is no number of code units.
std::optional<EncodedText> decodedText(ByteView bytes);

/// The bytes of `text`, with its byte order mark when it has one. Every one of the encodings holds every
/// text.
Bytes encodedText(const EncodedText& text);

/// An XML document as UTF-8 without byte order mark or white space before its beginning. Its encoding is that
/// of the byte order mark, else that of the pattern of its first character, else the one that it declares;
/// what has no Unicode encoding goes through the system's converter. Nil when the encoding is unknown or the
/// bytes do not follow it. The result refers to `bytes` when nothing had to be converted, else to `storage`.
std::optional<std::string_view> utf8FromXML(ByteView bytes, std::string& storage);

/// Appends UTF-16 code units, two bytes each, big-endian, to UTF-8 `text`. A surrogate without its other half
/// becomes U+FFFD; an odd byte at the end is left out.
void appendUTF16BigEndian(std::string& text, ByteView units);

} // namespace mox
