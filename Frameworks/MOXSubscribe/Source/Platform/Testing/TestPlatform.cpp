#include "Platform/Testing/TestPlatform.hpp"

#include <stdexcept>

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
    , _workspace(systemCalls, {userDirectories.home + "/.local/share"})
    , _fileReferences(systemCalls)
    , workspace(_workspace)
    , fileReferences(_fileReferences)
    , platform{
          fileSystem,     userDirectories,    bundles,      systemLog, assertionHandler,   workspace,
          fileReferences, launchRegistration, folderEvents, runLoops,  notificationCenter, systemVersion} {
    // Made as the framework would make it, so that whoever keeps book of the disk learns of it and finds it
    // safe.
    const Result<void> made = _disk.createDirectoryWithIntermediates(userDirectories.home, 0777);
    if (!made) throw std::runtime_error(made.error().description());
    systemCalls.resetCalls();
}

std::string TestPlatform::homePath(std::string_view relativePath) const {
    if (relativePath.empty()) return userDirectories.home;
    return std::string(userDirectories.home).append("/").append(relativePath);
}

Platform TestPlatform::platformWith(UserDirectories& replacement) const {
    return platformOf(replacement, platform.bundles, platform.systemLog);
}

Platform TestPlatform::platformWith(Bundles& replacement) const {
    return platformOf(platform.userDirectories, replacement, platform.systemLog);
}

Platform TestPlatform::platformWith(SystemLog& replacement) const {
    return platformOf(platform.userDirectories, platform.bundles, replacement);
}

Platform TestPlatform::platformOf(UserDirectories& directories, Bundles& bundleLookup, SystemLog& log) const {
    return {platform.fileSystem,
            directories,
            bundleLookup,
            log,
            platform.assertionHandler,
            platform.workspace,
            platform.fileReferences,
            platform.launchRegistration,
            platform.folderEvents,
            platform.runLoops,
            platform.notificationCenter,
            platform.systemVersion};
}

} // namespace mox::test
