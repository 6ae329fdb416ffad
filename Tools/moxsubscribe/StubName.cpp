#include "StubName.hpp"

namespace mox::tool {
namespace {

constexpr std::string_view extension = ".app";

char lowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

bool isStubName(std::string_view name) {
    if (name.size() <= extension.size()) return false;
    const std::string_view end = name.substr(name.size() - extension.size());
    for (std::size_t index = 0; index < extension.size(); ++index) {
        if (lowerCase(end[index]) != extension[index]) return false;
    }
    return true;
}

} // namespace

std::string stubName(std::string_view name) {
    std::string result(name);
    if (!name.empty() && !isStubName(name)) result += extension;
    return result;
}

} // namespace mox::tool
