#include "Platform/Linux/LinuxFolderEvents.hpp"
#include "Platform/Linux/LinuxRunLoop.hpp"
#include "Platform/Testing/SteppedWatchCalls.hpp"
#include "SDK/BundleStore.hpp"
#include "SDK/MOXNotifications.hpp"

#include <chrono>
#include <thread>

namespace mox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class WatchingFolders : public BundleStoreTest {
protected:
    WatchingFolders() {
        test.notificationCenter.addObserver("fennixFolderChanged",
                                            [this](std::string_view name, const void* object) {
                                                EXPECT_EQ(name, MOXFolderChangedNotification);
                                                EXPECT_EQ(object, nullptr);
                                                ++notifications;
                                                if (whenNotified) whenNotified();
                                            });
    }

    std::size_t rebuilds() const { return test.fileSystem.count(FileSystemOperation::ContentsOfDirectory); }

    int notifications = 0;
    std::function<void()> whenNotified;
};

TEST_F(WatchingFolders, The_watch_is_of_the_applications_folder_alone_with_a_second_s_latency) {
    const auto store = open();
    ASSERT_EQ(test.folderEvents.streams.size(), 1U);
    const auto& stream = *test.folderEvents.streams.front();
    EXPECT_EQ(stream.path, inApps());
    EXPECT_EQ(stream.latency, std::chrono::seconds(1));
    EXPECT_TRUE(stream.isStarted);
    EXPECT_FALSE(stream.isDestroyed);
}

TEST_F(WatchingFolders,
       Delivery_is_on_the_run_loop_of_the_thread_that_built_the_manager_in_its_default_mode) {
    std::shared_ptr<RunLoop> loopOfThread;
    std::shared_ptr<OpenBundleStore> store;
    std::thread([&] {
        loopOfThread = test.runLoops.currentRunLoop();
        store = open();
    }).join();
    const auto& stream = *test.folderEvents.streams.front();
    EXPECT_EQ(stream.runLoop, loopOfThread);
    EXPECT_NE(stream.runLoop, test.runLoops.currentRunLoop());
    EXPECT_EQ(stream.mode, "kCFRunLoopDefaultMode");
}

TEST_F(WatchingFolders, Without_a_stream_the_manager_works_and_says_nothing) {
    makeStub("Word.app");
    test.folderEvents.refusesToCreate = true;
    const OpenBundleStore store;
    EXPECT_THAT(store.subscriptionPaths(), ElementsAre(inApps("Word.app")));
    EXPECT_THAT(logLines(), IsEmpty());
    EXPECT_THAT(test.folderEvents.streams, IsEmpty());
}

TEST_F(WatchingFolders, The_watch_ends_with_the_manager) {
    auto store = open();
    store.reset();
    EXPECT_TRUE(test.folderEvents.streams.front()->isDestroyed);
    test.folderEvents.deliver({inApps()});
    EXPECT_EQ(notifications, 0);
}

TEST_F(WatchingFolders, A_change_of_a_listed_folder_rebuilds_and_then_notifies_once) {
    makeStub("a/Gone.app");
    makeStub("a/Stays.app");
    const auto store = open();
    ASSERT_TRUE(test.fileSystem.removeItem(inApps("a/Gone.app")));
    whenNotified = [&] { EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("a/Stays.app"))); };
    test.folderEvents.deliver({inApps("a")});
    EXPECT_EQ(notifications, 1);
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("a/Stays.app")));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(WatchingFolders, A_folder_that_others_made_rebuilds_but_is_not_listed) {
    makeAppsFolder();
    const auto store = open();
    makeAppsFolder("new");
    test.folderEvents.deliver({inApps()});
    EXPECT_EQ(notifications, 1);
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
}

TEST_F(WatchingFolders, A_change_elsewhere_does_nothing) {
    makeStub("a/Stub.app");
    makeAppsFolder("unlisted");
    const auto store = open();
    makeStub("a/Unseen.app");
    test.folderEvents.deliver({inApps("a/Stub.app"), inApps("a/Stub.app/Contents"), inApps("unlisted"),
                               inApps("a/Unseen.app/Contents/Resources"), inApps("A"), test.homePath(), "/",
                               "", "a"});
    test.folderEvents.deliver({});
    EXPECT_EQ(notifications, 0);
    EXPECT_EQ(rebuilds(), 0U);
    EXPECT_EQ(store->numberOfSubscriptions(), 1U);
}

