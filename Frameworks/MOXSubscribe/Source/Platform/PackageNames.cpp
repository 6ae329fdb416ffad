#include "Platform/PackageNames.hpp"

#include "Foundation/PathRules.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace mox {
namespace {

constexpr std::array<std::string_view, 16> extensions = {
    "app",        "bundle", "plugin",  "pkg",       "mpkg", "rtfd", "prefpane", "qlgenerator",
    "mdimporter", "saver",  "service", "component", "kext", "xpc",  "appex",    "wdgt"};

} // namespace

bool isPackageName(std::string_view path) {
    const auto isEqual = [](char small, char any) {
        return small == (any >= 'A' && any <= 'Z' ? static_cast<char>(any - 'A' + 'a') : any);
    };
    const std::string_view extension = viewOfPathExtension(path);
    return std::any_of(extensions.begin(), extensions.end(), [&](std::string_view known) {
        return std::equal(known.begin(), known.end(), extension.begin(), extension.end(), isEqual);
    });
}

} // namespace mox
