#include "SDK/MOXFileSubscriptionManager.hpp"
#include "SDK/PlistStore.hpp"
#include "Support/SharedManagerAccess.hpp"

#include <mutex>
#include <thread>

namespace mox::test {
namespace {

class PlistSubscription : public PlistStoreTest {
protected:
    ~PlistSubscription() override { SharedManagerAccess::dropSharedManager(); }

    static Image icon() {
        return {.size = {1, 1},
                .representations = {{.pixelsWide = 1,
                                     .pixelsHigh = 1,
                                     .size = {1, 1},
                                     .pixels = {0, 255, 0, 255},
                                     .png = nullptr}}};
    }
};

TEST_F(PlistSubscription, An_empty_record_has_schema_version_1) {
    const auto record = MOXPlistSubscription::subscription();
    EXPECT_EQ(record->dictionaryRepresentation(),
              dictionaryOf({{"SchemaVersion", PropertyList::integer(1)}}));
}

TEST_F(PlistSubscription, A_record_of_a_dictionary_keeps_it_as_it_is) {
    const auto record = MOXPlistSubscription::subscriptionWithDictionary(entry());
    EXPECT_EQ(record->dictionaryRepresentation(), entry());
    EXPECT_EQ(record->schemaVersion(), 0U);
}

TEST_F(PlistSubscription, A_record_is_filled_from_its_arguments) {
    const auto record =
        MOXPlistSubscription::subscriptionWithFileName("Word", {.resourceName = "Farm:Word",
                                                                .type = MOXSubscriptionType::Desktop,
                                                                .storeName = "Store",
                                                                .internalStoreURL = "in",
                                                                .externalStoreURL = "out",
                                                                .norvikType = MOXNorvikType::Enterprise,
                                                                .norvikAuthType = MOXNorvikAuthType::SMS});
    EXPECT_EQ(record->dictionaryRepresentation(),
              dictionaryOf({{"cloneName", "Word"},
                            {"Korvan Server Unique Application Name", "Farm:Word"},
                            {"Korvan Application Type", "Desktop"},
                            {"Store Name", "Store"},
                            {"Internal Store URL", "in"},
                            {"External Store URL", "out"},
                            {"Norvik Type", "enterprise"},
                            {"Norvik Auth Type", "sms"},
                            {"SchemaVersion", PropertyList::integer(1)}}));
}

TEST_F(PlistSubscription, The_icon_is_the_launch_aliass) {
    const auto record = MOXPlistSubscription::subscription();
    EXPECT_EQ(record->icon(), std::nullopt);
    record->setIcon(icon());
    EXPECT_EQ(record->icon(), icon());
    EXPECT_NE(record->dictionaryRepresentation()->data("Icon"), nullptr);
    record->setIcon(std::nullopt);
    EXPECT_EQ(record->icon(), std::nullopt);
    EXPECT_EQ(record->dictionaryRepresentation()->find("Icon"), nullptr);
}

TEST_F(PlistSubscription, Without_a_launch_alias_there_is_no_icon_and_setting_one_does_nothing) {
    const auto record = MOXPlistSubscription::subscriptionWithDictionary(std::nullopt);
    ASSERT_NE(record, nullptr);
    record->setIcon(icon());
    EXPECT_EQ(record->icon(), std::nullopt);
    EXPECT_EQ(record->dictionaryRepresentation(), std::nullopt);
    EXPECT_TRUE(assertions->failures().empty());
}

TEST_F(PlistSubscription, Path_and_file_name_are_still_the_bases_which_assert) {
    const auto record = MOXPlistSubscription::subscription();
    EXPECT_THROW(record->path(), InternalInconsistencyException);
    EXPECT_THROW(record->setPath("p"), InternalInconsistencyException);
    EXPECT_THROW(record->fileName(), InternalInconsistencyException);
    EXPECT_THROW(record->setFileName("n"), InternalInconsistencyException);
}

TEST_F(PlistSubscription, A_record_with_a_path_is_the_shared_managers) {
    putTree(node({{"a", node({}, {{"One", entry()}, {"Bad", PropertyList("text")}})}}));
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::Dictionary);
    std::optional<Error> error = staleError();
    const auto record = MOXPlistSubscription::subscriptionWithPath("a/One", &error);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->dictionaryRepresentation(), entry());
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(MOXPlistSubscription::subscriptionWithPath("a/None", &error), nullptr);
    EXPECT_TRUE(isFrameworkError(error, 2008));
    EXPECT_EQ(MOXPlistSubscription::subscriptionWithPath("a/Bad", &error), nullptr);
    EXPECT_TRUE(isFrameworkError(error, 2009));
    EXPECT_EQ(MOXPlistSubscription::subscriptionWithPath("", &error), nullptr);
    EXPECT_TRUE(isInvalidArgument(error));
}

