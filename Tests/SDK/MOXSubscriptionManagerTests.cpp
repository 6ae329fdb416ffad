#include "Foundation/PathRules.hpp"
#include "SDK/MOXFileSubscriptionManager.hpp"
#include "SDK/MOXPlistSubscriptionManager.hpp"
#include "SDK/MOXSubscriptionManager.hpp"
#include "SDK/SDKTest.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <latch>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace mox::test {
namespace {

using Paths = std::vector<std::string>;
using Then = RecordingAssertionHandler::Then;

constexpr std::string_view sourceFile = "Frameworks/MOXSubscribe/Source/SDK/MOXSubscriptionManager";
constexpr std::string_view sharedManagerOperation = "+[MOXSubscriptionManager sharedManager]";

/// The base manager, within a test's reach.
class BareManager : public MOXSubscriptionManager {
public:
    using MOXSubscriptionManager::_folders;
    using MOXSubscriptionManager::_subscriptionPaths;
    using MOXSubscriptionManager::monitor;
    using MOXSubscriptionManager::platform;
};

class SubscriptionManager : public SDKTest {
protected:
    BareManager manager;
};

TEST_F(SubscriptionManager, Is_empty_when_it_is_new) {
    EXPECT_EQ(manager.numberOfSubscriptions(), 0U);
    EXPECT_TRUE(manager.subscriptionPaths().empty());
    EXPECT_TRUE(manager.folders().empty());
    EXPECT_TRUE(manager.subscriptionPathsInFolder("", true).empty());
}

TEST_F(SubscriptionManager, Has_its_applications_folder_in_the_home_directory) {
    EXPECT_EQ(manager.appsFolderPath(), test.homePath("Applications"));
    test.userDirectories.home = "/";
    EXPECT_EQ(BareManager().appsFolderPath(), "/Applications");
    test.userDirectories.home = "/home/user/";
    EXPECT_EQ(BareManager().appsFolderPath(), "/home/user/Applications");
}

TEST_F(SubscriptionManager, Keeps_the_platform_that_it_was_built_with) {
    const TestPlatform other;
    const ScopedPlatform otherScope(other.platform);
    EXPECT_EQ(&manager.platform(), &test.platform);
    EXPECT_EQ(&BareManager().platform(), &other.platform);
}

TEST_F(SubscriptionManager, Reports_to_the_handler_of_the_platform_that_it_was_built_with) {
    const auto handler = installHandler(Then::Returns);
    TestPlatform other;
    const ScopedPlatform otherScope(other.platform);
    const auto otherHandler = installHandler(Then::Returns);
    manager.createFolderAtPath("/a");
    EXPECT_EQ(handler->failures().size(), 1U);
    EXPECT_EQ(handler->unrecognized().size(), 1U);
    EXPECT_TRUE(otherHandler->failures().empty());
    EXPECT_TRUE(otherHandler->unrecognized().empty());
}

// Queries.

class SubscriptionQueries : public SubscriptionManager {
protected:
    void SetUp() override {
        manager._subscriptionPaths = {"/U/Applications/Alpha.app", "/U/Applications/Work/Beta.app",
                                      "/U/Applications/Work/Sub/Gamma.app"};
    }
};

TEST_F(SubscriptionQueries, Give_only_what_is_directly_in_a_folder) {
    EXPECT_EQ(manager.subscriptionPathsInFolder("/U/Applications/Work", false),
              Paths{"/U/Applications/Work/Beta.app"});
    EXPECT_EQ(manager.subscriptionPathsInFolder("/U/Applications", false),
              Paths{"/U/Applications/Alpha.app"});
}

TEST_F(SubscriptionQueries, Give_recursively_also_what_is_in_folders_below_in_the_array_s_order) {
    EXPECT_EQ(manager.subscriptionPathsInFolder("/U/Applications/Work", true),
              (Paths{"/U/Applications/Work/Beta.app", "/U/Applications/Work/Sub/Gamma.app"}));
    EXPECT_EQ(manager.subscriptionPathsInFolder("/U/Applications", true), manager._subscriptionPaths);
    std::swap(manager._subscriptionPaths[1], manager._subscriptionPaths[2]);
    EXPECT_EQ(manager.subscriptionPathsInFolder("/U/Applications", true), manager._subscriptionPaths);
}

TEST_F(SubscriptionQueries, Compare_whole_components) {
    for (const bool recursive : {false, true}) {
        EXPECT_TRUE(manager.subscriptionPathsInFolder("/U/Applications/Wor", recursive).empty());
        EXPECT_TRUE(manager.subscriptionPathsInFolder("/U/Applications/Works", recursive).empty());
        EXPECT_TRUE(manager.subscriptionPathsInFolder("U/Applications/Work", recursive).empty());
    }
}

TEST_F(SubscriptionQueries, Distinguish_case) {
    for (const bool recursive : {false, true})
        EXPECT_TRUE(manager.subscriptionPathsInFolder("/u/applications/work", recursive).empty());
}

TEST_F(SubscriptionQueries, Do_not_take_composed_and_decomposed_letters_for_the_same) {
    manager._subscriptionPaths = {"/\xC3\xA9/App"};
    EXPECT_EQ(manager.subscriptionPathsInFolder("/\xC3\xA9", false).size(), 1U);
    EXPECT_TRUE(manager.subscriptionPathsInFolder("/e\xCC\x81", false).empty());
}

TEST_F(SubscriptionQueries, Take_the_empty_folder_for_no_components) {
    manager._subscriptionPaths.insert(manager._subscriptionPaths.begin() + 1, "Bare");
    EXPECT_EQ(manager.subscriptionPathsInFolder("", false), Paths{"Bare"});
    EXPECT_EQ(manager.subscriptionPathsInFolder("", true), manager._subscriptionPaths);
}

TEST_F(SubscriptionQueries, Find_what_is_directly_below_the_root) {
    manager._subscriptionPaths = {"/Alpha.app", "/U/Beta.app", "Bare"};
    EXPECT_EQ(manager.subscriptionPathsInFolder("/", false), Paths{"/Alpha.app"});
    EXPECT_EQ(manager.subscriptionPathsInFolder("/", true), (Paths{"/Alpha.app", "/U/Beta.app"}));
}

TEST_F(SubscriptionQueries, Find_nothing_for_a_folder_that_ends_in_a_slash) {
    for (const bool recursive : {false, true})
        EXPECT_TRUE(manager.subscriptionPathsInFolder("/U/Applications/Work/", recursive).empty());
}

TEST_F(SubscriptionQueries, Count_a_run_of_slashes_once) {
    EXPECT_EQ(manager.subscriptionPathsInFolder("//U///Applications//Work", false),
              Paths{"/U/Applications/Work/Beta.app"});
}

TEST_F(SubscriptionQueries, Keep_duplicates) {
    manager._subscriptionPaths = {"/a/x", "/b/y", "/a/x"};
    EXPECT_EQ(manager.subscriptionPathsInFolder("/a", false), (Paths{"/a/x", "/a/x"}));
    EXPECT_EQ(manager.numberOfSubscriptions(), 3U);
}

/// The rule as it is meant, component by component.
bool liesInFolder(const std::string& path, const std::string& folder, bool recursive) {
    const Paths wanted = pathComponents(folder);
    const Paths parent = pathComponents(stringByDeletingLastPathComponent(path));
    const bool isDeepEnough = recursive ? parent.size() >= wanted.size() : parent.size() == wanted.size();
    return isDeepEnough && std::equal(wanted.begin(), wanted.end(), parent.begin());
}

/// Every text of at most `length` of the given characters.
Paths everyText(std::string_view characters, std::size_t length) {
    Paths texts = {""};
    for (std::size_t start = 0; length > 0; --length) {
        const std::size_t end = texts.size();
        for (; start < end; ++start) {
            for (const char character : characters)
                texts.push_back(texts[start] + character);
        }
    }
    return texts;
}

TEST_F(SubscriptionQueries, Follow_the_component_rule_for_every_short_path) {
    const Paths texts = everyText("/ab", 5);
    ASSERT_EQ(texts.size(), 364U);
    manager._subscriptionPaths = texts;
    for (const std::string& folder : texts) {
        for (const bool recursive : {false, true}) {
            Paths expected;
            for (const std::string& path : texts) {
                if (liesInFolder(path, folder, recursive)) expected.push_back(path);
            }
            ASSERT_EQ(manager.subscriptionPathsInFolder(folder, recursive), expected)
                << '"' << folder << "\" " << recursive;
        }
    }
}

TEST_F(SubscriptionQueries, Give_a_snapshot_that_later_changes_do_not_reach) {
    const Paths snapshot = manager.subscriptionPathsInFolder("", true);
    manager._subscriptionPaths.clear();
    EXPECT_EQ(snapshot.size(), 3U);
}

TEST_F(SubscriptionQueries, Hand_out_the_live_arrays_and_not_copies) {
    const Paths& paths = manager.subscriptionPaths();
    const Paths& folders = manager.folders();
    EXPECT_EQ(&paths, &manager._subscriptionPaths);
    EXPECT_EQ(&folders, &manager._folders);
    manager._subscriptionPaths.push_back("/U/Applications/Delta.app");
    manager._folders.push_back("/U");
    EXPECT_EQ(paths.size(), 4U);
    EXPECT_EQ(folders, Paths{"/U"});
    EXPECT_EQ(manager.numberOfSubscriptions(), 4U);
}

TEST_F(SubscriptionQueries, May_be_asked_while_the_same_thread_holds_the_monitor) {
    const std::lock_guard lock(manager.monitor());
    EXPECT_EQ(manager.subscriptionPathsInFolder("/U/Applications", false).size(), 1U);
    EXPECT_EQ(manager.subscriptionPaths().size(), 3U);
    EXPECT_EQ(manager.folders().size(), 0U);
    EXPECT_EQ(manager.numberOfSubscriptions(), 3U);
}

TEST_F(SubscriptionQueries, Wait_for_the_monitor_that_another_thread_holds) {
    const std::vector<std::function<void()>> queries = {
        [&] { manager.subscriptionPathsInFolder("/U", true); },
        [&] { manager.subscriptionPaths(); },
        [&] { manager.folders(); },
        [&] { manager.numberOfSubscriptions(); },
    };
    for (std::size_t index = 0; index < queries.size(); ++index) {
        std::latch isAsking(1);
        std::atomic<bool> isFree = false;
        bool wasFree = false;
        std::unique_lock lock(manager.monitor());
        std::thread asker([&] {
            isAsking.count_down();
            queries[index]();
            wasFree = isFree;
        });
        isAsking.wait();
        // Time for a query that does not wait to come back; one that waits passes however short it is.
        for (int turn = 0; turn < 1000; ++turn)
            std::this_thread::yield();
        isFree = true;
        lock.unlock();
        asker.join();
        EXPECT_TRUE(wasFree) << index;
    }
}

TEST_F(SubscriptionQueries, Leave_the_monitor_to_other_threads) {
    manager.subscriptionPathsInFolder("/U", true);
    manager.subscriptionPaths();
    manager.folders();
    manager.numberOfSubscriptions();
    bool isFree = false;
    std::thread([&] {
        isFree = manager.monitor().try_lock();
        if (isFree) manager.monitor().unlock();
    }).join();
    EXPECT_TRUE(isFree);
}

TEST_F(SubscriptionQueries, Are_safe_while_another_thread_changes_the_arrays_under_the_monitor) {
    constexpr int changes = 500;
    std::latch start(3);
    const auto ask = [&](const std::function<std::size_t()>& query) {
        return std::thread([&start, query] {
            start.arrive_and_wait();
            for (int round = 0; round < changes; ++round)
                EXPECT_GE(query(), 3U);
        });
    };
    std::thread counter = ask([&] { return manager.numberOfSubscriptions(); });
    std::thread lister = ask([&] { return manager.subscriptionPathsInFolder("/U", true).size(); });
    start.arrive_and_wait();
    for (int round = 0; round < changes; ++round) {
        const std::lock_guard lock(manager.monitor());
        manager._subscriptionPaths.push_back("/U/" + std::to_string(round));
    }
    counter.join();
    lister.join();
    EXPECT_EQ(manager.numberOfSubscriptions(), 3U + changes);
}

// Abstract operations.

/// An abstract operation: its name, its line, and a call that gives whether the result was nil or false and
/// the error place untouched.
struct AbstractOperation {
    std::string name;
    std::string operation;
    int line;
    std::function<bool(MOXSubscriptionManager&)> call;

