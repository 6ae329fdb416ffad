#include "Foundation/PathRules.hpp"

#include <algorithm>

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
    if (position == std::string_view::npos || position == 0) return std::string_view::npos;
    const bool isFirstInComponent = path[position - 1] == separator;
    const bool isInLastComponent = path.find(separator, position) == std::string_view::npos;
    return isInLastComponent && !isFirstInComponent ? position : std::string_view::npos;
}

} // namespace

std::optional<std::string_view> PathComponentReader::next() {
    if (_rest.empty()) return std::nullopt;
    const auto skipSeparators = [this] {
        _rest.remove_prefix(std::min(_rest.find_first_not_of(separator), _rest.size()));
    };
    if (_rest.front() == separator) {
        const std::string_view component = _rest.substr(0, 1);
        skipSeparators();
        return component;
    }
    const std::string_view component = _rest.substr(0, _rest.find(separator));
    const std::string_view behind = _rest.substr(component.size());
    _rest = behind;
    skipSeparators();
    const bool endsWithSeparator = _rest.empty() && !behind.empty();
    if (endsWithSeparator) _rest = behind.substr(0, 1);
    return component;
}

std::vector<std::string> pathComponents(std::string_view path) {
    std::vector<std::string> components;
    PathComponentReader reader(path);
    while (const auto component = reader.next())
        components.emplace_back(*component);
    return components;
}

std::string lastPathComponent(std::string_view path) {
    path = withoutTrailingSeparators(path);
    if (path == "/") return "/";
    return std::string(path.substr(lastComponentStart(path)));
}

std::string_view viewByDeletingLastPathComponent(std::string_view path) {
    path = withoutTrailingSeparators(path);
    return withoutTrailingSeparators(path.substr(0, lastComponentStart(path)));
}

std::string stringByDeletingLastPathComponent(std::string_view path) {
    return std::string(viewByDeletingLastPathComponent(path));
}

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
    std::string joined;
    joined.reserve(path.size() + component.size() + 1);
    joined.append(path);
    if (!path.empty()) joined.push_back(separator);
    joined.append(component);
    // Nearly no path has a separator twice in a row, and many are joined.
    if (joined.find("//") != joined.npos) {
        const auto areSeparators = [](char left, char right) {
            return left == separator && right == separator;
        };
        joined.erase(std::unique(joined.begin(), joined.end(), areSeparators), joined.end());
    }
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
    return std::string(viewOfPathExtension(path));
}

std::string_view viewOfPathExtension(std::string_view path) {
    path = withoutTrailingSeparators(path);
    const std::size_t start = extensionStart(path);
    return start == std::string_view::npos ? std::string_view() : path.substr(start + 1);
}

} // namespace mox
