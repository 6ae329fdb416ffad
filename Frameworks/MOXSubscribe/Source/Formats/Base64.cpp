#include "Formats/Base64.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace mox {
namespace {

/// How many bytes the last group of a text of whole groups lacks.
std::size_t missingBytes(std::string_view text) {
    return text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
}

} // namespace

void encodeBase64(ByteView bytes, char* text, const Base64Loops& loops) {
    const std::size_t encoded = loops.encode(bytes, text);
    const ByteView rest = bytes.substr(encoded);
    if (rest.empty()) return;
    std::array<char, 3> group = {};
    std::array<char, 4> digits = {};
    rest.copy(group.data(), rest.size());
    loops.encode({group.data(), group.size()}, digits.data());
    std::fill(digits.begin() + static_cast<std::ptrdiff_t>(rest.size()) + 1, digits.end(), '=');
    std::copy(digits.begin(), digits.end(), text + encoded / 3 * 4);
}

void appendBase64(std::string& text, ByteView bytes, const Base64Loops& loops) {
    const std::size_t start = text.size();
    text.resize(start + base64Size(bytes.size()));
    encodeBase64(bytes, text.data() + start, loops);
}

bool isCanonicalBase64(std::string_view text, const Base64Loops& loops) {
    if (text.size() % 4 != 0) return false;
    const std::size_t missing = missingBytes(text);
    const std::string_view digits = text.substr(0, text.size() - missing);
    if (loops.countDigits(digits) != digits.size()) return false;
    const std::uint32_t unusedBits = missing == 2 ? 0x0F : missing == 1 ? 0x03 : 0;
    return unusedBits == 0 || (base64Value(digits.back()) & unusedBits) == 0;
}

std::optional<Bytes> bytesFromPlainBase64(std::string_view text, const Base64Loops& loops) {
    if (text.size() % 4 != 0) return std::nullopt;
    const std::size_t missing = missingBytes(text);
    const std::string_view whole = missing == 0 ? text : text.substr(0, text.size() - 4);
    Bytes bytes(text.size() / 4 * 3 - missing, '\0');
    if (loops.decode(whole, bytes.data()) != whole.size()) return std::nullopt;
    if (missing == 0) return bytes;
    std::array<char, 4> digits = {'A', 'A', 'A', 'A'};
    std::array<char, 3> group = {};
    text.substr(whole.size(), 4 - missing).copy(digits.data(), digits.size());
    if (loops.decode({digits.data(), digits.size()}, group.data()) == 0) return std::nullopt;
    bytes.replace(whole.size() / 4 * 3, 3 - missing, group.data(), 3 - missing);
    return bytes;
}

void Base64Decoder::append(std::string_view text) {
    // Written behind a grown end and cut back, which spares a check of the capacity for each byte.
    std::size_t end = _bytes.size();
    _bytes.resize(end + (text.size() / 4 + 1) * 3);
    const auto write = [this, &end](std::uint32_t byte) { _bytes[end++] = static_cast<char>(byte & 0xFF); };
    while (!text.empty()) {
        if (_digits == 0) {
            const std::size_t decoded = _loops->decode(text, _bytes.data() + end);
            end += decoded / 4 * 3;
            text.remove_prefix(decoded);
            if (text.empty()) break;
        }
        const char character = text.front();
        text.remove_prefix(1);
        const std::uint32_t value = base64Value(character);
        if (value != noBase64Digit) {
            _bits = _bits << 6 | value;
            if (++_digits == 4) {
                write(_bits >> 16);
                write(_bits >> 8);
                write(_bits);
                _digits = 0;
            }
        } else if (character == '=') {
            if (_digits >= 2) write(_digits == 3 ? _bits >> 10 : _bits >> 4);
            if (_digits == 3) write(_bits >> 2);
            _digits = 0;
        }
    }
    _bytes.resize(end);
}

Bytes Base64Decoder::take() {
    append("=");
    return std::exchange(_bytes, {});
}

} // namespace mox
