#include "Platform/Platform.hpp"
#include "SDK/MOXFileSubscriptionManager.hpp"
#include "SDK/MOXNotifications.hpp"

#include <algorithm>
#include <chrono>
#include <unordered_set>
#include <utility>

// The watch of the applications folder.

namespace mox {
namespace {

constexpr std::chrono::milliseconds watchLatency(1000);

std::vector<std::string> sorted(std::vector<std::string> paths) {
    std::ranges::sort(paths);
    return paths;
}

std::string_view withoutTrailingSeparator(std::string_view path) {
    if (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
    return path;
}

} // namespace

void MOXFileSubscriptionManager::installFSCallback() {
    _fsEventQuery = platform().folderEvents.createStream(
        appsFolderPath(), watchLatency,
        [this](const std::vector<std::string>& paths) { fsEventCallback(paths); });
    if (!_fsEventQuery) return;
    _reconciledPaths = sorted(_subscriptionPaths);
    _fsEventQuery->schedule(platform().runLoops.currentRunLoop(), defaultRunLoopMode);
    _fsEventQuery->start();
}

void MOXFileSubscriptionManager::fsEventCallback(const std::vector<std::string>& paths) {
    const std::unordered_set<std::string_view> listedFolders(_folders.begin(), _folders.end());
    const bool hasListedFolder = std::ranges::any_of(paths, [&](const std::string& path) {
        return listedFolders.contains(withoutTrailingSeparator(path));
    });
    if (!hasListedFolder) return;

    updateConvenienceArrays();
    // Compared with what the desktop was last made sure of, not with the arrays before: another operation may
    // have rebuilt them after a change by others.
    std::vector<std::string> stubs = sorted(_subscriptionPaths);
    if (stubs != _reconciledPaths) {
        _reconciledPaths = std::move(stubs);
        const LaunchRegistrationBatch batch(platform().launchRegistration);
        platform().launchRegistration.reconcile(_subscriptionPaths);
    }
    // An observer may give up the last reference to this manager: nothing may follow.
    platform().notificationCenter.postNotificationName(MOXFolderChangedNotification, nullptr);
}

} // namespace mox
