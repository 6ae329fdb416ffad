#include <atomic>
#include <thread>

#include "Scenarios/BundleModelScenario.hpp"

namespace mox::test {
namespace {

class ThreadsInTheBundleModel : public BundleModelScenario {};

TEST_F(ThreadsInTheBundleModel, The_queries_and_the_shared_manager_are_safe_beside_all_operations) {
    putSample();
    start();
    std::atomic<bool> isOver = false;
    std::vector<std::jthread> readers;
    for (int reader = 0; reader < 3; ++reader) {
        readers.emplace_back([this, &isOver] {
            do {
                EXPECT_LE(manager->numberOfSubscriptions(), 4U);
                EXPECT_GE(manager->subscriptionPathsInFolder(inApps(), true).size(), 2U);
                EXPECT_EQ(&manager->folders(), &manager->folders());
                EXPECT_EQ(&manager->subscriptionPaths(), &manager->subscriptionPaths());
                EXPECT_EQ(MOXSubscriptionManager::sharedManager(), manager);
            } while (!isOver);
        });
    }
    for (int round = 0; round < 15; ++round) {
        EXPECT_TRUE(manager->subscribeToResource("Farm:New", keywordsFor("New.app", inApps("Made"))));
        EXPECT_TRUE(manager->moveSubscriptionFrom(inApps("Made/New.app"), inApps("Work/New.app")));
        EXPECT_TRUE(manager->renameFolderAtPath(inApps("Work"), inApps("Job")));
        EXPECT_TRUE(manager->renameFolderAtPath(inApps("Job"), inApps("Work")));
        EXPECT_TRUE(manager->removeSubscriptionAtPath(inApps("Work/New.app")));
        EXPECT_TRUE(manager->removeFolderAtPath(inApps("Made"), true));
    }
    isOver = true;
    readers.clear();
    EXPECT_EQ(manager->numberOfSubscriptions(), 3U);
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