TEST_F(WatchingFolders, A_batch_of_many_changes_is_one_rebuild_and_one_notification) {
    makeStub("a/Stub.app");
    makeStub("b/Stub.app");
    const auto store = open();
    test.folderEvents.deliver({inApps("none"), inApps("a"), inApps("b"), inApps(), inApps("a")});
    EXPECT_EQ(notifications, 1);
    EXPECT_EQ(rebuilds(), 3U) << "one rebuild, of three folders";
    test.folderEvents.deliver({inApps("b")});
    EXPECT_EQ(notifications, 2);
}

TEST_F(WatchingFolders, One_slash_at_the_end_of_a_path_does_not_count) {
    makeStub("a/Stub.app");
    const auto store = open();
    test.folderEvents.deliver({inApps("a") + "/"});
    EXPECT_EQ(notifications, 1);
    test.folderEvents.deliver({inApps("a") + "//"});
    EXPECT_EQ(notifications, 1) << "only one is dropped";
}

TEST_F(WatchingFolders, The_root_is_compared_as_it_is) {
    test.userDirectories.home = "";
    const auto store = open();
    ASSERT_THAT(store->folders(), ElementsAre("Applications"));
    test.folderEvents.deliver({"/"});
    EXPECT_EQ(notifications, 0);
    store->_foldersAddedByUser.insert("/");
    // No walk lists the root itself, so that its place is taken by hand.
    const_cast<Paths&>(store->folders()).push_back("/");
    test.folderEvents.deliver({"/"});
    EXPECT_EQ(notifications, 1);
}

TEST_F(WatchingFolders, A_folder_removed_through_the_manager_leaves_the_list_with_the_watch) {
    const auto store = open();
    ASSERT_TRUE(store->createFolderAtPath(inApps("a")));
    ASSERT_TRUE(store->removeFolderAtPath(inApps("a"), true));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a"), inApps()));
    test.folderEvents.deliver({inApps()});
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
}

TEST_F(WatchingFolders, Our_own_changes_are_told_as_well) {
    const std::string stub = makeStub("a/Stub.app");
    makeStub("a/Other.app");
    const auto store = open();
    ASSERT_TRUE(store->removeSubscriptionAtPath(stub));
    EXPECT_EQ(notifications, 0) << "not by the operation";
    test.folderEvents.deliver({inApps("a")});
    EXPECT_EQ(notifications, 1);
}

TEST_F(WatchingFolders, A_missing_applications_folder_is_an_empty_listing) {
    makeStub("a/Stub.app");
    const auto store = open();
    ASSERT_TRUE(test.fileSystem.removeItem(inApps()));
    test.folderEvents.deliver({inApps()});
    EXPECT_EQ(notifications, 1);
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
}

TEST_F(WatchingFolders, An_observer_may_give_up_the_manager) {
    auto store = open();
    whenNotified = [&] { store.reset(); };
    test.folderEvents.deliver({inApps(), inApps()});
    EXPECT_EQ(notifications, 1);
    EXPECT_TRUE(test.folderEvents.streams.front()->isDestroyed);
}

TEST_F(WatchingFolders, The_monitor_is_free_while_observers_are_called) {
    const auto store = open();
    bool isFree = false;
    whenNotified = [&] { isFree = store->isMonitorFree(); };
    test.folderEvents.deliver({inApps()});
    EXPECT_TRUE(isFree);
}

// What the desktop learns

TEST_F(WatchingFolders, The_desktop_is_made_sure_of_the_stubs_when_others_changed_which_there_are) {
    makeStub("Gone.app");
    makeStub("Stays.app");
    const auto store = open();
    ASSERT_TRUE(test.fileSystem.removeItem(inApps("Gone.app")));
    whenNotified = [&] { EXPECT_FALSE(test.launchRegistration.calls.empty()) << "before the notification"; };
    test.folderEvents.deliver({inApps()});
    EXPECT_THAT(test.launchRegistration.calls,
                ElementsAre("begin", "reconcile " + inApps("Stays.app"), "end"));
}

TEST_F(WatchingFolders, The_desktop_is_left_alone_while_the_stubs_are_the_same) {
    makeStub("Stub.app");
    const auto store = open();
    makeAppsFolder("new");
    makeFile("home/Applications/file", "x");
    test.folderEvents.deliver({inApps()});
    EXPECT_EQ(notifications, 1);
    EXPECT_THAT(test.launchRegistration.calls, IsEmpty());
}

