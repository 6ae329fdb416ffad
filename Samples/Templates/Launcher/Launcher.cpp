#include "Launcher.hpp"

#include <climits>

#include <MOXLaunchAlias.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <unistd.h>

#include "LaunchURL.hpp"
#include "Programs.hpp"

namespace mox::launcher {
namespace {

constexpr const char* openerName = "xdg-open";
constexpr std::string_view clientProgramKey = "KVClientProgram";
constexpr std::string_view schemesKey = "KVLaunchURLSchemes";

/// The information list of the bundle that has the running program in `Contents/MacOS`; empty when it cannot
/// be read.
PropertyList::Dictionary bundleInformation() {
    char path[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", path, sizeof path);
    std::string_view folder(path, length < 0 ? 0 : static_cast<std::size_t>(length));
    for (int component = 0; component < 2; ++component)
        folder = folder.substr(0, std::min(folder.rfind('/'), folder.size()));
    // A launch alias is a dictionary in a file: reading it is how a client reads any property list.
    const auto list = MOXLaunchAlias::launchAliasWithFile(std::string(folder) + "/Info.plist");
    return list ? list->dictionaryRepresentation() : PropertyList::Dictionary();
}

std::vector<std::string> allowedSchemes(const PropertyList::Dictionary& information) {
    std::vector<std::string> schemes;
    if (const PropertyList::Array* array = information.array(schemesKey)) {
        for (const PropertyList& entry : *array) {
            if (const std::string* scheme = entry.string()) schemes.push_back(*scheme);
        }
    }
    return schemes;
}

/// `document` as a path that no program takes for an option.
std::optional<std::string> absolutePath(const std::string& document) {
    if (document.empty()) return std::nullopt;
    if (document.front() == '/') return document;
    char folder[PATH_MAX];
    if (!::getcwd(folder, sizeof folder)) return std::nullopt;
    return std::string(folder) + "/" + document;
}

Refusal becomeProgramNamed(const std::string& name, const std::vector<std::string>& arguments) {
    const std::optional<std::string> path = pathOfProgram(name);
    if (!path) return {Status::NoProgram, "The program " + name + " was not found."};
    becomeProgram(*path, arguments);
    const int error = errno;
    return {Status::NotStarted,
            "The program " + *path + " could not be started: " + std::strerror(error) + "."};
}

} // namespace

std::string bundleName() {
    const PropertyList::Dictionary information = bundleInformation();
    const std::string* name = information.string("CFBundleName");
    return name ? *name : std::string();
}

Refusal launch(const std::vector<std::string>& documents) {
    const auto alias = MOXLaunchAlias::launchAliasWithMainBundle();
    if (!alias) return {Status::NothingToLaunch, "This is not a subscription: it has no launch alias."};
    const std::optional<std::string> url = alias->launchURL();
    if (!url) return {Status::NothingToLaunch, "The subscription has no launch URL."};
    const PropertyList::Dictionary information = bundleInformation();
    if (const auto objection = objectionToLaunchURL(*url, allowedSchemes(information)))
        return {Status::NothingToLaunch, "The launch URL " + *objection};

    std::vector<std::string> arguments = {*url};
    if (documents.empty()) return becomeProgramNamed(openerName, arguments);

    const std::string* client = information.string(clientProgramKey);
    if (!client || client->empty())
        return {Status::DocumentsRefused, "This subscription cannot open documents."};
    for (const std::string& document : documents) {
        const std::optional<std::string> path = absolutePath(document);
        if (!path) return {Status::DocumentsRefused, "A document without a name cannot be opened."};
        arguments.push_back(*path);
    }
    return becomeProgramNamed(*client, arguments);
}

} // namespace mox::launcher
