#include "SDK/MOXFileSubscriptionManagerAdditions.hpp"
#include "SDK/MOXNotifications.hpp"
#include "SDK/MOXRunLoop.hpp"

#include <atomic>
#include <cstdio>
#include <thread>

#include "Scenarios/BundleModelDesktop.hpp"
#include "Scenarios/BundleModelScenario.hpp"

namespace mox::test {
namespace {

class ThreadsInTheBundleModel : public BundleModelScenario {
protected:
    /// Runs `operations` on this thread, while the queries go on on three others.
    void besideQueries(const std::function<void()>& operations) {
        std::atomic<bool> isOver = false;
        std::vector<std::jthread> readers;
        for (int reader = 0; reader < 3; ++reader) {
            readers.emplace_back([this, &isOver] {
                do {
                    EXPECT_LE(manager->numberOfSubscriptions(), 4U);
                    EXPECT_LE(manager->subscriptionPathsInFolder(inApps(), true).size(), 4U);
                    EXPECT_EQ(&manager->folders(), &manager->folders());
                    EXPECT_EQ(&manager->subscriptionPaths(), &manager->subscriptionPaths());
                    EXPECT_EQ(MOXSubscriptionManager::sharedManager(), manager);
                } while (!isOver);
            });
        }
        operations();
        isOver = true;
    }
};

TEST_F(ThreadsInTheBundleModel, The_queries_and_the_shared_manager_are_safe_beside_all_operations) {
    putSample();
    start();
    besideQueries([this] {
        for (int round = 0; round < 15; ++round) {
            EXPECT_TRUE(manager->subscribeToResource("Farm:New", keywordsFor("New.app", inApps("Made"))));
            EXPECT_TRUE(manager->moveSubscriptionFrom(inApps("Made/New.app"), inApps("Work/New.app")));
            EXPECT_TRUE(manager->renameFolderAtPath(inApps("Work"), inApps("Job")));
            EXPECT_TRUE(manager->renameFolderAtPath(inApps("Job"), inApps("Work")));
            EXPECT_TRUE(manager->removeSubscriptionAtPath(inApps("Work/New.app")));
            EXPECT_TRUE(manager->removeFolderAtPath(inApps("Made"), true));
        }
    });
    EXPECT_EQ(manager->numberOfSubscriptions(), 3U);
}

TEST_F(ThreadsInTheBundleModel, The_queries_are_safe_beside_upgrades_removals_and_look_ups) {
    for (int round = 0; round < 5; ++round) {
        putSample();
        start();
        besideQueries([this] {
            std::size_t errors = 0;
            manager->updateSubscriptionsAtPaths(
                {inApps("Work/Word.app"), inApps("None.app")},
                [&errors](const std::string&, const std::optional<Error>&, bool&) { ++errors; },
                askForStore("Store"), askForIcon(16));
            EXPECT_EQ(errors, 1U);
            EXPECT_TRUE(manager->createFolderAtPath(inApps("Made/Here")));
            EXPECT_TRUE(manager->isSubscriptionAtPath(inApps("Work/Word.app")));
            EXPECT_EQ(manager->subscriptionAtPath(inApps("Work/Word.app"))->subscriptionVersion(), "2.0.0.0");
            EXPECT_EQ(manager->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store")->size(), 2U);
            EXPECT_TRUE(manager->removeFolderAtPath(inApps("Made"), false));
        });
        EXPECT_EQ(manager->numberOfSubscriptions(), 1U);
    }
}

TEST_F(ThreadsInTheBundleModel, The_queries_are_safe_beside_what_the_watch_delivers) {
    putSample();
    start();
    std::size_t told = 0;
    const auto token = defaultNotificationCenter().addObserver(
        MOXFolderChangedNotification, [&](std::string_view, const void*) { ++told; });
    besideQueries([this] {
        for (int round = 0; round < 50; ++round) {
            // Somebody else does it, behind the manager's back.
            ASSERT_EQ(::rename(inApps("Work").c_str(), inApps("Job").c_str()), 0);
            test.folderEvents.deliver({inApps()});
            ASSERT_EQ(::rename(inApps("Job").c_str(), inApps("Work").c_str()), 0);
            test.folderEvents.deliver({inApps()});
        }
    });
    defaultNotificationCenter().removeObserver(token);
    EXPECT_EQ(told, 100U);
    EXPECT_EQ(manager->numberOfSubscriptions(), 3U);
}

TEST_F(ThreadsInTheBundleModel, What_any_thread_may_call_is_safe_together) {
    putSample();
    BundleModelDesktop desktop{test, scratch.path()};
    const ScopedPlatform onDesktop{desktop.platform};
    start();
    std::atomic<std::size_t> posted = 0;
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&] {
                const auto loop = currentRunLoop();
                for (int round = 0; round < 30; ++round) {
                    EXPECT_EQ(currentRunLoop(), loop) << "the thread's own";
                    EXPECT_FALSE(
                        moxSubscribeErrorWithKey("MOXSubscribeUnknownError", 2001).description().empty());
                    EXPECT_TRUE(isNilOrEmpty(std::nullopt));
                    EXPECT_TRUE(isAlmostEmptyDirectoryAtPath(inApps("Empty")));
                    const auto image = imageWithData(iconFileOfSides({16}));
                    EXPECT_TRUE(image && pngDataOfImage(*image));
                    const auto handler =
                        std::make_shared<RecordingAssertionHandler>(RecordingAssertionHandler::Then::Returns);
                    EXPECT_NE(installAssertionHandler(handler), handler);
                    const std::string name = "of a test";
                    const auto token = defaultNotificationCenter().addObserver(
                        name, [&](std::string_view, const void*) { ++posted; });
                    defaultNotificationCenter().postNotificationName(name, nullptr);
                    defaultNotificationCenter().removeObserver(token);
                    EXPECT_EQ(MOXSubscriptionManager::sharedManager()->numberOfSubscriptions(), 3U);
                    // Each thread has records of its own.
                    const auto record = MOXFileSubscription::subscriptionWithPath(inApps("Work/Word.app"));
                    ASSERT_NE(record, nullptr);
                    EXPECT_TRUE(record->needsUpdate());
                    EXPECT_EQ(record->fileTypes()->size(), 1U);
                    EXPECT_TRUE(record->icon());
                    record->setStoreName("Store");
                }
            });
        }
    }
    EXPECT_GE(posted, 120U);
    end();
}

TEST_F(ThreadsInTheBundleModel, All_threads_that_ask_first_get_the_one_manager) {
    putSample();
    constexpr std::size_t count = 8;
    std::vector<Manager> managers(count);
    {
        std::vector<std::jthread> threads;
        for (Manager& given : managers)
            threads.emplace_back([&given] { given = MOXSubscriptionManager::sharedManager(); });
    }
    for (const Manager& given : managers)
        EXPECT_EQ(given, managers.front());
    EXPECT_EQ(managers.front()->numberOfSubscriptions(), 3U);
}

} // namespace
} // namespace mox::test
