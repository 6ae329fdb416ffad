#include "Platform/Testing/TestPlatform.hpp"

#include <cerrno>
#include <system_error>

namespace mox::test {
namespace {

const std::string& chosenFolder(const TestPlatform::Options& options, const ScratchFolder& own) {
    return options.folder.empty() ? own.path() : options.folder;
}

FixedUserDirectories userDirectoriesIn(const std::string& folder) {
    FixedUserDirectories directories;
    directories.home = folder + "/home";
    directories.libraries = {directories.home + "/Library"};
    directories.temporary = folder + "/tmp";
    return directories;
}

LinuxBundles::Surroundings surroundingsIn(const std::string& folder,
                                          const std::vector<std::string>& languages) {
    return {.programPath = folder + "/Client.app/Contents/MacOS/Client",
            .frameworkBundleCandidates = {MOX_FRAMEWORK_BUNDLE},
            .languages = languages};
}

} // namespace

TestPlatform::TestPlatform(const Options& options)
    : systemCalls(options.systemCalls ? *options.systemCalls : _ownSystemCalls)
    , _disk(systemCalls)
    , _diskOfBundles(_ownSystemCalls)
    , fileSystem(_disk)
    , userDirectories(userDirectoriesIn(chosenFolder(options, _ownFolder)))
    , bundles(_diskOfBundles, surroundingsIn(chosenFolder(options, _ownFolder), options.languages))
    , platform{fileSystem, userDirectories, bundles, systemLog, assertionHandler} {
    if (_ownSystemCalls.mkdir(userDirectories.home.c_str(), 0777) != 0 && errno != EEXIST) {
        throw std::system_error(errno, std::generic_category(), userDirectories.home);
    }
}

std::string TestPlatform::homePath(std::string_view relativePath) const {
    if (relativePath.empty()) return userDirectories.home;
    return std::string(userDirectories.home).append("/").append(relativePath);
}

} // namespace mox::test
