#include "SDK/MOXPlistSubscriptionManager.hpp"

#include "Scenarios/DictionaryModelScenario.hpp"

namespace mox::test {
namespace {

class DictionaryModel : public DictionaryModelScenario {};

TEST_F(DictionaryModel, A_clients_subscriptions_are_there_again_after_a_restart) {
    start();
    EXPECT_EQ(manager->appsFolderPath(), apps);
    MOXSubscribeKeywords keywords = keywordsFor("Word", apps + "/Store1");
    keywords.andOptionalInfo = MOXOptionalInfo{{"Publisher Name", "Pub"}, {"Description", "Writes"}};
    EXPECT_TRUE(manager->subscribeToResource("Farm:Word", keywords));
    EXPECT_TRUE(manager->subscribeToResource("Farm:Excel", keywordsFor("Excel", apps)));
    EXPECT_TRUE(manager->createFolderAtPath(apps + "/Work"));
    EXPECT_TRUE(manager->moveSubscriptionFrom(apps + "/Excel", apps + "/Work/Sheets"));
    EXPECT_TRUE(manager->renameFolderAtPath(apps + "/Work", apps + "/Job"));

    start();
    EXPECT_EQ(manager->subscriptionPaths(), (Paths{apps + "/Job/Sheets", apps + "/Store1/Word"}));
    EXPECT_EQ(manager->subscriptionPathsInFolder(apps, false), Paths());
    EXPECT_EQ(manager->subscriptionPathsInFolder(apps, true).size(), 2U);
    EXPECT_EQ(manager->subscriptionPathsInFolder(apps + "/Job", false), Paths{apps + "/Job/Sheets"});
    EXPECT_EQ(manager->numberOfSubscriptions(), 2U);
    const auto word = manager->subscriptionAtPath(apps + "/Store1/Word");
    ASSERT_NE(word, nullptr);
    EXPECT_EQ(word->resourceName(), "Farm:Word");
    EXPECT_EQ(word->seamlessName(), "Pub#Word");
    EXPECT_EQ(word->subscriptionDescription(), "Writes");
    EXPECT_EQ(word->storeName(), "Store");
    EXPECT_EQ(word->type(), MOXSubscriptionType::Application);
    EXPECT_EQ(word->norvikType(), MOXNorvikType::Advanced);
    EXPECT_EQ(word->norvikAuthType(), MOXNorvikAuthType::RSA);
    EXPECT_EQ(word->schemaVersion(), 1U);

    EXPECT_EQ(manager->removeAllSubscriptionsWithUniqueName("Farm:Excel", "Store"),
              Paths{apps + "/Job/Sheets"});
    EXPECT_TRUE(manager->removeFolderAtPath(apps + "/Job", true));
    EXPECT_TRUE(manager->removeFolderAtPath(apps + "/Store1", true)) << "kept, since it is not empty";
    start();
    EXPECT_EQ(manager->subscriptionPaths(), Paths{apps + "/Store1/Word"});
    EXPECT_EQ(manager->folders(), (Paths{"/", "/Users", "/Users/user", apps, apps + "/Store1"}));
    EXPECT_EQ(logLines(), Paths());
}

TEST_F(DictionaryModel, The_models_own_class_gives_the_same_shared_manager) {
    start();
    EXPECT_EQ(MOXPlistSubscriptionManager::sharedManager(), manager);
    EXPECT_NE(std::dynamic_pointer_cast<MOXPlistSubscriptionManager>(manager), nullptr);
}

TEST_F(DictionaryModel, A_damaged_file_refuses_the_manager_until_it_is_mended) {
    putFile("damaged");
    EXPECT_THROW(start(), InternalInconsistencyException);
    EXPECT_THROW(start(), InternalInconsistencyException);
    EXPECT_EQ(bytesOfFile(plistPath()), "damaged");
    putTree(sampleTree());
    EXPECT_EQ(start()->numberOfSubscriptions(), 4U);
}

TEST_F(DictionaryModel, A_store_that_lives_in_memory_is_gone_with_the_manager) {
    environment.userDirectories.libraries.clear();
    start();
    EXPECT_TRUE(manager->subscribeToResource("Farm:Word", keywordsFor("Word", apps)));
    EXPECT_EQ(manager->subscriptionPaths(), Paths{apps + "/Word"});
    EXPECT_EQ(start()->subscriptionPaths(), Paths());
}

TEST_F(DictionaryModel, The_later_of_two_processes_overwrites_the_other) {
    start();
    EXPECT_TRUE(manager->createFolderAtPath(apps + "/Ours"));
    putTree(node({{"Theirs", node()}}));
    EXPECT_TRUE(manager->createFolderAtPath(apps + "/Ours"));
    EXPECT_EQ(treeOnDisk().dictionary("Folders")->find("Theirs"), nullptr);
    EXPECT_NE(nodeAt(treeOnDisk(), {"/", "Users", "user", "Applications", "Ours"}), nullptr);
}

} // namespace
} // namespace mox::test
