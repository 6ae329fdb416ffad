#include "Formats/PropertyListReading.hpp"
#include "Platform/Testing/PowerLossSystemCalls.hpp"
#include "Support/SharedManagerAccess.hpp"

#include <unistd.h>

#include "Scenarios/DictionaryModelScenario.hpp"

namespace mox::test {
namespace {

class CrashesOfTheDictionaryModel : public DictionaryModelScenario {};

TEST_F(CrashesOfTheDictionaryModel,
       A_process_that_dies_at_any_change_leaves_a_store_from_before_or_after_a_save) {
    for (const Operation& operation : operations()) {
        const std::vector<Dictionary> trees = savedTrees(operation);
        std::size_t number = 1;
        for (;; ++number) {
            SCOPED_TRACE(operation.name + ", change " + std::to_string(number));
            putTree(sampleTree());
            start();
            environment.systemCalls.resetCalls();
            environment.systemCalls.dieAtChange(number);
            operation.perform(*manager);
            environment.systemCalls.stopFailing();
            const bool hasDied = environment.systemCalls.faultsFired() != 0;
            EXPECT_TRUE(isFileOfOneOf(bytesOfFile(plistPath()), trees));
            if (!hasDied) {
                EXPECT_EQ(treeOnDisk(), trees.back());
            }
            const Dictionary onDisk = treeOnDisk();
            start();
            EXPECT_TRUE(manager->createFolderAtPath(""));
            EXPECT_EQ(treeOnDisk(), onDisk);
            if (!hasDied) break;
        }
        EXPECT_GT(number, 4U);
    }
}

/// The same client on a disk of which only what was synchronised is sure to be there after a power cut.
class PowerCutsInTheDictionaryModel : public testing::Test {
protected:
    PowerCutsInTheDictionaryModel() {
        environment.userDirectories.home = "/Users/user";
        MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::Dictionary);
    }

    ~PowerCutsInTheDictionaryModel() override { SharedManagerAccess::dropSharedManager(); }

    /// Ends the client and starts it anew.
    const std::shared_ptr<MOXSubscriptionManager>& start() {
        manager.reset();
        SharedManagerAccess::dropSharedManager();
        manager = MOXSubscriptionManager::sharedManager();
        return manager;
    }

    /// The path of the store's file as the disk names it, and where it is in it.
    const std::string plist = "home/Library/Application Support/Korvan Ostrel/Subscriptions.plist";

    ScratchFolder folder;
    SystemCalls system;
    PowerLossSystemCalls disk{system, folder.path()};
    TestPlatform environment{{.systemCalls = &disk, .folder = folder.path()}};
    ScopedPlatform scope{environment.platform};
    std::shared_ptr<MOXSubscriptionManager> manager;
};

TEST_F(PowerCutsInTheDictionaryModel, A_power_cut_at_any_change_leaves_a_store_from_before_or_after_a_save) {
    const auto treeNow = [this] {
        return *propertyListFromBytes(bytesOfFile(folder.path(plist)))->dictionary();
    };
    const auto subscribe = [](MOXSubscriptionManager& client) {
        EXPECT_TRUE(client.subscribeToResource("Farm:New", keywordsFor("New", "/Apps")));
    };
    const auto move = [](MOXSubscriptionManager& client) {
        EXPECT_TRUE(client.moveSubscriptionFrom("/Users/Old", "/Users/user/Old"));
    };
    EXPECT_TRUE(start()->subscribeToResource("Farm:Old", keywordsFor("Old", "/Users")));
    const auto safe = disk.statesAfterPowerLoss();
    ASSERT_EQ(safe.size(), 1U) << "a save that has succeeded is safe";
    const PowerLossSystemCalls::State before = *safe.begin();

    for (const std::function<void(MOXSubscriptionManager&)>& operation :
         {std::function<void(MOXSubscriptionManager&)>(subscribe),
          std::function<void(MOXSubscriptionManager&)>(move)}) {
        disk.restart(before);
        std::vector<Dictionary> trees{treeNow()};
        {
            start();
            ASSERT_EQ(manager->numberOfSubscriptions(), 1U);
            Dictionary withFolder = trees.front();
            withFolder.dictionary("Folders")->dictionary("/")->dictionary("Folders")->set("Apps", node());
            operation(*manager);
            trees.push_back(withFolder);
            trees.push_back(treeNow());
        }
        std::size_t states = 0;
        std::size_t number = 1;
        for (;; ++number) {
            SCOPED_TRACE("change " + std::to_string(number));
            disk.restart(before);
            start();
            environment.systemCalls.resetCalls();
            environment.systemCalls.dieAtChange(number);
            operation(*manager);
            environment.systemCalls.stopFailing();
            const bool hasDied = environment.systemCalls.faultsFired() != 0;
            const auto possible = disk.statesAfterPowerLoss();
            for (const PowerLossSystemCalls::State& state : possible) {
                ++states;
                const auto file = state.find(plist);
                ASSERT_NE(file, state.end());
                EXPECT_TRUE(isFileOfOneOf(*file->second, trees));
                if (!hasDied) {
                    EXPECT_TRUE(isFileOfOneOf(*file->second, {trees.back()}));
                }
                disk.restart(state);
                EXPECT_GE(start()->numberOfSubscriptions(), 1U);
            }
            if (!hasDied) break;
        }
        EXPECT_GT(number, 4U);
        EXPECT_GT(states, number);
    }
}

TEST_F(PowerCutsInTheDictionaryModel, A_power_cut_during_a_first_run_leaves_a_whole_file_or_none) {
    const auto empty = *disk.statesAfterPowerLoss().begin();
    for (std::size_t number = 1;; ++number) {
        SCOPED_TRACE("change " + std::to_string(number));
        disk.restart(empty);
        environment.systemCalls.resetCalls();
        environment.systemCalls.dieAtChange(number);
        EXPECT_EQ(start()->folders().size(), 4U);
        environment.systemCalls.stopFailing();
        const bool hasDied = environment.systemCalls.faultsFired() != 0;
        for (const PowerLossSystemCalls::State& state : disk.statesAfterPowerLoss()) {
            disk.restart(state);
            EXPECT_EQ(start()->folders().size(), 4U);
            if (!hasDied) {
                EXPECT_TRUE(state.contains(plist));
            }
        }
        if (!hasDied) break;
    }
}

} // namespace
} // namespace mox::test
