#pragma once

#include "Platform/Bundles.hpp"
#include "Platform/CurrentAssertionHandler.hpp"
#include "Platform/FileReferences.hpp"
#include "Platform/FileSystem.hpp"
#include "Platform/FolderEvents.hpp"
#include "Platform/LaunchRegistration.hpp"
#include "Platform/NotificationCenter.hpp"
#include "Platform/RunLoop.hpp"
#include "Platform/SystemLog.hpp"
#include "Platform/SystemVersion.hpp"
#include "Platform/UserDirectories.hpp"
#include "Platform/Workspace.hpp"

namespace mox {

/// The operating system's services that the framework uses. Whoever makes one keeps the services alive.
struct Platform {
    FileSystem& fileSystem;
    UserDirectories& userDirectories;
    Bundles& bundles;
    SystemLog& systemLog;
    CurrentAssertionHandler& assertionHandler;
    Workspace& workspace;
    FileReferences& fileReferences;
    LaunchRegistration& launchRegistration;
    FolderEvents& folderEvents;
    RunLoops& runLoops;
    NotificationCenter& notificationCenter;
    SystemVersion& systemVersion;
};

/// The platform in force: the one that was put in place with `setCurrentPlatform`, else the operating
/// system's, which is built on first use and lives until the process ends. Any thread may ask.
const Platform& currentPlatform();

/// Puts `platform` in force, the operating system's when it is null; returns the one put in place before. A
/// manager keeps the platform that it was built with, so `platform` must outlive the managers made meanwhile.
const Platform* setCurrentPlatform(const Platform* platform);

/// Builds the operating system's platform. Each system's backend defines it, and one backend is linked.
const Platform& operatingSystemPlatform();

} // namespace mox
