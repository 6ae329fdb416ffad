#include "Formats/MIMEPackage.hpp"

#include "Foundation/UnicodeText.hpp"

#include <cstddef>

namespace mox {
namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

/// The longest name of a file, less the character and the "." in front of the extension.
constexpr std::size_t longestExtension = 253;

bool isControl(char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 || code == 0x7f;
}

/// Whether `text` begins with one of the two characters that XML cannot hold though they are no controls.
bool beginsWithNoncharacter(std::string_view text) {
    return text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF");
}

/// `text` for an element or an attribute, in which a reader may take white space for blanks.
std::string escapedText(const std::string& text) {
    const std::string valid = repairedUTF8(text);
    std::string result;
    for (std::size_t index = 0; index < valid.size(); ++index) {
        const char character = valid[index];
        if (character == '&') {
            result += "&amp;";
        } else if (character == '<') {
            result += "&lt;";
        } else if (character == '>') {
            result += "&gt;";
        } else if (character == '"') {
            result += "&quot;";
        } else if (character == '\n' || character == '\t' || character == '\r') {
            result += ' ';
        } else if (isControl(character)) {
            result += replacementCharacter;
        } else if (beginsWithNoncharacter(std::string_view(valid).substr(index))) {
            result += replacementCharacter;
            index += 2;
        } else {
            result += character;
        }
    }
    return result;
}

} // namespace

bool isExtensionOfFiles(std::string_view extension) {
    const auto isSpecial = [](char character) {
        return isControl(character) || std::string_view("*?[\\/:").find(character) != std::string_view::npos;
    };
    if (extension.empty() || extension.size() > longestExtension || !isValidUTF8(extension)) return false;
    for (std::size_t index = 0; index < extension.size(); ++index) {
        if (isSpecial(extension[index]) || beginsWithNoncharacter(extension.substr(index))) return false;
    }
    return true;
}

Bytes mimePackageText(const std::vector<MIMEType>& types) {
    Bytes text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                 "<mime-info xmlns=\"http://www.freedesktop.org/standards/shared-mime-info\">\n";
    for (const MIMEType& type : types) {
        text += "  <mime-type type=\"" + escapedText(type.name) + "\">\n";
        if (!type.comment.empty()) text += "    <comment>" + escapedText(type.comment) + "</comment>\n";
        text += "    <glob pattern=\"*." + escapedText(type.extension) + "\"/>\n";
        text += "  </mime-type>\n";
    }
    return text + "</mime-info>\n";
}

} // namespace mox
