#include "SDK/MOXFileSubscriptionManager.hpp"

#include "Foundation/PathRules.hpp"
#include "Foundation/UnicodeText.hpp"
#include "Platform/Platform.hpp"
#include "SDK/AlmostEmptyDirectory.hpp"
#include "SDK/Reporting.hpp"
#include "SDK/SubscribeArguments.hpp"

#include <utility>

namespace mox {
namespace {

/// Whether `outcome` is a success; else its error is stored in the caller's place.
bool succeeded(const Result<void>& outcome, std::optional<Error>* error) {
    if (!outcome) storeError(error, outcome.error());
    return static_cast<bool>(outcome);
}

} // namespace

MOXFileSubscriptionManager::MOXFileSubscriptionManager() {
    updateConvenienceArrays();
    installFSCallback();
}

MOXFileSubscriptionManager::~MOXFileSubscriptionManager() = default;

std::shared_ptr<MOXSubscriptionManager> MOXFileSubscriptionManager::sharedManager() {
    static std::recursive_mutex classMonitor;
    return sharedManagerUnder(classMonitor);
}

// Subscriptions

bool MOXFileSubscriptionManager::subscribeToResource(std::string_view resourceName,
                                                     const MOXSubscribeKeywords& keywords,
                                                     std::optional<Error>* error) {
    if (!areCompleteArguments(resourceName, keywords)) {
        storeError(error, invalidArgumentError());
        return false;
    }
    const LaunchRegistrationBatch batch(platform().launchRegistration);
    if (!createFolderAtPath(keywords.inFolder, error)) return false;
    const auto record =
        subscriptionWithFileName(keywords.withFileName, recordKeywords(resourceName, keywords));
    if (!record) {
        storeError(error, frameworkError(MOXSubscribeUnknownError));
        return false;
    }
    if (keywords.andOptionalInfo) {
        applyOptionalInfo(*record, *keywords.andOptionalInfo);
        record->setFileTypes(fileTypesInOptionalInfo(*keywords.andOptionalInfo));
    }
    if (!record->writeToFolder(keywords.inFolder, keywords.withFileName, error)) return false;
    updateConvenienceArrays();
    return true;
}

std::shared_ptr<MOXFileSubscription>
MOXFileSubscriptionManager::subscriptionWithFileName(const std::string& fileName,
                                                     const MOXSubscriptionKeywords& keywords) const {
    return MOXFileSubscription::subscriptionWithFileName(fileName, keywords);
}

bool MOXFileSubscriptionManager::removeSubscriptionAtPath(std::string_view path,
                                                          std::optional<Error>* error) {
    if (path.empty()) {
        storeError(error, invalidArgumentError());
        return false;
    }
    const bool isRemoved = deleteItem(path, error);
    updateConvenienceArrays();
    return isRemoved;
}

std::shared_ptr<MOXSubscription> MOXFileSubscriptionManager::subscriptionAtPath(std::string_view path,
                                                                                std::optional<Error>* error) {
    if (path.empty()) {
        storeError(error, invalidArgumentError());
        return nullptr;
    }
    return MOXFileSubscription::subscriptionWithPath(path, error);
}

bool MOXFileSubscriptionManager::isSubscriptionAtPath(std::string_view path) {
    const std::string item(path);
    return platform().workspace.isFilePackageAtPath(item) && hasLaunchAlias(item);
}

bool MOXFileSubscriptionManager::hasLaunchAlias(const std::string& bundlePath) const {
    return platform().bundles.pathForResource("Korvalias", "plist", bundlePath).has_value();
}

bool MOXFileSubscriptionManager::moveSubscriptionFrom(std::string_view source, std::string_view destination,
                                                      std::optional<Error>* error) {
    const bool isMoved = moveItem(source, destination, error);
    updateConvenienceArrays();
    return isMoved;
}

std::optional<std::vector<std::string>> MOXFileSubscriptionManager::removeAllSubscriptionsWithUniqueName(
    const std::optional<std::string>& uniqueName, const std::optional<std::string>& storeName) {
    if (!uniqueName || !storeName) return std::nullopt;
    // As the names that records hold: without ill-formed UTF-8.
    const std::string wantedResource = repairedUTF8(*uniqueName);
    const std::string wantedStore = repairedUTF8(*storeName);
    const LaunchRegistrationBatch batch(platform().launchRegistration);
    std::vector<std::string> removedPaths;
    // A copy, since each removal rebuilds the live array.
    const std::vector<std::string> paths = subscriptionPaths();
    for (const std::string& path : paths) {
        const auto record = MOXFileSubscription::subscriptionWithPath(path);
        if (!record || record->resourceName() != wantedResource || record->storeName() != wantedStore) {
            continue;
        }
        removeSubscriptionAtPath(path);
        removedPaths.push_back(path);
    }
    return removedPaths.empty() ? std::nullopt : std::optional(std::move(removedPaths));
}

std::optional<std::string>
MOXFileSubscriptionManager::pathForSubscription(const std::shared_ptr<MOXSubscription>& subscription) {
    return subscription ? subscription->path() : std::nullopt;
}

std::optional<std::string>
MOXFileSubscriptionManager::fileNameForSubscription(const std::shared_ptr<MOXSubscription>& subscription) {
    return subscription ? subscription->fileName() : std::nullopt;
}

// Folders

bool MOXFileSubscriptionManager::createFolderAtPath(std::string_view path, std::optional<Error>* error) {
    if (error) error->reset();
    const std::string folder(path);
    switch (platform().fileSystem.itemKindAtPath(folder)) {
    case ItemKind::Directory:
        return true;
    case ItemKind::File:
        storeError(error, frameworkError(MOXSubscribeDestinationFolderCreateError));
        return false;
    case ItemKind::Missing:
    case ItemKind::Inaccessible: // The attempt tells why.
        break;
    }
    if (const auto made = platform().fileSystem.createDirectoryWithIntermediates(folder); !made) {
        storeError(error, frameworkError(MOXSubscribeDestinationFolderCreateError,
                                         underlyingErrorInfo(made.error())));
        return false;
    }
    _foldersAddedByUser.insert(folder);
    updateConvenienceArrays();
    return true;
}

bool MOXFileSubscriptionManager::renameFolderAtPath(std::string_view path, std::string_view newPath,
                                                    std::optional<Error>* error) {
    const bool isMoved = moveItem(path, newPath, error);
    // Required also when the move failed.
    _foldersAddedByUser.erase(std::string(path));
    _foldersAddedByUser.emplace(newPath);
    updateConvenienceArrays();
    return isMoved;
}

bool MOXFileSubscriptionManager::removeFolderAtPath(std::string_view path, bool onlyIfEmpty,
                                                    std::optional<Error>* error) {
    if (!onlyIfEmpty) return deleteItem(path, error);
    const LaunchRegistrationBatch batch(platform().launchRegistration);
    const std::string folder(path);
    FileSystem& fileSystem = platform().fileSystem;
    if (!isAlmostEmptyDirectory(fileSystem, folder)) return false;
    const bool isRemoved = succeeded(fileSystem.removeAlmostEmptyDirectory(folder), error);
    if (isRemoved) platform().launchRegistration.bundleRemoved(folder);
    return isRemoved;
}

// Items

bool MOXFileSubscriptionManager::removeItemAtPath(std::string_view path, bool useTrash,
                                                  std::optional<Error>* error) {
    if (!useTrash) return deleteItem(path, error);
    const LaunchRegistrationBatch batch(platform().launchRegistration);
    const bool isRecycled =
        platform().workspace.recycleItem(stringByDeletingLastPathComponent(path), lastPathComponent(path));
    if (isRecycled) platform().launchRegistration.bundleRemoved(std::string(path));
    return isRecycled;
}

bool MOXFileSubscriptionManager::deleteItem(std::string_view path, std::optional<Error>* error) {
    const LaunchRegistrationBatch batch(platform().launchRegistration);
    const std::string item(path);
    const bool isDeleted = succeeded(platform().fileSystem.removeItem(item), error);
    if (isDeleted) platform().launchRegistration.bundleRemoved(item);
    return isDeleted;
}

bool MOXFileSubscriptionManager::moveItem(std::string_view source, std::string_view destination,
                                          std::optional<Error>* error) {
    const LaunchRegistrationBatch batch(platform().launchRegistration);
    const std::string from(source);
    const std::string to(destination);
    const bool isMoved = succeeded(platform().fileSystem.moveItem(from, to), error);
    if (isMoved) platform().launchRegistration.bundleMoved(from, to);
    return isMoved;
}

} // namespace mox