TEST_F(PlistSubscription, Writing_stores_a_copy_and_saves_once) {
    putTree(node({{"a", node({}, {{"One", entry()}})}}));
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::Dictionary);
    const auto manager = MOXSubscriptionManager::sharedManager();
    const auto record = MOXPlistSubscription::subscription();
    record->setResourceName("Farm:Excel");
    environment.fileSystem.resetCounts();
    std::optional<Error> error = staleError();
    EXPECT_TRUE(record->writeToFolder("a", "One", &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(saves(), 1U);
    record->setResourceName("changed afterwards");
    EXPECT_EQ(*nodeAt(treeOnDisk(), {"a"})->dictionary("Subscriptions")->dictionary("One"),
              dictionaryOf({{"Korvan Server Unique Application Name", "Farm:Excel"},
                            {"SchemaVersion", PropertyList::integer(1)}}));
    EXPECT_EQ(manager->subscriptionAtPath("a/One")->resourceName(), "Farm:Excel");
}

TEST_F(PlistSubscription, Writing_into_a_missing_folder_stores_in_its_deepest_ancestor) {
    putTree(node({{"a", node()}}));
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::Dictionary);
    EXPECT_TRUE(MOXPlistSubscription::subscription()->writeToFolder("a/missing/folder", "One"));
    EXPECT_TRUE(MOXPlistSubscription::subscription()->writeToFolder("nowhere", "Bare"));
    const auto manager = MOXSubscriptionManager::sharedManager();
    EXPECT_EQ(manager->subscriptionPaths(), (Paths{"Bare", "a/One"}));
    EXPECT_EQ(manager->folders(), Paths{"a"});
}

TEST_F(PlistSubscription, Writing_succeeds_also_when_nothing_can_be_stored_or_saved) {
    putTree(node({{"bad", Dictionary()}}));
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::Dictionary);
    const auto manager = MOXSubscriptionManager::sharedManager();
    std::optional<Error> error = staleError();
    EXPECT_TRUE(MOXPlistSubscription::subscription()->writeToFolder("bad", "One", &error));
    EXPECT_TRUE(
        MOXPlistSubscription::subscriptionWithDictionary(std::nullopt)->writeToFolder("", "One", &error));
    EXPECT_EQ(manager->numberOfSubscriptions(), 0U);
    environment.systemCalls.dieAtChange(1);
    EXPECT_TRUE(MOXPlistSubscription::subscription()->writeToFolder("", "One", &error));
    EXPECT_EQ(manager->subscriptionPaths(), Paths{"One"});
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(logLines().size(), 1U);
}

TEST_F(PlistSubscription, Writing_and_looking_up_go_on_while_another_thread_holds_the_monitor) {
    putTree(node({{"a", node()}}));
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::Dictionary);
    const auto manager = MOXSubscriptionManager::sharedManager();
    const std::lock_guard held(OpenPlistStore::monitorOf(*manager));
    std::thread([] {
        EXPECT_TRUE(MOXPlistSubscription::subscription()->writeToFolder("a", "One"));
        EXPECT_NE(MOXPlistSubscription::subscriptionWithPath("a/One"), nullptr);
    }).join();
}

TEST_F(PlistSubscription, Writing_replaces_without_looking_at_the_type) {
    putTree(node({{"a", node({}, {{"One", entry({.type = "Desktop"})}})}}));
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::Dictionary);
    const auto record = MOXPlistSubscription::subscription();
    record->setType(MOXSubscriptionType::Application);
    EXPECT_TRUE(record->writeToFolder("a", "One"));
    EXPECT_EQ(MOXSubscriptionManager::sharedManager()->subscriptionAtPath("a/One")->type(),
              MOXSubscriptionType::Application);
}

TEST_F(PlistSubscription, With_the_other_models_manager_the_selector_is_reported_as_not_recognised) {
    MOXSubscriptionManager::setSubscriptionModel(SubscriptionModel::ApplicationBundle);
    const auto manager = MOXSubscriptionManager::sharedManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_THROW(MOXPlistSubscription::subscription()->writeToFolder("a", "One"), InvalidArgumentException);
    letAssertions(Then::Returns);
    EXPECT_TRUE(MOXPlistSubscription::subscription()->writeToFolder("a", "One"));
    ASSERT_EQ(assertions->unrecognized().size(), 1U);
    EXPECT_EQ(assertions->unrecognized().front().operation,
              "-[MOXFileSubscriptionManager setSubscription:named:inFolder:]");
    EXPECT_EQ(assertions->unrecognized().front().object, manager.get());
    EXPECT_EQ(MOXPlistSubscription::subscriptionWithPath("a/One"), nullptr);
    EXPECT_EQ(namesIn(homePath()), Paths());
}

TEST_F(PlistSubscription, Before_a_model_is_chosen_writing_and_looking_up_assert) {
    EXPECT_THROW(MOXPlistSubscription::subscription()->writeToFolder("a", "One"),
                 InternalInconsistencyException);
    EXPECT_THROW(MOXPlistSubscription::subscriptionWithPath("a/One"), InternalInconsistencyException);
    EXPECT_EQ(assertions->failures().front().line, 42);
}

TEST_F(PlistSubscription, Without_a_shared_manager_writing_does_nothing_and_looking_up_gives_null) {
    letAssertions(Then::Returns);
    MOXSubscriptionManager::setSubscriptionModel(static_cast<SubscriptionModel>(2));
    std::optional<Error> error = staleError();
    EXPECT_TRUE(MOXPlistSubscription::subscription()->writeToFolder("a", "One", &error));
    EXPECT_EQ(MOXPlistSubscription::subscriptionWithPath("a/One", &error), nullptr);
    EXPECT_TRUE(isStale(error));
}

} // namespace
} // namespace mox::test