TEST_F(WatchingFolders, A_change_by_others_that_another_operation_listed_first_is_not_missed) {
    const auto store = open();
    makeStub("New.app");
    store->updateConvenienceArrays();
    EXPECT_THAT(test.launchRegistration.calls, IsEmpty());
    test.folderEvents.deliver({inApps()});
    EXPECT_THAT(registrations(), ElementsAre("reconcile " + inApps("New.app")));
    test.folderEvents.deliver({inApps()});
    EXPECT_THAT(registrations(), ElementsAre("reconcile " + inApps("New.app"))) << "once";
}

// With the system's own watch, whose clock is stepped by hand

class WatchingTheDisk : public WatchingFolders {
protected:
    /// Lets the run loop handle what is due, a second pass, and handle what is due then.
    void letASecondPass(std::string_view mode = defaultRunLoopMode) {
        handleDue(mode);
        _calls.advance(std::chrono::seconds(1));
        handleDue(mode);
    }

private:
    void handleDue(std::string_view mode) {
        const auto loop = _runLoops.currentRunLoop();
        while (loop->runOnce(mode, std::chrono::milliseconds(0))) {
        }
    }

    SystemCalls _system;
    SteppedWatchCalls _calls;
    LinuxFolderEvents _folderEvents{_system, _calls};
    LinuxRunLoops _runLoops;
    const Platform _platform{test.platform.fileSystem,
                             test.platform.userDirectories,
                             test.platform.bundles,
                             test.platform.systemLog,
                             test.platform.assertionHandler,
                             test.platform.workspace,
                             test.platform.fileReferences,
                             test.platform.launchRegistration,
                             _folderEvents,
                             _runLoops,
                             test.platform.notificationCenter,
                             test.platform.systemVersion};
    const ScopedPlatform _scope{_platform};
};

TEST_F(WatchingTheDisk, A_stub_that_others_remove_leaves_the_list_with_one_notification) {
    const std::string gone = makeStub("a/b/Gone.app");
    makeStub("a/b/Stays.app");
    const auto store = open();
    ASSERT_TRUE(test.fileSystem.removeItem(gone));
    letASecondPass();
    EXPECT_EQ(notifications, 1);
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("a/b/Stays.app")));
    letASecondPass();
    EXPECT_EQ(notifications, 1);
}

TEST_F(WatchingTheDisk, An_empty_folder_that_others_make_is_told_but_not_listed) {
    makeAppsFolder();
    const auto store = open();
    makeAppsFolder("new");
    letASecondPass();
    EXPECT_EQ(notifications, 1);
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
}

TEST_F(WatchingTheDisk, A_change_inside_a_stub_is_not_told) {
    const std::string stub = makeStub("a/Stub.app");
    const auto store = open();
    makeFile("home/Applications/a/Stub.app/Contents/Resources/new", "x");
    letASecondPass();
    EXPECT_EQ(notifications, 0);
}

TEST_F(WatchingTheDisk, Our_own_operations_are_followed_by_one_notification_about_a_second_later) {
    makeStub("a/Stub.app");
    makeAppsFolder("b");
    const auto store = open();
    ASSERT_TRUE(store->moveSubscriptionFrom(inApps("a/Stub.app"), inApps("b/Stub.app")));
    ASSERT_TRUE(store->createFolderAtPath(inApps("c")));
    EXPECT_EQ(notifications, 0);
    letASecondPass();
    EXPECT_EQ(notifications, 1);
}

TEST_F(WatchingTheDisk, A_folder_removed_by_the_manager_leaves_the_list_with_the_notification) {
    const auto store = open();
    ASSERT_TRUE(store->createFolderAtPath(inApps("a")));
    letASecondPass();
    ASSERT_TRUE(store->removeFolderAtPath(inApps("a"), true));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a"), inApps()));
    notifications = 0;
    letASecondPass();
    EXPECT_EQ(notifications, 1);
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
}

TEST_F(WatchingTheDisk, What_happens_while_the_loop_runs_in_another_mode_waits_for_the_default_mode) {
    makeAppsFolder();
    const auto store = open();
    makeStub("Stub.app");
    letASecondPass("modal");
    EXPECT_EQ(notifications, 0);
    letASecondPass();
    EXPECT_EQ(notifications, 1);
    EXPECT_EQ(store->numberOfSubscriptions(), 1U);
}

TEST_F(WatchingTheDisk, Nothing_is_told_behind_the_manager_s_end) {
    makeAppsFolder();
    auto store = open();
    makeStub("Stub.app");
    store.reset();
    letASecondPass();
    EXPECT_EQ(notifications, 0);
}

} // namespace
} // namespace mox::test
