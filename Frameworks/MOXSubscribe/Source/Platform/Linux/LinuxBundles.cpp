#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/Linux/LinuxBundles.hpp"

#include "Formats/PropertyListReading.hpp"
#include "Foundation/PathRules.hpp"
#include "Platform/PackageNames.hpp"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <limits.h>
#include <memory>
#include <unistd.h>
#include <utility>

namespace mox {
namespace {

constexpr std::string_view usualResourceFolder = "Contents/Resources";
constexpr std::string_view otherResourceFolder = "Resources";
constexpr std::string_view localizationExtension = "lproj";

/// Languages that old bundles call by their English names.
constexpr std::array<std::pair<std::string_view, std::string_view>, 7> oldLanguageNames = {{
    {"en", "English"},
    {"de", "German"},
    {"fr", "French"},
    {"es", "Spanish"},
    {"it", "Italian"},
    {"ja", "Japanese"},
    {"nl", "Dutch"},
}};

/// The names under which a bundle may keep what is in `language`, the most exact one first.
std::vector<std::string> localizationNames(const std::string& language) {
    std::vector<std::string> names = {language};
    const std::size_t separator = language.find_first_of("_-");
    const std::string withoutRegion = language.substr(0, separator);
    if (separator != language.npos) {
        std::string otherSpelling = language;
        otherSpelling[separator] = language[separator] == '_' ? '-' : '_';
        names.push_back(std::move(otherSpelling));
        names.push_back(withoutRegion);
    }
    for (const auto& [code, oldName] : oldLanguageNames) {
        if (withoutRegion == code) names.emplace_back(oldName);
        if (withoutRegion == oldName) names.emplace_back(code);
    }
    return names;
}

/// The names, sorted, of the localisations that `folder` has.
std::vector<std::string> localizationsIn(const std::string& folder) {
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(folder.c_str()), ::closedir);
    if (!directory) return names;
    while (const dirent* entry = ::readdir(directory.get())) {
        if (pathExtension(entry->d_name) == localizationExtension) {
            names.push_back(stringByDeletingPathExtension(entry->d_name));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string programPath() {
    std::string path(PATH_MAX, '\0');
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    path.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    return path;
}

/// The path of the library, or program, that holds this function, links resolved.
std::string libraryPath() {
    Dl_info info = {};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): how dladdr(3) is asked.
    if (::dladdr(reinterpret_cast<const void*>(&libraryPath), &info) == 0 || info.dli_fname == nullptr)
        return {};
    const std::string_view name = info.dli_fname;
    // The program itself is named as it was called, perhaps without a folder.
    if (name.find('/') == name.npos) return programPath();
    const std::unique_ptr<char, void (*)(void*)> resolved(::realpath(info.dli_fname, nullptr), std::free);
    return resolved ? resolved.get() : std::string();
}

/// The innermost application that holds the program at `path`, else the program's folder.
std::string mainBundleOfProgram(const std::string& path) {
    std::string programFolder = stringByDeletingLastPathComponent(path);
    std::string inner = programFolder;
    while (lastPathComponent(inner) != inner) {
        std::string outer = stringByDeletingLastPathComponent(inner);
        if (lastPathComponent(inner) == "Contents" && isPackageName(outer)) return outer;
        inner = std::move(outer);
    }
    return programFolder;
}

std::string valueOf(const char* variable) {
    const char* value = std::getenv(variable);
    return value ? value : "";
}

bool meansNoLanguage(std::string_view locale) {
    locale = locale.substr(0, locale.find_first_of(".@"));
    return locale == "C" || locale == "POSIX";
}

} // namespace

LinuxBundles::LinuxBundles(FileSystem& fileSystem, Surroundings surroundings)
    : _fileSystem(fileSystem)
    , _surroundings(std::move(surroundings))
    , _mainBundlePath(mainBundleOfProgram(_surroundings.programPath)) {}

std::string LinuxBundles::mainBundlePath() const {
    return _mainBundlePath;
}

std::optional<std::string> LinuxBundles::frameworkBundlePath(std::string_view identifier) const {
    for (const std::string& candidate : _surroundings.frameworkBundleCandidates) {
        if (informationText(candidate, "CFBundleIdentifier") == identifier) return candidate;
    }
    return std::nullopt;
}

std::string LinuxBundles::resourceFolder(std::string_view bundlePath) const {
    for (const std::string_view place : {usualResourceFolder, otherResourceFolder}) {
        std::string folder = stringByAppendingPathComponent(bundlePath, place);
        if (_fileSystem.itemKindAtPath(folder) == ItemKind::Directory) return folder;
    }
    return std::string(bundlePath);
}

std::optional<std::string> LinuxBundles::pathForResource(std::string_view name,
                                                         std::optional<std::string_view> type,
                                                         std::string_view bundlePath) const {
    if (name.empty()) return std::nullopt;
    const std::string fileName =
        type && !type->empty() ? stringByAppendingPathExtension(name, *type) : std::string(name);
    // One look finds what is where nearly every bundle has it: if it is there, so is its folder. Whoever
    // walks through many bundles notices.
    std::string path = stringByAppendingPathComponent(
        stringByAppendingPathComponent(bundlePath, usualResourceFolder), fileName);
    const ItemKind kind = _fileSystem.itemKindAtPath(path);
    if (kind == ItemKind::File || kind == ItemKind::Directory) return path;

    const std::string folder = resourceFolder(bundlePath);
    // Nearly always where it was looked for.
    std::string pathInFolder = stringByAppendingPathComponent(folder, fileName);
    const bool isThere = pathInFolder == path ? kind != ItemKind::Missing : exists(pathInFolder);
    path = std::move(pathInFolder);
    if (isThere) return path;

    const auto isIn = [&](const std::string& localization) {
        path = stringByAppendingPathComponent(
            stringByAppendingPathComponent(
                folder, stringByAppendingPathExtension(localization, localizationExtension)),
            fileName);
        return exists(path);
    };
    const auto isInLanguage = [&](const std::string& language) {
        const std::vector<std::string> names = localizationNames(language);
        return std::any_of(names.begin(), names.end(), isIn);
    };
    const std::vector<std::string>& languages = _surroundings.languages;
    if (std::any_of(languages.begin(), languages.end(), isInLanguage)) return path;
    const auto developmentRegion = informationText(bundlePath, "CFBundleDevelopmentRegion");
    if (developmentRegion && isInLanguage(*developmentRegion)) return path;
    const std::vector<std::string> localizations = localizationsIn(folder);
    if (std::any_of(localizations.begin(), localizations.end(), isIn)) return path;
    return std::nullopt;
}

bool LinuxBundles::exists(const std::string& path) const {
    return _fileSystem.itemKindAtPath(path) != ItemKind::Missing;
}

/// The text under `key` in the information list of the bundle at `bundlePath`; nil when there is none. A
/// framework keeps its list among its resources, an application in `Contents`, a plain folder at its top.
std::optional<std::string> LinuxBundles::informationText(std::string_view bundlePath,
                                                         std::string_view key) const {
    for (const std::string_view place : {"Resources/Info.plist", "Contents/Info.plist", "Info.plist"}) {
        const Result<Bytes> bytes =
            _fileSystem.contentsOfFile(stringByAppendingPathComponent(bundlePath, place));
        if (!bytes) continue;
        const std::optional<PropertyList> list = propertyListFromBytes(*bytes);
        const PropertyList::Dictionary* information = list ? list->dictionary() : nullptr;
        const std::string* text = information ? information->string(key) : nullptr;
        return text ? std::optional(*text) : std::nullopt;
    }
    return std::nullopt;
}

LinuxBundles::Surroundings surroundingsOfThisProcess() {
    const std::string libraryFolder = stringByDeletingLastPathComponent(libraryPath());
    const std::string sharedFolder = stringByAppendingPathComponent(
        stringByDeletingLastPathComponent(libraryFolder), "share/MOXSubscribe");
    constexpr std::string_view bundleName = "MOXSubscribe.framework";
    return {
        .programPath = programPath(),
        .frameworkBundleCandidates = {stringByAppendingPathComponent(libraryFolder, bundleName),
                                      stringByAppendingPathComponent(sharedFolder, bundleName)},
        .languages = preferredLanguages({.language = valueOf("LANGUAGE"),
                                         .all = valueOf("LC_ALL"),
                                         .messages = valueOf("LC_MESSAGES"),
                                         .standard = valueOf("LANG")}),
    };
}

std::vector<std::string> preferredLanguages(const LanguageEnvironment& environment) {
    std::string_view locale = environment.standard;
    if (!environment.messages.empty()) locale = environment.messages;
    if (!environment.all.empty()) locale = environment.all;
    if (meansNoLanguage(locale)) return {};

    std::vector<std::string> languages;
    const auto add = [&](std::string_view language) {
        language = language.substr(0, language.find_first_of(".@"));
        if (language.empty() || meansNoLanguage(language)) return;
        if (std::find(languages.begin(), languages.end(), language) == languages.end()) {
            languages.emplace_back(language);
        }
    };
    std::string_view list = environment.language;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(':'), list.size());
        add(list.substr(0, end));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    add(locale);
    return languages;
}

} // namespace mox
