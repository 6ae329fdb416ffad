#include "Scenarios/BundleModelDesktop.hpp"

#include "Formats/DesktopEntry.hpp"
#include "Formats/DesktopEntryReading.hpp"
#include "Support/FolderInspection.hpp"

#include <algorithm>
#include <unistd.h>

namespace mox::test {

BundleModelDesktop::BundleModelDesktop(TestPlatform& test, const std::string& folder)
    : _dataFolder(test.homePath(".local/share"))
    , _registration(test.fileSystem, test.systemCalls, test.bundles, _caches,
                    {.dataFolder = _dataFolder,
                     .sharedDataFolders = {folder + "/shared"},
                     .configurationFolders = {test.homePath(".config")},
                     .desktops = {"xfce"}})
    , platform{test.fileSystem,     test.userDirectories,    test.bundles,
               test.systemLog,      test.assertionHandler,   test.workspace,
               test.fileReferences, _registration,           _folderEvents,
               _runLoops,           test.notificationCenter, test.systemVersion} {}

/// The paths of the desktop entries of ours.
std::vector<std::string> BundleModelDesktop::entries() const {
    const std::string folder = _dataFolder + "/applications";
    std::vector<std::string> paths;
    if (::access(folder.c_str(), F_OK) != 0) return paths;
    for (const std::string& name : namesIn(folder)) {
        if (name.starts_with("moxsubscribe-")) paths.push_back(folder + "/" + name);
    }
    return paths;
}

std::vector<std::string> BundleModelDesktop::registeredStubs() const {
    std::vector<std::string> stubs;
    for (const std::string& path : entries())
        stubs.push_back(bundleOfDesktopEntry(bytesOfFile(path)).value_or("none: " + path));
    std::sort(stubs.begin(), stubs.end());
    return stubs;
}

std::vector<std::string> BundleModelDesktop::invalidEntries() const {
    std::vector<std::string> invalid;
    for (const std::string& path : entries()) {
        const auto values = strictDesktopEntry(bytesOfFile(path));
        if (!values) {
            invalid.push_back(path + ": not well-formed");
            continue;
        }
        const auto value = [&values](const char* key) {
            const auto found = values->find(key);
            return found == values->end() ? std::string() : found->second;
        };
        const auto arguments = strictArguments(value("Exec"), {"FILE"});
        if (value("Type") != "Application" || value("Name").empty() || !arguments ||
            ::access(arguments->front().c_str(), F_OK) != 0) {
            invalid.push_back(path + ": starts " + value("Exec").substr(0, 200));
        }
    }
    return invalid;
}

std::vector<std::string> BundleModelDesktop::startedPrograms() const {
    std::vector<std::string> programs;
    for (const std::string& path : entries()) {
        const auto values = strictDesktopEntry(bytesOfFile(path));
        const bool hasLine = values && values->contains("Exec");
        const auto arguments = hasLine ? strictArguments(values->at("Exec"), {}) : std::nullopt;
        programs.push_back(arguments && !arguments->empty() ? arguments->back() : "none");
    }
    return programs;
}

} // namespace mox::test
