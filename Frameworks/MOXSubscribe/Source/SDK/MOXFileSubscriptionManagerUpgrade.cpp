#include "Foundation/PathRules.hpp"
#include "Platform/Platform.hpp"
#include "SDK/MOXFileSubscriptionManager.hpp"
#include "SDK/OperationNames.hpp"
#include "SDK/Reporting.hpp"

#include <cstdint>

// The upgrade of stubs that an older client wrote.

namespace mox {
namespace {

constexpr std::string_view operation = operations::MOXFileSubscriptionManager::updateSubscription;

FormatArgument argumentFor(const std::optional<Error>& error) {
    return error ? FormatArgument(*error) : FormatArgument(std::nullopt);
}

/// Some statuses are required to be printed as the 16 bits that they are on the system that coined the lines.
int inSixteenBits(SystemStatus status) {
    return static_cast<std::int16_t>(status);
}

/// Makes sure that the record knows a store; whether it does.
bool repairStore(MOXFileSubscription& subscription, const MOXUpdateStoreNameBlock& storeNameBlock) {
    if (!isNilOrEmpty(subscription.internalStoreURL()) || !isNilOrEmpty(subscription.externalStoreURL()) ||
        !isNilOrEmpty(subscription.storeName())) {
        return true;
    }
    const std::optional<std::string> serverName = subscription.serverName();
    if (isNilOrEmpty(serverName) || !storeNameBlock) return false;
    const std::optional<std::string> storeName = storeNameBlock(serverName);
    if (isNilOrEmpty(storeName)) return false;
    subscription.setStoreName(storeName);
    subscription.setInternalStoreURL(serverName);
    subscription.setServerName(std::nullopt);
    return true;
}

/// An alias of the stub at `path`; null, which is logged, when there can be none.
std::shared_ptr<const FileAlias> aliasOfStub(const Platform& platform, const std::string& path) {
    std::shared_ptr<const FileReference> reference;
    if (const SystemStatus status = platform.fileReferences.makeReference(path, reference); status != 0) {
        logLine(platform, "%s Error creating FSRef from path (%@), error (%ld)", {operation, path, status});
        return nullptr;
    }
    std::shared_ptr<const FileAlias> alias;
    if (const SystemStatus status = platform.fileReferences.makeAlias(*reference, alias); status != 0) {
        logLine(platform, "%s Error creating alias to subscription (%ld)",
                {operation, inSixteenBits(status)});
        return nullptr;
    }
    return alias;
}

/// Takes the stub of `alias` back from the Trash to `path`. A failure is only logged.
void restoreStub(const Platform& platform, const FileAlias& alias, const std::string& path) {
    std::shared_ptr<const FileReference> reference;
    if (const SystemStatus status = platform.fileReferences.resolveAlias(alias, reference); status != 0) {
        logLine(platform, "%s Error resolving subscription alias (%ld)", {operation, inSixteenBits(status)});
        return;
    }
    std::string pathInTrash;
    if (const SystemStatus status = platform.fileReferences.makePath(*reference, pathInTrash); status != 0) {
        logLine(platform, "%s Error making path from FSRef (%ld)", {operation, status});
        return;
    }
    if (const auto moved = platform.fileSystem.moveItem(pathInTrash, path); !moved) {
        logLine(platform, "%s Error restoring old subscription: %@", {operation, moved.error()});
        return;
    }
    platform.workspace.recycledItemMovedOut(pathInTrash);
    // Best effort: the stub is back, whether the desktop knows it or not.
    platform.launchRegistration.registerBundle(path);
}

void reportFailedMove(const Platform& platform, const Error& failure, std::optional<Error>* error) {
    storeError(error, frameworkError(MOXSubscribeTemplateCopyError, underlyingErrorInfo(failure)));
    logLine(platform, "%s Error moving subscription in place: %@", {operation, failure});
}

} // namespace

void MOXFileSubscriptionManager::updateSubscriptionsAtPaths(const std::vector<std::string>& paths,
                                                            const MOXUpdateErrorBlock& errorBlock,
                                                            const MOXUpdateStoreNameBlock& storeNameBlock,
                                                            const MOXUpdateIconBlock& iconBlock) {
    const LaunchRegistrationBatch batch(platform().launchRegistration);
    // By index and with a copy of the path, since a block may change the array.
    // NOLINTNEXTLINE(modernize-loop-convert)
    for (std::size_t index = 0; index < paths.size(); ++index) {
        // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
        const std::string path = paths[index];
        std::optional<Error> error;
        if (updateSubscriptionAtPath(path, storeNameBlock, iconBlock, &error) || !errorBlock) continue;
        bool stop = false;
        errorBlock(path, error, stop);
        if (stop) return;
    }
}

bool MOXFileSubscriptionManager::updateSubscriptionAtPath(std::string_view path,
                                                          const MOXUpdateStoreNameBlock& storeNameBlock,
                                                          const MOXUpdateIconBlock& iconBlock,
                                                          std::optional<Error>* error) {
    const auto subscription = MOXFileSubscription::subscriptionWithPath(path, error);
    return subscription && updateSubscription(subscription, storeNameBlock, iconBlock, error);
}

bool MOXFileSubscriptionManager::updateSubscription(const std::shared_ptr<MOXFileSubscription>& subscription,
                                                    const MOXUpdateStoreNameBlock& storeNameBlock,
                                                    const MOXUpdateIconBlock& iconBlock,
                                                    std::optional<Error>* error) {
    if (!subscription || !subscription->needsUpdate()) return true;
    const LaunchRegistrationBatch batch(platform().launchRegistration);
    if (!repairStore(*subscription, storeNameBlock)) {
        const std::string path = subscription->path().value_or("");
        logLine(platform(), "%s Corrupt subscription at path (%@)", {operation, path});
        storeError(error, frameworkError(MOXSubscribeCorruptSubscriptionError,
                                         Error::UserInfo{{std::string(NSFilePathErrorKey), path}}));
        return false;
    }
    if (iconBlock) {
        if (const std::optional<Image> icon = iconBlock(subscription)) subscription->setIcon(icon);
    }
    const std::optional<std::string> temporaryFolder = createTempDirectory();
    if (!temporaryFolder) {
        storeError(error, frameworkError(MOXSubscribeTemplateCopyError));
        logLine(platform(), "%s Error creating temporary directory", {operation});
        return false;
    }
    const bool isReplaced = replaceStub(*subscription, *temporaryFolder, error);
    std::optional<Error> removalError;
    if (!removeItemAtPath(*temporaryFolder, false, &removalError)) {
        logLine(platform(), "%s Error deleting temp directory (%@): %@",
                {operation, *temporaryFolder, argumentFor(removalError)});
        // A new stub that may be left in there is nothing that the user should start.
        platform().launchRegistration.bundleRemoved(*temporaryFolder);
    }
    return isReplaced;
}

bool MOXFileSubscriptionManager::replaceStub(MOXFileSubscription& subscription,
                                             const std::string& temporaryFolder,
                                             std::optional<Error>* error) {
    const std::string oldPath = subscription.path().value_or("");
    // Asked for now: without a version of its own, the record would later tell the new stub's.
    const std::optional<std::string> oldVersion = subscription.subscriptionVersion();
    std::optional<Error> failure;
    if (!subscription.writeToFolder(temporaryFolder, subscription.fileName().value_or(""), &failure)) {
        if (failure) {
            logLine(platform(), "%s Error writing subscription to temp folder: %@", {operation, *failure});
            storeError(error, *failure);
        } else {
            // The error place stays untouched on purpose: the caller learns of a failure without a reason.
            logLine(platform(), "%s Error writing subscription to temp folder", {operation});
        }
        return false;
    }
    const std::string newPath = subscription.path().value_or("");
    const std::shared_ptr<const FileAlias> alias = aliasOfStub(platform(), oldPath);

    // From another file system the new stub is copied beside the old one first, while that is still in its
    // place: the last step is one rename in any case.
    FileSystem& fileSystem = platform().fileSystem;
    const Result<std::string> staged = fileSystem.stageForMove(newPath, oldPath);
    if (!staged) {
        reportFailedMove(platform(), staged.error(), error);
        return false;
    }
    const auto discardStagedCopy = [&] {
        // What cannot be removed is hidden, and listed nowhere.
        if (*staged != newPath) static_cast<void>(fileSystem.removeItem(*staged));
    };

    if (!removeItemAtPath(oldPath, true, &failure)) {
        if (failure) {
            storeError(error, frameworkError(MOXSubscribeTemplateCopyError, underlyingErrorInfo(*failure)));
            logLine(platform(), "%s Error deleting old subscription (%@): %@",
                    {operation, oldPath, *failure});
        } else {
            storeError(error, frameworkError(MOXSubscribeTemplateCopyError));
            logLine(platform(), "%s Error deleting old subscription (%@)", {operation, oldPath});
        }
        discardStagedCopy();
        return false;
    }

    if (const auto moved = fileSystem.moveItem(*staged, oldPath); !moved) {
        reportFailedMove(platform(), moved.error(), error);
        discardStagedCopy();
        if (alias) restoreStub(platform(), *alias, oldPath);
        return false;
    }
    // Told as new, not as moved: what the desktop could not take at the temporary path, it may take here, and
    // nothing else would tell it of this stub again. Best effort.
    platform().launchRegistration.registerBundle(oldPath);
    const auto newStub = MOXFileSubscription::subscriptionWithPath(oldPath);
    logLine(platform(), "%s Successfully upgraded '%@' from %@ to %@",
            {operation, oldPath, oldVersion, newStub ? newStub->subscriptionVersion() : std::nullopt});
    return true;
}

std::optional<std::string> MOXFileSubscriptionManager::createTempDirectory() {
    const std::string folder = platform().userDirectories.temporaryDirectory().value_or("/tmp");
    Result<std::string> made = platform().fileSystem.createTemporaryDirectory(
        stringByAppendingPathComponent(folder, "korvan.tmp.XXXXXX"));
    return made ? std::optional(*made) : std::nullopt;
}

} // namespace mox
