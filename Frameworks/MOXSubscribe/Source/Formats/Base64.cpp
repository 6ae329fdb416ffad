#include "Formats/Base64.hpp"

#include <array>
#include <cstddef>
#include <utility>

namespace mox {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Values above those of the digits, so that one comparison tells a digit from the rest.
constexpr std::uint8_t skipped = 0x80;
constexpr std::uint8_t padding = 0xC0;

constexpr std::array<std::uint8_t, 256> digitValues = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(skipped);
    for (std::size_t value = 0; value < alphabet.size(); ++value) {
        values[static_cast<std::uint8_t>(alphabet[value])] = static_cast<std::uint8_t>(value);
    }
    values['='] = padding;
    return values;
}();

std::uint8_t digitValue(char character) {
    return digitValues[static_cast<std::uint8_t>(character)];
}

} // namespace

void appendBase64(std::string& text, ByteView bytes) {
    const std::size_t start = text.size();
    text.resize(start + (bytes.size() + 2) / 3 * 4);
    char* output = text.data() + start;
    const auto byteAt = [bytes](std::size_t index) {
        return std::uint32_t{static_cast<std::uint8_t>(bytes[index])};
    };
    std::size_t index = 0;
    for (; index + 3 <= bytes.size(); index += 3) {
        const std::uint32_t group = byteAt(index) << 16 | byteAt(index + 1) << 8 | byteAt(index + 2);
        *output++ = alphabet[group >> 18];
        *output++ = alphabet[group >> 12 & 63];
        *output++ = alphabet[group >> 6 & 63];
        *output++ = alphabet[group & 63];
    }
    const std::size_t rest = bytes.size() - index;
    if (rest == 0) return;
    const std::uint32_t group = byteAt(index) << 16 | (rest == 2 ? byteAt(index + 1) << 8 : 0);
    *output++ = alphabet[group >> 18];
    *output++ = alphabet[group >> 12 & 63];
    *output++ = rest == 2 ? alphabet[group >> 6 & 63] : '=';
    *output++ = '=';
}

void Base64Decoder::append(std::string_view text) {
    // Written behind a grown end and cut back, which spares a check of the capacity for each byte.
    std::size_t end = _bytes.size();
    _bytes.resize(end + (text.size() / 4 + 1) * 3);
    const auto write = [this, &end](std::uint32_t byte) { _bytes[end++] = static_cast<char>(byte & 0xFF); };
    std::size_t index = 0;
    while (index < text.size()) {
        if (_digits == 0) {
            for (; index + 4 <= text.size(); index += 4) {
                const std::uint32_t first = digitValue(text[index]);
                const std::uint32_t second = digitValue(text[index + 1]);
                const std::uint32_t third = digitValue(text[index + 2]);
                const std::uint32_t fourth = digitValue(text[index + 3]);
                if ((first | second | third | fourth) >= skipped) break;
                const std::uint32_t group = first << 18 | second << 12 | third << 6 | fourth;
                write(group >> 16);
                write(group >> 8);
                write(group);
            }
            if (index == text.size()) break;
        }
        const std::uint8_t value = digitValue(text[index++]);
        if (value < skipped) {
            _bits = _bits << 6 | value;
            if (++_digits == 4) {
                write(_bits >> 16);
                write(_bits >> 8);
                write(_bits);
                _digits = 0;
            }
        } else if (value == padding) {
            if (_digits >= 2) write(_digits == 3 ? _bits >> 10 : _bits >> 4);
            if (_digits == 3) write(_bits >> 2);
            _digits = 0;
        }
    }
    _bytes.resize(end);
}

std::optional<Bytes> bytesFromPlainBase64(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    if (text.empty()) return Bytes();
    // How many bytes the last group lacks.
    const std::size_t missing = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    Bytes bytes(text.size() / 4 * 3, '\0');
    char* output = bytes.data();
    std::uint32_t allBits = 0;
    const auto decode = [&](std::uint32_t first, std::uint32_t second, std::uint32_t third,
                            std::uint32_t fourth) {
        allBits |= first | second | third | fourth;
        const std::uint32_t group = first << 18 | second << 12 | third << 6 | fourth;
        *output++ = static_cast<char>(group >> 16 & 0xFF);
        *output++ = static_cast<char>(group >> 8 & 0xFF);
        *output++ = static_cast<char>(group & 0xFF);
    };
    const std::size_t last = text.size() - 4;
    for (std::size_t index = 0; index < last; index += 4) {
        decode(digitValue(text[index]), digitValue(text[index + 1]), digitValue(text[index + 2]),
               digitValue(text[index + 3]));
    }
    decode(digitValue(text[last]), digitValue(text[last + 1]), missing == 2 ? 0U : digitValue(text[last + 2]),
           missing != 0 ? 0U : digitValue(text[last + 3]));
    if (allBits >= skipped) return std::nullopt;
    bytes.resize(bytes.size() - missing);
    return bytes;
}

Bytes Base64Decoder::take() {
    append("=");
    return std::exchange(_bytes, {});
}

} // namespace mox
