#include "Foundation/PathRules.hpp"

namespace mox {
namespace {

constexpr char separator = '/';

/// `path` without the "/" at its end, but for "/" alone.
std::string_view withoutTrailingSeparators(std::string_view path) {
    while (path.size() > 1 && path.back() == separator)
        path.remove_suffix(1);
    return path;
}

/// Where the last component of `path`, which does not end in "/", begins.
std::size_t lastComponentStart(std::string_view path) {
    const std::size_t position = path.rfind(separator);
    return position == std::string_view::npos ? 0 : position + 1;
}

/// Where the extension's "." is in `path`, which does not end in "/"; npos when there is no extension. A
/// component that only begins with "." has none.
std::size_t extensionStart(std::string_view path) {
    const std::size_t position = path.rfind('.');
    const bool found = position != std::string_view::npos && position > lastComponentStart(path);
    return found ? position : std::string_view::npos;
}

} // namespace

std::vector<std::string> pathComponents(std::string_view path) {
    std::vector<std::string> components;
    if (path.empty()) return components;
    if (path.front() == separator) components.emplace_back("/");
    std::size_t start = 0;
    while ((start = path.find_first_not_of(separator, start)) != std::string_view::npos) {
        const std::size_t end = path.find(separator, start);
        components.emplace_back(path.substr(start, end - start));
        start = end;
        if (end == std::string_view::npos) return components;
    }
    const bool isOnlySeparators = components.size() == 1 && components.front() == "/";
    if (!isOnlySeparators) components.emplace_back("/");
    return components;
}

std::string lastPathComponent(std::string_view path) {
    path = withoutTrailingSeparators(path);
    if (path == "/") return "/";
    return std::string(path.substr(lastComponentStart(path)));
}

std::string stringByDeletingLastPathComponent(std::string_view path) {
    path = withoutTrailingSeparators(path);
    const std::size_t start = lastComponentStart(path);
    if (start == 0) return "";
    return std::string(withoutTrailingSeparators(path.substr(0, start)));
}

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
    std::string joined;
    joined.reserve(path.size() + component.size() + 1);
    const auto append = [&joined](std::string_view text) {
        for (const char character : text) {
            if (character == separator && !joined.empty() && joined.back() == separator) continue;
            joined.push_back(character);
        }
    };
    append(path);
    if (!path.empty()) append("/");
    append(component);
    joined.resize(withoutTrailingSeparators(joined).size());
    return joined;
}

std::string stringByAppendingPathExtension(std::string_view path, std::string_view extension) {
    return std::string(withoutTrailingSeparators(path)).append(".").append(extension);
}

std::string stringByDeletingPathExtension(std::string_view path) {
    path = withoutTrailingSeparators(path);
    return std::string(path.substr(0, extensionStart(path)));
}

std::string pathExtension(std::string_view path) {
    path = withoutTrailingSeparators(path);
    const std::size_t start = extensionStart(path);
    return start == std::string_view::npos ? "" : std::string(path.substr(start + 1));
}

} // namespace mox
