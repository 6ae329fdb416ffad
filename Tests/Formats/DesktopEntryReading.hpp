#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox::test {

// A reader of desktop entries that takes nothing that is doubtful, written from the format's description and
// apart from the code that it checks.

/// The values by their keys, escapes resolved. Nil unless the file is exactly one group "Desktop Entry" of
/// lines "KEY=VALUE", each key there once, without control characters, every escape known.
inline std::optional<std::map<std::string, std::string>> strictDesktopEntry(std::string_view text) {
    constexpr std::string_view keyCharacters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-";
    constexpr std::string_view groupLine = "[Desktop Entry]\n";
    if (!text.starts_with(groupLine) || !text.ends_with('\n')) return std::nullopt;
    text.remove_prefix(groupLine.size());
    std::map<std::string, std::string> values;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(line.size() + 1);
        const std::size_t separator = line.find('=');
        if (separator == line.npos || separator == 0) return std::nullopt;
        const std::string_view key = line.substr(0, separator);
        if (key.find_first_not_of(keyCharacters) != key.npos) return std::nullopt;
        const std::string_view raw = line.substr(separator + 1);
        if (raw.starts_with(' ') || raw.ends_with(' ')) return std::nullopt;
        std::string value;
        for (std::size_t index = 0; index < raw.size(); ++index) {
            const auto code = static_cast<unsigned char>(raw[index]);
            if (code < 0x20 || code == 0x7f) return std::nullopt;
            if (raw[index] != '\\') {
                value += raw[index];
                continue;
            }
            const char escape = ++index < raw.size() ? raw[index] : '\0';
            const std::map<char, char> escapes = {
                {'s', ' '}, {'n', '\n'}, {'t', '\t'}, {'r', '\r'}, {'\\', '\\'}};
            const auto meaning = escapes.find(escape);
            if (meaning == escapes.end()) return std::nullopt;
            value += meaning->second;
        }
        if (!values.emplace(key, value).second) return std::nullopt;
    }
    return values;
}

/// What becomes of a valid text in a value: a character that the format cannot carry is U+FFFD.
inline std::string carriedText(std::string_view text) {
    std::string result;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        const bool isCarried = (code >= 0x20 && code != 0x7f) || code == '\n' || code == '\t' || code == '\r';
        result += isCarried ? std::string(1, character) : "\uFFFD";
    }
    return result;
}

/// The arguments of a command line as a launcher makes them for `files`. Nil unless each argument is quoted,
/// or is the field code for files alone, and every "%" within one is doubled.
inline std::optional<std::vector<std::string>> strictArguments(std::string_view line,
                                                               const std::vector<std::string>& files) {
    std::vector<std::string> arguments;
    while (!line.empty()) {
        if (line == "%F") {
            arguments.insert(arguments.end(), files.begin(), files.end());
            return arguments;
        }
        if (line.front() != '"') return std::nullopt;
        std::string argument;
        std::size_t index = 1;
        for (; index < line.size() && line[index] != '"'; ++index) {
            char character = line[index];
            if (character == '`' || character == '$') return std::nullopt;
            if (character == '\\') {
                if (++index == line.size()) return std::nullopt;
                character = line[index];
                if (std::string_view("\"`$\\").find(character) == std::string_view::npos) return std::nullopt;
            } else if (character == '%') {
                if (++index == line.size() || line[index] != '%') return std::nullopt;
            }
            argument += character;
        }
        if (line.substr(index, 2) != "\" ") return std::nullopt;
        line.remove_prefix(index + 2);
        arguments.push_back(argument);
    }
    return std::nullopt;
}

} // namespace mox::test
