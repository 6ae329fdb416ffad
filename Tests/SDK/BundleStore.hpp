#pragma once

#include "SDK/MOXFileSubscriptionManager.hpp"
#include "SDK/StubBundles.hpp"
#include "Support/FolderInspection.hpp"

#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox::test {

using Paths = std::vector<std::string>;

/// The application-bundle model's manager, its inner parts open to tests.
class OpenBundleStore : public MOXFileSubscriptionManager {
public:
    OpenBundleStore() = default;

    using MOXFileSubscriptionManager::_foldersAddedByUser;
    using MOXFileSubscriptionManager::ConvenienceArrays;
    using MOXFileSubscriptionManager::createTempDirectory;
    using MOXFileSubscriptionManager::updateConvenienceArrays;
    using MOXFileSubscriptionManager::updateConvenienceArraysAtPath;

    /// Whether another thread could take the monitor now.
    bool isMonitorFree() const;

    /// Whether no record of a new subscription can be made.
    bool makesNoRecords = false;

    /// Prepares the record of a new subscription before it is given its optional information.
    std::function<void(MOXFileSubscription& record)> preparation;

    /// Takes the place of removing an item, where it gives a result.
    std::function<std::optional<bool>(std::string_view path, bool useTrash, std::optional<Error>* error)>
        removal;

    bool removeItemAtPath(std::string_view path, bool useTrash,
                          std::optional<Error>* error = nullptr) override;

protected:
    std::shared_ptr<MOXFileSubscription>
    subscriptionWithFileName(const std::string& fileName,
                             const MOXSubscriptionKeywords& keywords) const override;
};

/// What a stub that a test makes is told apart by.
struct StubTexts {
    std::string resource = "Farm:Word";
    std::string store = "Store";
    std::string version = "1.0";
};

/// Tests of the manager on an applications folder in the user's home, which is not there before something is
/// made in it. The folder for temporary files is there.
class BundleStoreTest : public StubBundleTest {
protected:
    BundleStoreTest();

    /// The path of `relativePath` in the applications folder; of that itself when it is empty.
    std::string inApps(std::string_view relativePath = {}) const;
    /// Make a folder, a stub or an ordinary application at `relativePath` in the applications folder; give
    /// the absolute path.
    std::string makeAppsFolder(std::string_view relativePath = {}) const;
    std::string makeStub(std::string_view relativePath, const StubTexts& texts = {}) const;
    std::string makeApplication(std::string_view relativePath) const;
    /// Makes a symbolic link at `relativePath` in the applications folder; gives the absolute path.
    std::string makeLink(std::string_view relativePath, const std::string& target) const;

    /// A manager of what is on the disk; counts, log lines and registrations then start anew.
    std::shared_ptr<OpenBundleStore> open();

    /// The keywords of a whole call for an application in `folder`.
    static MOXSubscribeKeywords keywordsFor(std::string_view fileName, std::string_view folder);

    /// What the desktop was told, in order.
    Lines registrations() const { return test.launchRegistration.callsWithinBatches(); }

    /// How often the desktop's caches would have been refreshed: how many outermost batches have ended.
    int refreshes() const;

    static constexpr std::string_view fromApps = "home/Applications";
    const std::string temporary = scratch.path("tmp");
};

/// Whether `error` is the one for a missing argument: POSIX 22 without user information.
testing::AssertionResult isInvalidArgument(const std::optional<Error>& error);

/// Whether `error` is the file system's with `code` over `errorNumber`.
testing::AssertionResult isSystemError(const std::optional<Error>& error, Error::Code code, int errorNumber);

/// Whether `error` is the framework's with `code` over the file system's error of `underlyingCode`.
testing::AssertionResult isErrorOver(const std::optional<Error>& error, Error::Code code,
                                     Error::Code underlyingCode);

} // namespace mox::test
