#include "ModelBased/ReferencePaths.hpp"

namespace mox::test::model {
namespace {

/// What stands between slashes, nothing empty.
std::vector<std::string> namesIn(const std::string& path) {
    std::vector<std::string> names;
    std::string name;
    for (const char character : path + "/") {
        if (character != '/') {
            name.push_back(character);
        } else if (!name.empty()) {
            names.push_back(name);
            name.clear();
        }
    }
    return names;
}

bool isAbsolute(const std::string& path) {
    return !path.empty() && path.front() == '/';
}

std::string pathOf(bool isAbsolute, const std::vector<std::string>& names) {
    std::string path = isAbsolute ? "/" : "";
    for (std::size_t index = 0; index < names.size(); ++index)
        path.append(index == 0 ? "" : "/").append(names[index]);
    return path;
}

} // namespace

std::vector<std::string> componentsOf(const std::string& path) {
    std::vector<std::string> components = namesIn(path);
    const bool endsInSlash = !components.empty() && path.back() == '/';
    if (isAbsolute(path)) components.insert(components.begin(), "/");
    if (endsInSlash) components.push_back("/");
    return components;
}

std::string lastComponentOf(const std::string& path) {
    const std::vector<std::string> names = namesIn(path);
    return names.empty() ? pathOf(isAbsolute(path), {}) : names.back();
}

std::string parentOf(const std::string& path) {
    std::vector<std::string> names = namesIn(path);
    if (!names.empty()) names.pop_back();
    return pathOf(isAbsolute(path), names);
}

std::string joined(const std::string& path, const std::string& component) {
    std::vector<std::string> names = namesIn(path);
    const bool startsAtRoot = isAbsolute(path) || (path.empty() && isAbsolute(component));
    for (const std::string& name : namesIn(component))
        names.push_back(name);
    return pathOf(startsAtRoot, names);
}

std::string withoutExtension(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::u16string utf16Of(const std::string& text) {
    std::u16string units;
    for (std::size_t index = 0; index < text.size();) {
        const auto first = static_cast<unsigned char>(text[index]);
        const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
        char32_t point = length == 1 ? first : first & (0x7FU >> length);
        for (std::size_t next = index + 1; next < index + length; ++next)
            point = point << 6U | (static_cast<unsigned char>(text[next]) & 0x3FU);
        if (point < 0x10000) {
            units.push_back(static_cast<char16_t>(point));
        } else {
            units.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10U)));
            units.push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FFU)));
        }
        index += length;
    }
    return units;
}

} // namespace mox::test::model
