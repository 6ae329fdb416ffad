#pragma once

#include "Platform/Linux/LinuxBundles.hpp"
#include "Platform/Linux/LinuxFileReferences.hpp"
#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/Linux/LinuxWorkspace.hpp"
#include "Platform/Platform.hpp"
#include "Platform/Testing/FaultySystemCalls.hpp"
#include "Platform/Testing/FixedSystemVersion.hpp"
#include "Platform/Testing/FixedUserDirectories.hpp"
#include "Platform/Testing/ForwardingFileReferences.hpp"
#include "Platform/Testing/ForwardingFileSystem.hpp"
#include "Platform/Testing/ForwardingWorkspace.hpp"
#include "Platform/Testing/RecordingLaunchRegistration.hpp"
#include "Platform/Testing/RecordingSystemLog.hpp"
#include "Platform/Testing/SteppedFolderEvents.hpp"
#include "Platform/Testing/SteppedRunLoops.hpp"
#include "Support/ScratchFolder.hpp"

#include <string>
#include <vector>

namespace mox::test {

/// A whole platform for a test: the real disk in a scratch folder, behind operations and system calls that
/// can be made to fail; the user's folders in that folder; the framework's own resources from the source
/// tree; a log that keeps its lines. Put it in force with a `ScopedPlatform` of `platform`.
///
/// The home folder is "home" in the scratch folder, and is there. `Library` in it is the only library folder
/// and is not there, nor are "tmp" in the scratch folder, the folder for temporary files, and "Client.app"
/// there, the main bundle.
class TestPlatform {
public:
    /// What a test may want otherwise.
    struct Options {
        /// The user's languages.
        std::vector<std::string> languages = {};
        /// Makes the system calls in place of the system itself; outlives the platform.
        SystemCalls* systemCalls = nullptr;
        /// Takes the place of the scratch folder: an absolute path of a folder that is there and outlives the
        /// platform. Empty for a scratch folder of its own.
        std::string folder = {};
    };

    TestPlatform() : TestPlatform(Options()) {}
    explicit TestPlatform(const Options& options);
    TestPlatform(const TestPlatform&) = delete;
    TestPlatform& operator=(const TestPlatform&) = delete;

    /// The path of `relativePath` in the home folder; of that itself when it is empty.
    std::string homePath(std::string_view relativePath = {}) const;

    /// The services with one of them replaced; it and this object must outlive the platform.
    Platform platformWith(UserDirectories& replacement) const;
    Platform platformWith(Bundles& replacement) const;
    Platform platformWith(SystemLog& replacement) const;

private:
    Platform platformOf(UserDirectories& directories, Bundles& bundleLookup, SystemLog& log) const;

    // Members stand in the order in which they need each other.
    ScratchFolder _ownFolder;
    SystemCalls _ownSystemCalls;

public:
    /// Where single system calls of the file system are recorded and made to fail.
    FaultySystemCalls systemCalls;

private:
    LinuxFileSystem _disk;
    LinuxFileSystem _diskOfBundles;

public:
    /// Where operations of the file system are counted and made to fail. Looking for resources does not
    /// count.
    ForwardingFileSystem fileSystem;

    FixedUserDirectories userDirectories;
    LinuxBundles bundles;
    RecordingSystemLog systemLog;
    CurrentAssertionHandler assertionHandler;

private:
    LinuxWorkspace _workspace;
    LinuxFileReferences _fileReferences;

public:
    /// The real workspace, whose home Trash is ".local/share/Trash" in the home folder.
    ForwardingWorkspace workspace;
    ForwardingFileReferences fileReferences;
    RecordingLaunchRegistration launchRegistration;
    SteppedFolderEvents folderEvents;
    SteppedRunLoops runLoops;
    NotificationCenter notificationCenter;
    FixedSystemVersion systemVersion;

    /// The services as one.
    const Platform platform;
};

} // namespace mox::test
