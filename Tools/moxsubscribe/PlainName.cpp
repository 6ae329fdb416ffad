#include "PlainName.hpp"

#include "PrintableText.hpp"

namespace mox::tool {

std::string plainName(std::string_view text) {
    if (text == "." || text == "..") return std::string(text.size(), '-');
    std::string name;
    name.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = lengthOfFirstCharacter(text);
        const std::string_view character = text.substr(0, length == 0 ? 1 : length);
        const bool replaced = character == "/" || (length != 0 && isControl(codePoint(character)));
        name += replaced ? std::string_view("-") : character;
        text.remove_prefix(character.size());
    }
    return name;
}

std::string_view cutAtCharacter(std::string_view text, std::size_t maximumLength) {
    if (text.size() <= maximumLength) return text;
    const auto isInsideCharacter = [&](std::size_t index) {
        return (static_cast<unsigned char>(text[index]) & 0xC0U) == 0x80;
    };
    std::size_t length = maximumLength;
    while (length > 0 && isInsideCharacter(length))
        --length;
    return text.substr(0, length);
}

} // namespace mox::tool