    friend void PrintTo(const AbstractOperation& value, std::ostream* stream) { *stream << value.name; }
};

/// Whether `operation`, given a place with an error in it, answers false and leaves the place alone.
template<typename Operation>
bool isFalseAndLeavesTheError(Operation operation) {
    std::optional<Error> error = Error::posix(1);
    std::optional<Error>* const noPlace = nullptr;
    const bool isFalse = !operation(&error) && !operation(noPlace);
    return isFalse && error && error->code() == 1;
}

const std::vector<AbstractOperation> abstractOperations = {
    {"fileNameForSubscription", "fileNameForSubscription:", 329,
     [](auto& manager) { return !manager.fileNameForSubscription(nullptr); }},
    {"pathForSubscription", "pathForSubscription:", 321,
     [](auto& manager) { return !manager.pathForSubscription(nullptr); }},
    {"removeAllSubscriptionsWithUniqueName", "removeAllSubscriptionsWithUniqueName:onStore:", 217,
     [](auto& manager) { return !manager.removeAllSubscriptionsWithUniqueName("Word", "Store"); }},
    {"moveSubscriptionFrom", "moveSubscriptionFrom:to:error:", 208,
     [](auto& manager) {
         return isFalseAndLeavesTheError(
             [&](auto* error) { return manager.moveSubscriptionFrom("/a/x", "/b/x", error); });
     }},
    {"removeFolderAtPath", "removeFolderAtPath:onlyIfEmpty:error:", 198,
     [](auto& manager) {
         return isFalseAndLeavesTheError(
             [&](auto* error) { return manager.removeFolderAtPath("/a", true, error); });
     }},
    {"renameFolderAtPath", "renameFolderAtPath:to:error:", 188,
     [](auto& manager) {
         return isFalseAndLeavesTheError(
             [&](auto* error) { return manager.renameFolderAtPath("/a", "/b", error); });
     }},
    {"createFolderAtPath", "createFolderAtPath:error:", 178,
     [](auto& manager) {
         return isFalseAndLeavesTheError(
             [&](auto* error) { return manager.createFolderAtPath("/a", error); });
     }},
    {"updateSubscriptionsAtPaths", "updateSubscriptionsAtPaths:errorBlock:storeNameBlock:iconBlock:", 170,
     [](auto& manager) {
         manager.updateSubscriptionsAtPaths({"/a/x"}, nullptr, nullptr, nullptr);
         return true;
     }},
    {"isSubscriptionAtPath", "isSubscriptionAtPath:", 159,
     [](auto& manager) { return !manager.isSubscriptionAtPath("/a/x"); }},
    {"subscriptionAtPath", "subscriptionAtPath:error:", 151,
     [](auto& manager) {
         return isFalseAndLeavesTheError(
             [&](auto* error) { return manager.subscriptionAtPath("/a/x", error) != nullptr; });
     }},
    {"removeSubscriptionAtPath", "removeSubscriptionAtPath:error:", 142,
     [](auto& manager) {
         return isFalseAndLeavesTheError(
             [&](auto* error) { return manager.removeSubscriptionAtPath("/a/x", error); });
     }},
    {"subscribeToResource",
     "subscribeToResource:ofType:onStoreNamed:withInternalStoreURL:andExternalStoreURL:usingNorvikType:"
     "andNorvikAuthType:withFileName:inFolder:andOptionalInfo:error:",
     134,
     [](auto& manager) {
         return isFalseAndLeavesTheError(
             [&](auto* error) { return manager.subscribeToResource("Word", {}, error); });
     }},
};

class AbstractManagerOperation : public SubscriptionManager,
                                 public ::testing::WithParamInterface<AbstractOperation> {
protected:
    std::string operation() const { return "-[MOXSubscriptionManager " + GetParam().operation + "]"; }

    void expectAssertion(const RecordingAssertionHandler::Failure& failure) const {
        EXPECT_EQ(failure.object, &manager);
        EXPECT_EQ(failure.operation, operation());
        EXPECT_EQ(failure.file, sourceFile);
        EXPECT_EQ(failure.line, GetParam().line);
        EXPECT_EQ(failure.description, operation() + " must be implemented by derived class");
    }
};

INSTANTIATE_TEST_SUITE_P(EachOperation, AbstractManagerOperation, ::testing::ValuesIn(abstractOperations),
                         [](const auto& entry) { return entry.param.name; });

TEST_P(AbstractManagerOperation, Throws_through_the_standard_handler) {
    try {
        GetParam().call(manager);
        FAIL() << "nothing was thrown";
    } catch (const InternalInconsistencyException& exception) {
        EXPECT_EQ(exception.operation(), operation());
        EXPECT_EQ(exception.file(), sourceFile);
        EXPECT_EQ(exception.line(), GetParam().line);
        EXPECT_EQ(exception.what(), operation() + " must be implemented by derived class");
    }
}

TEST_P(AbstractManagerOperation, Reports_nothing_more_when_the_assertion_throws) {
    const auto handler = installHandler(Then::Throws);
    EXPECT_THROW(GetParam().call(manager), InternalInconsistencyException);
    ASSERT_EQ(handler->failures().size(), 1U);
    expectAssertion(handler->failures().front());
    EXPECT_TRUE(handler->unrecognized().empty());
}

TEST_P(AbstractManagerOperation, Reports_its_selector_and_results_in_nil_or_false_when_the_handler_returns) {
    const auto handler = installHandler(Then::Returns);
    EXPECT_TRUE(GetParam().call(manager));
    ASSERT_FALSE(handler->failures().empty());
    EXPECT_EQ(handler->unrecognized().size(), handler->failures().size());
    for (const auto& failure : handler->failures())
        expectAssertion(failure);
    for (const auto& unrecognized : handler->unrecognized()) {
        EXPECT_EQ(unrecognized.object, &manager);
        EXPECT_EQ(unrecognized.operation, operation());
    }
}

TEST_P(AbstractManagerOperation, Touches_neither_the_disk_nor_the_log) {
    installHandler(Then::Returns);
    test.systemCalls.resetCalls();
    GetParam().call(manager);
    EXPECT_TRUE(test.systemCalls.calls().empty());
    EXPECT_TRUE(test.systemLog.lines().empty());
}

// The shared manager. What the classes keep cannot be taken back, so that each of these tests needs a process
// of its own.

class SharedManager : public SDKTest {
protected:
    static void choose(SubscriptionModel model) { MOXSubscriptionManager::setSubscriptionModel(model); }
    static std::shared_ptr<MOXSubscriptionManager> shared() {
        return MOXSubscriptionManager::sharedManager();
    }

