#include "LaunchURL.hpp"

#include <algorithm>
#include <array>

namespace mox::launcher {
namespace {

bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isSchemeCharacter(char character) {
    return isLetter(character) || (character >= '0' && character <= '9') || character == '+' ||
           character == '-' || character == '.';
}

/// Control characters of ASCII, and those that UTF-8 writes as C2 and a byte from 80 to 9F.
bool hasControlCharacter(std::string_view text) {
    unsigned char previous = 0;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F || (previous == 0xC2 && byte >= 0x80 && byte <= 0x9F)) return true;
        previous = byte;
    }
    return false;
}

std::string lowercase(std::string_view text) {
    std::string result(text);
    for (char& character : result) {
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    }
    return result;
}

template<typename List>
bool contains(const List& list, std::string_view scheme) {
    return std::any_of(list.begin(), list.end(),
                       [&](const auto& entry) { return lowercase(entry) == scheme; });
}

/// Whether `rest`, what follows the scheme and its ":", begins with "//" and a host.
bool namesHost(std::string_view rest) {
    if (!rest.starts_with("//")) return false;
    rest.remove_prefix(2);
    return !rest.substr(0, rest.find_first_of("/?#\\")).empty();
}

} // namespace

std::optional<std::string> objectionToLaunchURL(std::string_view url,
                                                const std::vector<std::string>& allowedSchemes) {
    constexpr std::array<std::string_view, 2> webSchemes = {"http", "https"};
    constexpr std::array<std::string_view, 3> forbiddenSchemes = {"file", "data", "javascript"};

    if (url.empty()) return "is empty.";
    if (hasControlCharacter(url)) return "contains control characters.";
    const auto end = std::find_if_not(url.begin(), url.end(), isSchemeCharacter);
    if (!isLetter(url.front()) || end == url.end() || *end != ':') return "is not an absolute URL.";
    const auto length = static_cast<std::size_t>(end - url.begin());
    const std::string scheme = lowercase(url.substr(0, length));
    const std::string_view rest = url.substr(length + 1);
    const bool isOfTheWeb = contains(webSchemes, scheme);
    if (contains(forbiddenSchemes, scheme) || (!isOfTheWeb && !contains(allowedSchemes, scheme)))
        return "has a scheme that is not allowed: " + scheme + ".";
    if (isOfTheWeb ? !namesHost(rest) : rest.empty()) return "leads nowhere.";
    return std::nullopt;
}

} // namespace mox::launcher
