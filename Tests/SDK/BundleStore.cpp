#include "SDK/BundleStore.hpp"

#include "Foundation/PathRules.hpp"

#include <cerrno>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace mox::test {

bool OpenBundleStore::isMonitorFree() const {
    bool isFree = false;
    std::thread([this, &isFree] {
        isFree = monitor().try_lock();
        if (isFree) monitor().unlock();
    }).join();
    return isFree;
}

bool OpenBundleStore::removeItemAtPath(std::string_view path, bool useTrash, std::optional<Error>* error) {
    const std::optional<bool> result = removal ? removal(path, useTrash, error) : std::nullopt;
    return result ? *result : MOXFileSubscriptionManager::removeItemAtPath(path, useTrash, error);
}

std::shared_ptr<MOXFileSubscription>
OpenBundleStore::subscriptionWithFileName(const std::string& fileName,
                                          const MOXSubscriptionKeywords& keywords) const {
    if (makesNoRecords) return nullptr;
    auto record = MOXFileSubscriptionManager::subscriptionWithFileName(fileName, keywords);
    if (preparation) preparation(*record);
    return record;
}

BundleStoreTest::BundleStoreTest() {
    makeFolder("tmp");
}

std::string BundleStoreTest::inApps(std::string_view relativePath) const {
    return stringByAppendingPathComponent(test.homePath("Applications"), relativePath);
}

std::string BundleStoreTest::makeAppsFolder(std::string_view relativePath) const {
    return makeFolder(stringByAppendingPathComponent(fromApps, relativePath));
}

std::string BundleStoreTest::makeStub(std::string_view relativePath, const StubTexts& texts) const {
    return makeBundle(stringByAppendingPathComponent(fromApps, relativePath),
                      {.infoPlist = dictionaryOf({{"KorvanVersionString", texts.version}}),
                       .alias = dictionaryOf({{"Korvan Application Type", "Application"},
                                              {"Korvan Server Unique Application Name", texts.resource},
                                              {"Store Name", texts.store}})});
}

std::string BundleStoreTest::makeApplication(std::string_view relativePath) const {
    return makeBundle(stringByAppendingPathComponent(fromApps, relativePath), {});
}

std::string BundleStoreTest::makeLink(std::string_view relativePath, const std::string& target) const {
    const std::string path = inApps(relativePath);
    if (::symlink(target.c_str(), path.c_str()) != 0)
        throw std::system_error(errno, std::generic_category(), path);
    return path;
}

std::shared_ptr<OpenBundleStore> BundleStoreTest::open() {
    auto store = std::make_shared<OpenBundleStore>();
    test.fileSystem.resetCounts();
    test.systemLog.clear();
    test.launchRegistration.calls.clear();
    return store;
}

int BundleStoreTest::refreshes() const {
    int refreshes = 0;
    int depth = 0;
    for (const std::string& call : test.launchRegistration.calls) {
        if (call == "begin") ++depth;
        if (call == "end" && --depth == 0) ++refreshes;
    }
    return refreshes;
}

MOXSubscribeKeywords BundleStoreTest::keywordsFor(std::string_view fileName, std::string_view folder) {
    return {.ofType = MOXSubscriptionType::Application,
            .onStoreNamed = "Store",
            .withInternalStoreURL = "https://store.example/internal",
            .usingNorvikType = MOXNorvikType::Advanced,
            .andNorvikAuthType = MOXNorvikAuthType::RSA,
            .withFileName = std::string(fileName),
            .inFolder = std::string(folder)};
}

testing::AssertionResult isInvalidArgument(const std::optional<Error>& error) {
    if (!error) return testing::AssertionFailure() << "there is no error";
    if (error->domain() == NSPOSIXErrorDomain && error->code() == 22 && error->userInfo().empty())
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << error->description();
}

testing::AssertionResult isSystemError(const std::optional<Error>& error, Error::Code code, int errorNumber) {
    if (!error) return testing::AssertionFailure() << "there is no error";
    const auto underlying = error->underlyingError();
    if (error->domain() == NSCocoaErrorDomain && error->code() == code && underlying &&
        underlying->domain() == NSPOSIXErrorDomain && underlying->code() == errorNumber) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << error->description();
}

testing::AssertionResult isErrorOver(const std::optional<Error>& error, Error::Code code,
                                     Error::Code underlyingCode) {
    if (!error) return testing::AssertionFailure() << "there is no error";
    const auto underlying = error->underlyingError();
    if (error->domain() == MOXSubscribeErrorDomain && error->code() == code && !error->filePath() &&
        underlying && underlying->domain() == NSCocoaErrorDomain && underlying->code() == underlyingCode) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << error->description();
}

} // namespace mox::test
