#include <thread>

#include "Scenarios/DictionaryModelScenario.hpp"

namespace mox::test {
namespace {

class ThreadsInTheDictionaryModel : public DictionaryModelScenario {
protected:
    /// Runs each of `bodies` on a thread of its own, all at the same time.
    static void runTogether(const std::vector<std::function<void()>>& bodies) {
        std::vector<std::jthread> threads;
        for (const auto& body : bodies)
            threads.emplace_back(body);
    }

    static constexpr int rounds = 60;
};

TEST_F(ThreadsInTheDictionaryModel, Locked_operations_readers_and_the_shared_manager_are_safe_together) {
    putTree(sampleTree());
    start();
    runTogether({
        [&] {
            for (int round = 0; round < rounds; ++round)
                EXPECT_TRUE(manager->createFolderAtPath("/Apps/Made/" + std::to_string(round)));
        },
        [&] {
            for (int round = 0; round < rounds; ++round) {
                EXPECT_TRUE(manager->createFolderAtPath("/Apps/Here"));
                EXPECT_TRUE(manager->renameFolderAtPath("/Apps/Here", "/Apps/There"));
                EXPECT_TRUE(manager->removeFolderAtPath("/Apps/There", false));
            }
        },
        [&] {
            for (int round = 0; round < rounds; ++round) {
                EXPECT_TRUE(manager->moveSubscriptionFrom("/Apps/Store2/Desk", "/Apps/Empty/Desk"));
                EXPECT_TRUE(manager->moveSubscriptionFrom("/Apps/Empty/Desk", "/Apps/Store2/Desk"));
                std::optional<Error> error = staleError();
                EXPECT_FALSE(manager->moveSubscriptionFrom("/Apps/None", "/Apps/Other", &error));
                EXPECT_FALSE(error);
            }
        },
        [&] {
            for (int round = 0; round < rounds; ++round)
                manager->removeAllSubscriptionsWithUniqueName(round % 2 == 0 ? "Farm:Bare" : "None", "Store");
        },
        [&] {
            for (int round = 0; round < rounds; ++round) {
                EXPECT_LE(manager->numberOfSubscriptions(), 4U);
                EXPECT_LE(manager->subscriptionPathsInFolder("/Apps", true).size(), 4U);
                EXPECT_EQ(&manager->folders(), &manager->folders());
                EXPECT_EQ(&manager->subscriptionPaths(), &manager->subscriptionPaths());
                EXPECT_EQ(MOXSubscriptionManager::sharedManager(), manager);
            }
        },
    });
    EXPECT_EQ(manager->folders().size(), 5U + 1U + static_cast<std::size_t>(rounds));
    EXPECT_EQ(manager->numberOfSubscriptions(), 2U + 1U);
    const Paths paths = manager->subscriptionPaths();
    const Paths folders = manager->folders();
    start();
    EXPECT_EQ(manager->subscriptionPaths(), paths);
    EXPECT_EQ(manager->folders(), folders);
}

TEST_F(ThreadsInTheDictionaryModel, All_threads_that_ask_first_get_the_one_manager) {
    constexpr std::size_t count = 8;
    std::vector<Manager> managers(count);
    std::vector<std::function<void()>> bodies;
    for (Manager& given : managers)
        bodies.push_back([&given] { given = MOXSubscriptionManager::sharedManager(); });
    runTogether(bodies);
    for (const Manager& given : managers)
        EXPECT_EQ(given, managers.front());
    EXPECT_EQ(saves(), 1U) << "one manager was built";
}

TEST_F(ThreadsInTheDictionaryModel, Other_operations_work_on_any_one_thread_at_a_time) {
    start();
    for (int round = 0; round < 4; ++round) {
        std::jthread([&] {
            const std::string name = "Word" + std::to_string(round);
            EXPECT_TRUE(manager->subscribeToResource("Farm:Word", keywordsFor(name, apps)));
            EXPECT_TRUE(manager->isSubscriptionAtPath(apps + "/" + name));
            EXPECT_TRUE(manager->removeSubscriptionAtPath(apps + "/" + name));
        }).join();
    }
    EXPECT_EQ(manager->numberOfSubscriptions(), 0U);
}

} // namespace
} // namespace mox::test
