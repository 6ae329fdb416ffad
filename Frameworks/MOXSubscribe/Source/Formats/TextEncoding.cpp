#include "Formats/TextEncoding.hpp"

#include "Foundation/UnicodeText.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iconv.h>
#include <new>

namespace mox {
namespace {

using namespace std::string_view_literals;

struct Signature {
    std::string_view bytes;
    TextEncoding encoding;
};

// UTF-32 before UTF-16, whose little-endian mark begins like its own.
constexpr std::array byteOrderMarks = {
    Signature{"\xFF\xFE\0\0"sv, TextEncoding::UTF32LittleEndian},
    Signature{"\0\0\xFE\xFF"sv, TextEncoding::UTF32BigEndian},
    Signature{"\xFF\xFE"sv, TextEncoding::UTF16LittleEndian},
    Signature{"\xFE\xFF"sv, TextEncoding::UTF16BigEndian},
    Signature{"\xEF\xBB\xBF"sv, TextEncoding::UTF8},
};

/// How "<" looks at the beginning of XML without a byte order mark.
constexpr std::array firstCharacters = {
    Signature{"<\0\0\0"sv, TextEncoding::UTF32LittleEndian},
    Signature{"\0\0\0<"sv, TextEncoding::UTF32BigEndian},
    Signature{"<\0"sv, TextEncoding::UTF16LittleEndian},
    Signature{"\0<"sv, TextEncoding::UTF16BigEndian},
};

template<std::size_t count>
const Signature* signatureOf(ByteView bytes, const std::array<Signature, count>& signatures) {
    const auto found =
        std::find_if(signatures.begin(), signatures.end(),
                     [bytes](const Signature& signature) { return bytes.starts_with(signature.bytes); });
    return found == signatures.end() ? nullptr : &*found;
}

std::size_t unitSize(TextEncoding encoding) {
    switch (encoding) {
    case TextEncoding::UTF8:
        return 1;
    case TextEncoding::UTF16LittleEndian:
    case TextEncoding::UTF16BigEndian:
        return 2;
    case TextEncoding::UTF32LittleEndian:
    case TextEncoding::UTF32BigEndian:
        return 4;
    }
    return 1;
}

bool isBigEndian(TextEncoding encoding) {
    return encoding == TextEncoding::UTF16BigEndian || encoding == TextEncoding::UTF32BigEndian;
}

char32_t unitAt(ByteView bytes, std::size_t start, std::size_t size, bool bigEndian) {
    char32_t unit = 0;
    for (std::size_t index = 0; index < size; ++index) {
        const std::size_t position = start + (bigEndian ? index : size - 1 - index);
        unit = unit << 8 | static_cast<std::uint8_t>(bytes[position]);
    }
    return unit;
}

void appendUnit(Bytes& bytes, char32_t unit, std::size_t size, bool bigEndian) {
    for (std::size_t index = 0; index < size; ++index) {
        const std::size_t place = bigEndian ? size - 1 - index : index;
        bytes.push_back(static_cast<char>(unit >> (8 * place) & 0xFF));
    }
}

bool isLeadSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isTrailSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

void appendUTF16(std::string& text, ByteView bytes, bool bigEndian) {
    const std::size_t end = bytes.size() - bytes.size() % 2;
    for (std::size_t index = 0; index < end; index += 2) {
        char32_t scalar = unitAt(bytes, index, 2, bigEndian);
        if (isLeadSurrogate(scalar) && index + 2 < end) {
            const char32_t next = unitAt(bytes, index + 2, 2, bigEndian);
            if (isTrailSurrogate(next)) {
                scalar = 0x10000 + ((scalar - 0xD800) << 10) + (next - 0xDC00);
                index += 2;
            }
        }
        appendUTF8(text, scalar);
    }
}

std::optional<std::string> utf8From(ByteView bytes, TextEncoding encoding) {
    if (bytes.size() % unitSize(encoding) != 0) return std::nullopt;
    if (encoding == TextEncoding::UTF8) {
        return isValidUTF8(bytes) ? std::optional(std::string(bytes)) : std::nullopt;
    }
    std::string text;
    text.reserve(bytes.size());
    if (unitSize(encoding) == 2) {
        appendUTF16(text, bytes, isBigEndian(encoding));
    } else {
        for (std::size_t index = 0; index < bytes.size(); index += 4) {
            appendUTF8(text, unitAt(bytes, index, 4, isBigEndian(encoding)));
        }
    }
    return text;
}

/// The scalar at `index` of well-formed UTF-8, which is moved behind it.
char32_t nextScalar(std::string_view text, std::size_t& index) {
    const auto lead = static_cast<std::uint8_t>(text[index++]);
    if (lead < 0x80) return lead;
    const int following = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
    char32_t scalar = lead & (0x3Fu >> following);
    for (int count = 0; count < following; ++count) {
        scalar = scalar << 6 | (static_cast<std::uint8_t>(text[index++]) & 0x3Fu);
    }
    return scalar;
}

constexpr std::string_view whiteSpace = " \t\r\n";

std::string_view withoutLeadingWhiteSpace(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(whiteSpace), text.size()));
    return text;
}

/// The encoding that the XML declaration at the beginning of `document` names; "" when it names none.
std::string_view declaredEncoding(std::string_view document) {
    if (!document.starts_with("<?xml")) return {};
    const std::string_view declaration = document.substr(0, document.find("?>"));
    std::size_t position = declaration.find("encoding");
    if (position == std::string_view::npos) return {};
    position = declaration.find_first_not_of(whiteSpace, position + "encoding"sv.size());
    if (position == std::string_view::npos || declaration[position] != '=') return {};
    position = declaration.find_first_not_of(whiteSpace, position + 1);
    if (position == std::string_view::npos) return {};
    const char quote = declaration[position];
    if (quote != '"' && quote != '\'') return {};
    const std::size_t end = declaration.find(quote, position + 1);
    if (end == std::string_view::npos) return {};
    return declaration.substr(position + 1, end - position - 1);
}

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
    const auto lower = [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [&lower](char one, char other) { return lower(one) == lower(other); });
}

