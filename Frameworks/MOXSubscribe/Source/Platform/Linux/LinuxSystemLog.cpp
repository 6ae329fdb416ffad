#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/Linux/LinuxSystemLog.hpp"

#include "Foundation/UnicodeText.hpp"

#include <array>
#include <cstdio>
#include <syslog.h>

namespace mox {
namespace {

/// The scalar value that begins at `text`'s first byte and the number of bytes that it takes, as far as they
/// matter here: everything that is escaped takes up to three.
struct Scalar {
    unsigned value;
    std::size_t length;
};

unsigned byteAt(std::string_view text, std::size_t index) {
    return static_cast<unsigned char>(text[index]);
}

Scalar firstScalar(std::string_view text) {
    const unsigned first = byteAt(text, 0);
    if (first < 0x80) return {first, 1};
    if (first < 0xE0) return {(first & 0x1F) << 6 | (byteAt(text, 1) & 0x3F), 2};
    if (first < 0xF0) {
        return {(first & 0x0F) << 12 | (byteAt(text, 1) & 0x3F) << 6 | (byteAt(text, 2) & 0x3F), 3};
    }
    return {0x10000, 4};
}

bool isEscaped(unsigned scalar) {
    const bool isControl = scalar < 0x20 || (scalar >= 0x7F && scalar < 0xA0);
    const bool isSeparator = scalar == 0x2028 || scalar == 0x2029;
    const bool isDirection = scalar == 0x200E || scalar == 0x200F || scalar == 0x061C ||
                             (scalar >= 0x202A && scalar <= 0x202E) || (scalar >= 0x2066 && scalar <= 0x2069);
    return isControl || isSeparator || isDirection;
}

std::string escaped(unsigned scalar) {
    switch (scalar) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        break;
    }
    std::array<char, 16> text{};
    const int length = std::snprintf(text.data(), text.size(), scalar < 0x80 ? "\\x%02X" : "\\u{%X}", scalar);
    return {text.data(), static_cast<std::size_t>(length)};
}

} // namespace

std::string escapedForLog(std::string_view message) {
    const std::string repaired = repairedUTF8(std::string(message));
    std::string line;
    line.reserve(repaired.size());
    for (std::string_view rest = repaired; !rest.empty();) {
        const auto [scalar, length] = firstScalar(rest);
        if (isEscaped(scalar))
            line += escaped(scalar);
        else
            line += rest.substr(0, length);
        rest.remove_prefix(length);
    }
    return line;
}

void LinuxSystemLog::log(std::string_view message) {
    ::syslog(LOG_USER | LOG_NOTICE, "%s", escapedForLog(message).c_str());
}

} // namespace mox
