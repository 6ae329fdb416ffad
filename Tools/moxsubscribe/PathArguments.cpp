#include "PathArguments.hpp"

#include <MOXSubscribe.hpp>

namespace mox::tool {

std::string normalizedPath(std::string_view path) {
    std::string result;
    result.reserve(path.size());
    for (const char character : path) {
        if (character != '/' || !result.ends_with('/')) result += character;
    }
    if (result.size() > 1 && result.ends_with('/')) result.pop_back();
    return result;
}

std::string storedText(std::string_view text) {
    return *PropertyList(text).string();
}

std::string absoluteArgument(std::string_view argument, const std::string& applicationsFolder) {
    if (argument.empty() || argument.starts_with('/')) return normalizedPath(argument);
    return normalizedPath(applicationsFolder + "/" + std::string(argument));
}

} // namespace mox::tool
