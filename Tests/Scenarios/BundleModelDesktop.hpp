#pragma once

#include "Platform/Linux/DesktopCaches.hpp"
#include "Platform/Linux/LinuxFolderEvents.hpp"
#include "Platform/Linux/LinuxLaunchRegistration.hpp"
#include "Platform/Linux/LinuxRunLoop.hpp"
#include "Platform/Linux/WatchCalls.hpp"
#include "Platform/Testing/TestPlatform.hpp"

#include <string>
#include <vector>

namespace mox::test {

/// A test's platform with the real registration, which writes into the user's data folder, and the real watch
/// and run loops. Caches of the desktop are not refreshed, but how often they would be is counted.
class BundleModelDesktop {
public:
    /// `test`, whose folder is `folder`, must outlive the object.
    BundleModelDesktop(TestPlatform& test, const std::string& folder);

    /// The stubs that the desktop entries of ours stand for, sorted.
    std::vector<std::string> registeredStubs() const;

    /// What is wrong with the desktop entries of ours, one text for each that is not well-formed.
    std::vector<std::string> invalidEntries() const;

    /// The programs that the desktop entries of ours start; "none" for one that starts none.
    std::vector<std::string> startedPrograms() const;

    unsigned refreshes() const { return _caches.refreshes; }

private:
    class CountingCaches : public DesktopCaches {
    public:
        unsigned refreshes = 0;
        void refresh(const DesktopChanges&) override { ++refreshes; }
    };

    std::vector<std::string> entries() const;

    const std::string _dataFolder;
    SystemCalls _system;
    CountingCaches _caches;
    LinuxLaunchRegistration _registration;
    WatchCalls _watchCalls;
    LinuxFolderEvents _folderEvents{_system, _watchCalls};
    LinuxRunLoops _runLoops;

public:
    const Platform platform;
};

} // namespace mox::test
