#include "Platform/PackageNames.hpp"

#include "Foundation/PathRules.hpp"

#include <algorithm>
#include <array>
#include <string>

namespace mox {

bool isPackageName(std::string_view path) {
    constexpr std::array<std::string_view, 16> extensions = {
        "app",        "bundle", "plugin",  "pkg",       "mpkg", "rtfd", "prefpane", "qlgenerator",
        "mdimporter", "saver",  "service", "component", "kext", "xpc",  "appex",    "wdgt"};
    std::string extension = pathExtension(path);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

} // namespace mox
