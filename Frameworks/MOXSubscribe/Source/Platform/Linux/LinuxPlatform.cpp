#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/Linux/LinuxBundles.hpp"
#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/Linux/LinuxSystemLog.hpp"
#include "Platform/Linux/LinuxUserDirectories.hpp"
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
    Platform platform{fileSystem, userDirectories, bundles, systemLog, assertionHandler};
};

} // namespace

const Platform& operatingSystemPlatform() {
    // Never destroyed: the shared manager may still use it while the process ends.
    static const Services& services = *new Services;
    return services.platform;
}

} // namespace mox