    static bool isDictionaryModel(const std::shared_ptr<MOXSubscriptionManager>& manager) {
        return std::dynamic_pointer_cast<MOXPlistSubscriptionManager>(manager) != nullptr;
    }
    static bool isBundleModel(const std::shared_ptr<MOXSubscriptionManager>& manager) {
        return std::dynamic_pointer_cast<MOXFileSubscriptionManager>(manager) != nullptr;
    }

    /// The store's folder, made, and the path of its file.
    std::string makeSupportFolder() {
        for (const std::string_view folder :
             {"Library", "Library/Application Support", "Library/Application Support/Korvan Ostrel"}) {
            if (mkdir(test.homePath(folder).c_str(), 0700) != 0) ADD_FAILURE() << folder;
        }
        return test.homePath("Library/Application Support/Korvan Ostrel/Subscriptions.plist");
    }
};

void expectSharedManagerAssertion(const RecordingAssertionHandler& handler, int line,
                                  std::string_view message) {
    ASSERT_EQ(handler.failures().size(), 1U);
    const auto failure = handler.failures().front();
    EXPECT_EQ(failure.object, nullptr);
    EXPECT_EQ(failure.operation, sharedManagerOperation);
    EXPECT_EQ(failure.file, sourceFile);
    EXPECT_EQ(failure.line, line);
    EXPECT_EQ(failure.description, std::string(sharedManagerOperation).append(message));
    EXPECT_TRUE(handler.unrecognized().empty());
}

TEST_F(SharedManager, Has_the_dictionary_model_before_any_choice) {
    EXPECT_EQ(static_cast<std::int32_t>(MOXSubscriptionManager::subscriptionModel()), 0);
}

TEST_F(SharedManager, Asserts_when_no_model_was_chosen) {
    const auto handler = installHandler(Then::Throws);
    EXPECT_THROW(shared(), InternalInconsistencyException);
    expectSharedManagerAssertion(*handler, 42, " subscription model has not been set");
}

TEST_F(SharedManager, Names_the_base_s_operation_also_when_a_model_s_class_is_asked_too_early) {
    const auto handler = installHandler(Then::Throws);
    EXPECT_THROW(MOXPlistSubscriptionManager::sharedManager(), InternalInconsistencyException);
    expectSharedManagerAssertion(*handler, 42, " subscription model has not been set");
}

TEST_F(SharedManager, Is_the_dictionary_model_s_without_a_choice_when_the_handler_returns) {
    const auto handler = installHandler(Then::Returns);
    const auto manager = shared();
    EXPECT_TRUE(isDictionaryModel(manager));
    expectSharedManagerAssertion(*handler, 42, " subscription model has not been set");
    EXPECT_EQ(shared(), manager);
    EXPECT_EQ(handler->failures().size(), 2U);
}

TEST_F(SharedManager, Is_built_once_for_the_dictionary_model) {
    choose(SubscriptionModel::Dictionary);
    EXPECT_EQ(MOXSubscriptionManager::subscriptionModel(), SubscriptionModel::Dictionary);
    const auto manager = shared();
    EXPECT_TRUE(isDictionaryModel(manager));
    EXPECT_EQ(shared(), manager);
    EXPECT_EQ(MOXPlistSubscriptionManager::sharedManager(), manager);
    EXPECT_EQ(MOXFileSubscriptionManager::sharedManager(), manager);
}

TEST_F(SharedManager, Is_built_once_for_the_application_bundle_model) {
    choose(SubscriptionModel::ApplicationBundle);
    EXPECT_EQ(MOXSubscriptionManager::subscriptionModel(), SubscriptionModel::ApplicationBundle);
    const auto manager = shared();
    EXPECT_TRUE(isBundleModel(manager));
    EXPECT_EQ(shared(), manager);
}

TEST_F(SharedManager, Is_of_the_model_chosen_last_before_it_is_built) {
    choose(SubscriptionModel::Dictionary);
    choose(SubscriptionModel::ApplicationBundle);
    EXPECT_TRUE(isBundleModel(shared()));
}

TEST_F(SharedManager, Stays_the_same_when_the_model_is_changed_afterwards) {
    choose(SubscriptionModel::ApplicationBundle);
    const auto manager = shared();
    choose(SubscriptionModel::Dictionary);
    EXPECT_EQ(MOXSubscriptionManager::subscriptionModel(), SubscriptionModel::Dictionary);
    EXPECT_EQ(shared(), manager);
    choose(SubscriptionModel{7});
    EXPECT_EQ(shared(), manager);
}

TEST_F(SharedManager, Asserts_for_a_value_that_is_no_model_and_stores_nothing) {
    for (const std::int32_t value :
         {2, -1, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
        choose(SubscriptionModel{value});
        EXPECT_EQ(static_cast<std::int32_t>(MOXSubscriptionManager::subscriptionModel()), value);
        const auto handler = installHandler(Then::Throws);
        EXPECT_THROW(shared(), InternalInconsistencyException);
        expectSharedManagerAssertion(*handler, 62, " bad subscription model type");
    }
    choose(SubscriptionModel::ApplicationBundle);
    EXPECT_TRUE(isBundleModel(shared()));
}

TEST_F(SharedManager, Is_null_for_a_value_that_is_no_model_when_the_handler_returns) {
    choose(SubscriptionModel{2});
    const auto handler = installHandler(Then::Returns);
    EXPECT_EQ(shared(), nullptr);
    expectSharedManagerAssertion(*handler, 62, " bad subscription model type");
    bool isFree = false;
    std::thread([&] { isFree = shared() == nullptr; }).join();
    EXPECT_TRUE(isFree);
}

TEST_F(SharedManager, May_be_asked_for_by_the_handler_of_its_own_assertion) {
    class Handler : public AssertionHandler {
    public:
        std::shared_ptr<MOXSubscriptionManager> manager;
        void handleFailure(const AssertionFailure&) override {
            choose(SubscriptionModel::ApplicationBundle);
            manager = shared();
        }
    };
    const auto handler = std::make_shared<Handler>();
    installAssertionHandler(handler);
    choose(SubscriptionModel{2});
    EXPECT_EQ(shared(), nullptr) << "the call that asserted builds nothing";
    EXPECT_TRUE(isBundleModel(handler->manager));
    EXPECT_EQ(shared(), handler->manager);
}

TEST_F(SharedManager, Frees_the_class_s_monitor_when_the_assertion_throws) {
    choose(SubscriptionModel{2});
    EXPECT_THROW(shared(), InternalInconsistencyException);
    choose(SubscriptionModel::ApplicationBundle);
    std::shared_ptr<MOXSubscriptionManager> manager;
    std::thread([&] { manager = shared(); }).join();
    EXPECT_TRUE(isBundleModel(manager));
}

TEST_F(SharedManager, Is_not_stored_when_building_throws_and_can_be_built_later_on_another_thread) {
    const std::string file = makeSupportFolder();
    scratch.write("home/Library/Application Support/Korvan Ostrel/Subscriptions.plist", "no property list");
    choose(SubscriptionModel::Dictionary);
    EXPECT_THROW(shared(), InternalInconsistencyException);
    EXPECT_THROW(shared(), InternalInconsistencyException);
    ASSERT_EQ(unlink(file.c_str()), 0);
    std::shared_ptr<MOXSubscriptionManager> manager;
    std::thread([&] { manager = shared(); }).join();
    EXPECT_TRUE(isDictionaryModel(manager));
    EXPECT_EQ(shared(), manager);
}

TEST_F(SharedManager, Is_built_anew_for_the_model_then_chosen_once_the_old_one_is_destroyed) {
    choose(SubscriptionModel::ApplicationBundle);
    std::shared_ptr<MOXSubscriptionManager> manager = shared();
    const std::weak_ptr<MOXSubscriptionManager> old = manager;
    SharedManagerAccess::dropSharedManager();
    choose(SubscriptionModel::Dictionary);
    EXPECT_EQ(shared(), manager) << "it is still alive";
    manager.reset();
    EXPECT_TRUE(old.expired());
    EXPECT_TRUE(isDictionaryModel(shared()));
}

TEST_F(SharedManager, Stays_when_another_manager_is_destroyed) {
    choose(SubscriptionModel::ApplicationBundle);
    const std::weak_ptr<MOXSubscriptionManager> manager = shared();
    { const BareManager another; }
    ASSERT_FALSE(manager.expired());
    EXPECT_EQ(shared(), manager.lock());
}

TEST_F(SharedManager, Stays_alive_although_no_client_holds_it) {
    choose(SubscriptionModel::ApplicationBundle);
    const std::weak_ptr<MOXSubscriptionManager> manager = shared();
    EXPECT_FALSE(manager.expired());
    EXPECT_EQ(shared(), manager.lock());
}

/// User directories that hold the first manager that is being built until a test lets it go on.
class GatedUserDirectories : public UserDirectories {
public:
    mutable std::latch firstHasBegun{1};
    mutable std::latch firstMayGoOn{1};
    mutable std::atomic<int> managersBegun = 0;

    std::string homeDirectory() const override {
        if (++managersBegun == 1) {
            firstHasBegun.count_down();
            firstMayGoOn.wait();
        }
        return "/home/user";
    }
    std::vector<std::string> libraryDirectories() const override { return {}; }
    std::optional<std::string> temporaryDirectory() const override { return std::nullopt; }
};

using SharedManagerFunction = std::shared_ptr<MOXSubscriptionManager> (*)();

class SharedManagerOnThreads : public SharedManager {
protected:
    GatedUserDirectories directories;
    const Platform platform = test.platformWith(directories);
    ScopedPlatform gatedScope{platform};
};

TEST_F(SharedManagerOnThreads, Is_built_once_when_two_threads_ask_one_class_at_once) {
    choose(SubscriptionModel::ApplicationBundle);
    std::shared_ptr<MOXSubscriptionManager> first;
    std::shared_ptr<MOXSubscriptionManager> second;
    std::thread firstThread([&] { first = shared(); });
    directories.firstHasBegun.wait();
    std::latch secondIsAsking(1);
    std::thread secondThread([&] {
        secondIsAsking.count_down();
        second = shared();
    });
    secondIsAsking.wait();
    directories.firstMayGoOn.count_down();
    firstThread.join();
    secondThread.join();
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(directories.managersBegun, 1);
}

TEST_F(SharedManagerOnThreads, Is_the_same_for_many_threads) {
    choose(SubscriptionModel::ApplicationBundle);
    directories.firstMayGoOn.count_down();
    constexpr std::size_t count = 8;
    std::vector<std::shared_ptr<MOXSubscriptionManager>> managers(count);
    std::latch start(count);
    std::vector<std::thread> threads;
    for (auto& manager : managers) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            manager = shared();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& manager : managers)
        EXPECT_EQ(manager, managers.front());
    EXPECT_EQ(directories.managersBegun, 1);
}

class SharedManagerOfClasses
    : public SharedManagerOnThreads,
      public ::testing::WithParamInterface<std::pair<SharedManagerFunction, SharedManagerFunction>> {};

INSTANTIATE_TEST_SUITE_P(EachPair, SharedManagerOfClasses,
                         ::testing::Values(std::pair(&MOXSubscriptionManager::sharedManager,
                                                     &MOXPlistSubscriptionManager::sharedManager),
                                           std::pair(&MOXSubscriptionManager::sharedManager,
                                                     &MOXFileSubscriptionManager::sharedManager),
                                           std::pair(&MOXPlistSubscriptionManager::sharedManager,
                                                     &MOXFileSubscriptionManager::sharedManager)));

TEST_P(SharedManagerOfClasses, Is_built_on_purpose_twice_when_different_classes_are_asked_at_once) {
    choose(SubscriptionModel::ApplicationBundle);
    const auto [first, second] = GetParam();
    std::shared_ptr<MOXSubscriptionManager> fromFirst;
    std::thread firstThread([&, function = first] { fromFirst = function(); });
    directories.firstHasBegun.wait();
    // The first class is still building: this returns only because the classes do not exclude each other.
    const std::shared_ptr<MOXSubscriptionManager> fromSecond = second();
    EXPECT_EQ(fromFirst, nullptr);
    directories.firstMayGoOn.count_down();
    firstThread.join();
    EXPECT_NE(fromFirst, fromSecond);
    EXPECT_EQ(directories.managersBegun, 2);
    EXPECT_EQ(shared(), fromFirst) << "the one stored last stays";
}

/// User directories without which no manager can be built.
class NoUserDirectories : public GatedUserDirectories {
public:
    std::string homeDirectory() const override { throw std::runtime_error("no home"); }
};

TEST_F(SharedManager, Passes_on_whatever_building_throws_and_leaves_every_lock) {
    NoUserDirectories directories;
    const Platform platform = test.platformWith(directories);
    choose(SubscriptionModel::ApplicationBundle);
    {
        const ScopedPlatform withoutHome(platform);
        EXPECT_THROW(shared(), std::runtime_error);
    }
    std::shared_ptr<MOXSubscriptionManager> manager;
    std::thread([&] { manager = shared(); }).join();
    EXPECT_TRUE(isBundleModel(manager));
}

} // namespace
} // namespace mox::test
