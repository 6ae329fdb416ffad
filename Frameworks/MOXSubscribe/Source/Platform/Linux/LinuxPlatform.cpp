#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/Linux/DesktopCaches.hpp"
#include "Platform/Linux/LinuxBundles.hpp"
#include "Platform/Linux/LinuxFileReferences.hpp"
#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/Linux/LinuxFolderEvents.hpp"
#include "Platform/Linux/LinuxLaunchRegistration.hpp"
#include "Platform/Linux/LinuxRunLoop.hpp"
#include "Platform/Linux/LinuxSystemLog.hpp"
#include "Platform/Linux/LinuxSystemVersion.hpp"
#include "Platform/Linux/LinuxUserDirectories.hpp"
#include "Platform/Linux/LinuxWorkspace.hpp"
#include "Platform/Platform.hpp"

namespace mox {
namespace {

struct Services {
    SystemCalls systemCalls;
    LinuxFileSystem fileSystem{systemCalls};
    LinuxUserDirectories userDirectories;
    LinuxBundles bundles{fileSystem, surroundingsOfThisProcess()};
    LinuxSystemLog systemLog;
    CurrentAssertionHandler assertionHandler;
    LinuxWorkspace workspace{systemCalls, {userDataFolder(userDirectories.homeDirectory())}};
    LinuxFileReferences fileReferences{systemCalls};
    LinuxDesktopCaches desktopCaches{userDataFolder(userDirectories.homeDirectory())};
    LinuxLaunchRegistration launchRegistration{
        fileSystem, systemCalls, bundles, desktopCaches,
        desktopOfThisProcess(userDataFolder(userDirectories.homeDirectory()),
                             userDirectories.homeDirectory())};
    WatchCalls watchCalls;
    LinuxFolderEvents folderEvents{systemCalls, watchCalls};
    LinuxRunLoops runLoops;
    NotificationCenter notificationCenter;
    LinuxSystemVersion systemVersion;
    Platform platform{
        fileSystem,     userDirectories,    bundles,      systemLog, assertionHandler,   workspace,
        fileReferences, launchRegistration, folderEvents, runLoops,  notificationCenter, systemVersion};
};

} // namespace

const Platform& operatingSystemPlatform() {
    // Never destroyed: the shared manager may still use it while the process ends.
    static const Services& services = *new Services;
    return services.platform;
}

} // namespace mox
