#include "Formats/DesktopEntry.hpp"

#include "Foundation/UnicodeText.hpp"

#include <algorithm>
#include <string_view>

namespace mox {
namespace {

constexpr std::string_view groupLine = "[Desktop Entry]";
constexpr std::string_view bundleKey = "X-MOXSubscribe-Bundle";
constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

/// Runs a program whose path, unlike its own, has a "%".
constexpr std::string_view programRunner = "/usr/bin/env";

bool isForbiddenControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    return (code < 0x20 && character != '\n' && character != '\t' && character != '\r') || code == 0x7f;
}

bool isCarriable(std::string_view path) {
    return isValidUTF8(path) && std::none_of(path.begin(), path.end(), isForbiddenControl);
}

std::string carriableText(const std::string& text) {
    std::string result;
    for (const char character : repairedUTF8(text)) {
        if (isForbiddenControl(character)) {
            result += replacementCharacter;
        } else {
            result += character;
        }
    }
    return result;
}

/// `value` as a key file holds it. Blanks at its ends are escaped, since some readers cut them off.
std::string escapedValue(std::string_view value) {
    std::string result;
    for (std::size_t index = 0; index < value.size(); ++index) {
        switch (value[index]) {
        case ' ':
            result += index == 0 || index + 1 == value.size() ? "\\s" : " ";
            break;
        case '\n':
            result += "\\n";
            break;
        case '\t':
            result += "\\t";
            break;
        case '\r':
            result += "\\r";
            break;
        case '\\':
            result += "\\\\";
            break;
        default:
            result += value[index];
        }
    }
    return result;
}

/// The value that `escaped` stands for; nil when an escape is unknown.
std::optional<std::string> unescapedValue(std::string_view escaped) {
    constexpr std::string_view codes = "sntr\\";
    constexpr std::string_view meanings = " \n\t\r\\";
    std::string result;
    for (std::size_t index = 0; index < escaped.size(); ++index) {
        if (escaped[index] != '\\') {
            result += escaped[index];
            continue;
        }
        const std::size_t code = ++index < escaped.size() ? codes.find(escaped[index]) : codes.npos;
        if (code == codes.npos) return std::nullopt;
        result += meanings[code];
    }
    return result;
}

/// An argument of a command line, quoted; a "%" would begin a field code.
std::string quotedArgument(std::string_view argument) {
    std::string result = "\"";
    for (const char character : argument) {
        if (std::string_view("\"`$\\").find(character) != std::string_view::npos) result += '\\';
        if (character == '%') result += '%';
        result += character;
    }
    return result + '"';
}

std::string commandLine(const std::string& program) {
    // Widespread readers look for the program before they make "%" out of "%%", and so would not find it.
    const bool needsRunner = program.find('%') != program.npos;
    const std::string beginning = needsRunner ? quotedArgument(programRunner) + " " : "";
    return beginning + quotedArgument(program) + " %F";
}

void appendLine(Bytes& text, std::string_view key, std::string_view value) {
    text.append(key).append("=").append(escapedValue(value)).append("\n");
}

} // namespace

std::optional<Bytes> desktopEntryText(const DesktopEntry& entry) {
    if (!isCarriable(entry.bundle) || !isCarriable(entry.program)) return std::nullopt;
    if (entry.program.find('=') != entry.program.npos) return std::nullopt;

    Bytes text = std::string(groupLine) + "\n";
    appendLine(text, "Type", "Application");
    appendLine(text, "Version", "1.4");
    appendLine(text, bundleKey, entry.bundle);
    appendLine(text, "Name", carriableText(entry.name));
    if (!entry.comment.empty()) appendLine(text, "Comment", carriableText(entry.comment));
    if (!entry.icon.empty()) appendLine(text, "Icon", entry.icon);
    appendLine(text, "TryExec", entry.program);
    appendLine(text, "Exec", commandLine(entry.program));
    appendLine(text, "Terminal", "false");
    appendLine(text, "Categories", "Network;RemoteAccess;");
    if (!entry.documentTypes.empty()) {
        std::string list;
        for (const std::string& type : entry.documentTypes)
            list += type + ";";
        appendLine(text, "MimeType", list);
    }
    return text;
}

std::optional<std::string> bundleOfDesktopEntry(ByteView bytes) {
    bool isInGroup = false;
    while (!bytes.empty()) {
        const std::string_view line = bytes.substr(0, bytes.find('\n'));
        bytes.remove_prefix(std::min(line.size() + 1, bytes.size()));
        if (line.starts_with("[")) isInGroup = line == groupLine;
        if (!isInGroup || !line.starts_with(bundleKey)) continue;
        const std::string_view rest = line.substr(bundleKey.size());
        if (rest.starts_with("=")) return unescapedValue(rest.substr(1));
    }
    return std::nullopt;
}

} // namespace mox
