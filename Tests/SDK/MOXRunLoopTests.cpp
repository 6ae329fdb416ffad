#include "Platform/Linux/LinuxFolderEvents.hpp"
#include "Platform/Linux/LinuxRunLoop.hpp"
#include "Platform/Testing/SteppedWatchCalls.hpp"
#include "SDK/BundleStore.hpp"
#include "SDK/MOXNotifications.hpp"
#include "SDK/MOXRunLoop.hpp"

#include <filesystem>
#include <thread>

namespace mox::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

/// The manager on the system's own folder events and run loop, with a clock that is stepped by hand.
class RunLoopOfAClient : public BundleStoreTest {
protected:
    RunLoopOfAClient() {
        makeAppsFolder("Office");
        defaultNotificationCenter().addObserver(MOXFolderChangedNotification,
                                                [this](std::string_view, const void*) {
                                                    ++notifications;
                                                    if (whenNotified) whenNotified();
                                                });
    }

    void handleDue() {
        while (currentRunLoop()->runOnce(defaultRunLoopMode, 0ms)) {
        }
    }

    void letWindowClose() {
        handleDue();
        calls.advance(1s);
        handleDue();
    }

    SystemCalls system;
    SteppedWatchCalls calls;
    LinuxFolderEvents folderEvents{system, calls};
    LinuxRunLoops runLoops;
    const Platform platform{test.platform.fileSystem,
                            test.platform.userDirectories,
                            test.platform.bundles,
                            test.platform.systemLog,
                            test.platform.assertionHandler,
                            test.platform.workspace,
                            test.platform.fileReferences,
                            test.platform.launchRegistration,
                            folderEvents,
                            runLoops,
                            test.platform.notificationCenter,
                            test.platform.systemVersion};
    const ScopedPlatform scopeOfPlatform{platform};
    int notifications = 0;
    std::function<void()> whenNotified;
};

TEST_F(RunLoopOfAClient, The_loop_and_the_centre_are_the_platforms) {
    EXPECT_EQ(currentRunLoop(), runLoops.currentRunLoop());
    EXPECT_EQ(&defaultNotificationCenter(), &test.notificationCenter);
    EXPECT_EQ(MOXFolderChangedNotification, "fennixFolderChanged");
}

TEST_F(RunLoopOfAClient, Many_changes_are_one_notification_and_the_lists_show_them_already) {
    const auto store = open();
    Paths seen;
    whenNotified = [&] { seen = store->subscriptionPaths(); };
    makeStub("Word.app");
    makeStub("Office/Sheet.app");
    handleDue();
    EXPECT_EQ(notifications, 0);
    letWindowClose();
    EXPECT_EQ(notifications, 1);
    EXPECT_THAT(seen, testing::UnorderedElementsAre(inApps("Word.app"), inApps("Office/Sheet.app")));

    std::filesystem::remove_all(inApps("Office/Sheet.app"));
    letWindowClose();
    EXPECT_EQ(notifications, 2);
    EXPECT_THAT(seen, ElementsAre(inApps("Word.app")));
}

TEST_F(RunLoopOfAClient, Nothing_is_told_in_another_mode_until_the_default_mode_runs_again) {
    const auto store = open();
    makeStub("Word.app");
    handleDue();
    calls.advance(1s);
    EXPECT_FALSE(currentRunLoop()->runOnce("tracking", 0ms));
    EXPECT_EQ(notifications, 0);
    handleDue();
    EXPECT_EQ(notifications, 1);
}

TEST_F(RunLoopOfAClient, A_folder_that_is_not_listed_and_the_inside_of_a_stub_tell_nothing) {
    makeStub("Word.app");
    const auto store = open();
    // Without a stub in it, it is no listed folder; its contents change.
    makeAppsFolder("Office/Empty");
    makeAppsFolder("Word.app/Contents/New");
    letWindowClose();
    EXPECT_EQ(notifications, 0);
    makeAppsFolder("Top");
    letWindowClose();
    EXPECT_EQ(notifications, 1);
}

TEST_F(RunLoopOfAClient, A_missing_applications_folder_tells_of_its_appearance) {
    std::filesystem::remove_all(inApps());
    const auto store = open();
    makeStub("Word.app");
    letWindowClose();
    EXPECT_EQ(notifications, 1);
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("Word.app")));
}

TEST_F(RunLoopOfAClient, Lost_events_rebuild_the_lists) {
    const auto store = open();
    makeStub("Office/Sheet.app");
    calls.loseEvents();
    letWindowClose();
    EXPECT_EQ(notifications, 1);
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("Office/Sheet.app")));
}

TEST_F(RunLoopOfAClient, A_manager_may_go_while_a_batch_is_on_its_way) {
    auto store = open();
    makeStub("Word.app");
    handleDue();
    store.reset();
    calls.advance(1s);
    handleDue();
    EXPECT_EQ(notifications, 0);
    EXPECT_EQ(calls.watchCount(), 0U);
}

TEST_F(RunLoopOfAClient, An_observer_may_give_up_the_manager) {
    auto store = open();
    whenNotified = [&] { store.reset(); };
    makeStub("Word.app");
    letWindowClose();
    EXPECT_EQ(notifications, 1);
    EXPECT_EQ(calls.watchCount(), 0U);
}

TEST_F(RunLoopOfAClient, Once_the_thread_that_built_the_manager_has_ended_nothing_is_told) {
    std::shared_ptr<OpenBundleStore> store;
    std::thread([&] { store = open(); }).join();
    makeStub("Word.app");
    letWindowClose();
    EXPECT_EQ(notifications, 0);
    store.reset();
    EXPECT_EQ(calls.watchCount(), 0U);
}

} // namespace
} // namespace mox::test
