#pragma once

#include "Foundation/PropertyList.hpp"
#include "Platform/Testing/RecordingAssertionHandler.hpp"
#include "Platform/Testing/ScopedPlatform.hpp"
#include "Platform/Testing/TestPlatform.hpp"
#include "SDK/MOXPlistSubscriptionManager.hpp"
#include "Support/FolderInspection.hpp"
#include "Support/StaleError.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mox::test {

using Dictionary = PropertyList::Dictionary;
using Entries = std::vector<std::pair<std::string, PropertyList>>;
using Paths = std::vector<std::string>;

/// The dictionary model's manager, its inner parts open to tests.
class OpenPlistStore : public MOXPlistSubscriptionManager {
public:
    OpenPlistStore() = default;

    using MOXPlistSubscriptionManager::_plistPath;
    using MOXPlistSubscriptionManager::_subscriptionHierarchy;
    using MOXPlistSubscriptionManager::dictionaryForPath;
    using MOXPlistSubscriptionManager::folderContainsSubscriptions;
    using MOXPlistSubscriptionManager::parentDictionaryForPath;
    using MOXPlistSubscriptionManager::removeSubscriptionNamed;
    using MOXPlistSubscriptionManager::saveSubscriptions;
    using MOXPlistSubscriptionManager::setSubscription;
    using MOXPlistSubscriptionManager::subscriptionInFolder;
    using MOXPlistSubscriptionManager::updateConvenienceArrays;

    Dictionary& root() { return *_subscriptionHierarchy->dictionary(); }

    /// The monitor of any manager.
    static std::recursive_mutex& monitorOf(const MOXSubscriptionManager& manager) {
        return (manager.*(&OpenPlistStore::monitor))();
    }
    /// Whether another thread could take the monitor now.
    bool isMonitorFree() const;
};

/// A dictionary of `entries`.
Dictionary dictionaryOf(const Entries& entries);

/// A well-formed folder node.
Dictionary node(const Entries& folders = {}, const Entries& subscriptions = {});

/// What an entry is told apart by.
struct EntryTexts {
    std::string type = "Application";
    std::string resource = "Farm:Word";
    std::string store = "Store";
};

/// An entry of a file, with a key that nobody knows.
Dictionary entry(const EntryTexts& texts = {});

/// A whole call's keywords for an application in `folder`.
MOXSubscribeKeywords keywordsFor(std::string_view fileName, std::string_view folder);

/// What stands in `store` at `path`, without the manager's own walk: keys from the root on, strict. Null when
/// there is nothing.
const Dictionary* nodeAt(const Dictionary& root, const Paths& components);

/// Tests of a store whose user's home is "/Users/user" in the tree, while its file is in a scratch folder.
/// Assertions throw unless a test says otherwise.
class PlistStoreTest : public testing::Test {
protected:
    using Then = RecordingAssertionHandler::Then;

    PlistStoreTest();

    /// From now on assertions do `then`; those recorded so far are forgotten.
    void letAssertions(Then then);

    std::string supportFolder() const;
    std::string plistPath() const;
    /// Puts `bytes` into the store's file, before the store is opened.
    void putFile(std::string_view bytes) const;
    void putTree(const Dictionary& root) const;
    /// A store opened on what is on the disk; counts and log lines then start anew.
    std::shared_ptr<OpenPlistStore> open();
    /// A store opened on a file that holds `root`.
    std::shared_ptr<OpenPlistStore> open(const Dictionary& root);
    /// The tree in the store's file.
    Dictionary treeOnDisk() const;
    /// How often the store was saved since it was opened.
    std::size_t saves() const;
    std::vector<std::string> logLines() const { return environment.systemLog.lines(); }

    /// The path of `relativePath` in the scratch folder that stands for the user's home on the disk.
    std::string homePath(std::string_view relativePath = {}) const;

    TestPlatform environment;
    const std::string homeOnDisk = environment.homePath();
    ScopedPlatform scope{environment.platform};
    std::shared_ptr<RecordingAssertionHandler> assertions;
};

/// Whether `error` is the framework's own with `code`.
testing::AssertionResult isFrameworkError(const std::optional<Error>& error, Error::Code code);
/// Whether `error` is the one for a missing argument: POSIX 22 without user information.
testing::AssertionResult isInvalidArgument(const std::optional<Error>& error);

/// Makes the folders of `path` with the given permissions; throws std::system_error on failure.
void makeFolders(const std::string& path, unsigned mode = 0755);

} // namespace mox::test