/// Whether `name` has the form of an encoding's name: the converter gives further characters a meaning.
bool isEncodingName(std::string_view name) {
    constexpr std::size_t longestName = 40;
    return !name.empty() && name.size() <= longestName &&
           std::all_of(name.begin(), name.end(), [](char character) {
               return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                      (character >= '0' && character <= '9') || character == '-' || character == '_' ||
                      character == '.' || character == ':';
           });
}

/// The system's converter, closed when this ends.
class Converter {
public:
    Converter(const char* to, const char* from) : _converter(iconv_open(to, from)) {
        if (!isOpen() && errno == ENOMEM) throw std::bad_alloc();
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() {
        if (isOpen()) iconv_close(_converter);
    }

    // The standard's own value for a failure is a pointer made of -1.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast,performance-no-int-to-ptr)
    bool isOpen() const { return _converter != reinterpret_cast<iconv_t>(std::intptr_t{-1}); }
    iconv_t get() const { return _converter; }

private:
    iconv_t _converter;
};

std::optional<std::string> convertedToUTF8(ByteView bytes, const std::string& encoding) {
    const Converter converter("UTF-8", encoding.c_str());
    if (!converter.isOpen()) return std::nullopt;
    std::string text;
    std::array<char, std::size_t{16} * 1024> buffer{};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the old interface, which writes nothing there.
    char* input = const_cast<char*>(bytes.data());
    std::size_t inputLeft = bytes.size();
    bool failed = false;
    bool flushing = false;
    while (!failed) {
        char* output = buffer.data();
        std::size_t outputLeft = buffer.size();
        const std::size_t outcome = flushing
                                        ? iconv(converter.get(), nullptr, nullptr, &output, &outputLeft)
                                        : iconv(converter.get(), &input, &inputLeft, &output, &outputLeft);
        const bool isFull = outcome == static_cast<std::size_t>(-1) && errno == E2BIG;
        failed = outcome == static_cast<std::size_t>(-1) && !isFull;
        // A full buffer without output would never make progress.
        if (isFull && outputLeft == buffer.size()) failed = true;
        text.append(buffer.data(), buffer.size() - outputLeft);
        if (failed || isFull) continue;
        if (flushing) break;
        flushing = true;
    }
    if (failed || !isValidUTF8(text)) return std::nullopt;
    return text;
}

} // namespace

std::optional<EncodedText> decodedText(ByteView bytes) {
    const Signature* mark = signatureOf(bytes, byteOrderMarks);
    const TextEncoding encoding = mark != nullptr ? mark->encoding : TextEncoding::UTF8;
    if (mark != nullptr) bytes.remove_prefix(mark->bytes.size());
    auto text = utf8From(bytes, encoding);
    if (!text) return std::nullopt;
    return EncodedText{*std::move(text), encoding, mark != nullptr};
}

Bytes encodedText(const EncodedText& text) {
    Bytes bytes;
    if (text.hasByteOrderMark) {
        const auto mark = std::find_if(byteOrderMarks.begin(), byteOrderMarks.end(),
                                       [&text](const auto& one) { return one.encoding == text.encoding; });
        bytes = mark->bytes;
    }
    const std::size_t size = unitSize(text.encoding);
    if (size == 1) return bytes + text.text;
    const bool bigEndian = isBigEndian(text.encoding);
    bytes.reserve(bytes.size() + text.text.size() * size);
    for (std::size_t index = 0; index < text.text.size();) {
        const char32_t scalar = nextScalar(text.text, index);
        if (size == 2 && scalar >= 0x10000) {
            appendUnit(bytes, 0xD800 + ((scalar - 0x10000) >> 10), size, bigEndian);
            appendUnit(bytes, 0xDC00 + ((scalar - 0x10000) & 0x3FF), size, bigEndian);
        } else {
            appendUnit(bytes, scalar, size, bigEndian);
        }
    }
    return bytes;
}

std::optional<std::string_view> utf8FromXML(ByteView bytes, std::string& storage) {
    const Signature* signature = signatureOf(bytes, byteOrderMarks);
    if (signature != nullptr) {
        bytes.remove_prefix(signature->bytes.size());
    } else {
        signature = signatureOf(bytes, firstCharacters);
    }
    if (signature != nullptr && signature->encoding != TextEncoding::UTF8) {
        auto text = utf8From(bytes, signature->encoding);
        if (!text) return std::nullopt;
        storage = *std::move(text);
        return withoutLeadingWhiteSpace(storage);
    }
    bytes = withoutLeadingWhiteSpace(bytes);
    const std::string_view declared = declaredEncoding(bytes);
    const bool isUTF8 = signature != nullptr || declared.empty() || equalsIgnoringCase(declared, "UTF-8") ||
                        equalsIgnoringCase(declared, "US-ASCII");
    if (isUTF8) return bytes;
    if (!isEncodingName(declared)) return std::nullopt;
    auto text = convertedToUTF8(bytes, std::string(declared));
    if (!text) return std::nullopt;
    storage = *std::move(text);
    return storage;
}

void appendUTF16BigEndian(std::string& text, ByteView units) {
    appendUTF16(text, units, true);
}

} // namespace mox
