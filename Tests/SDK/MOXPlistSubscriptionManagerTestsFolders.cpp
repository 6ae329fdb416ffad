#include "SDK/PlistStore.hpp"

#include <mutex>
#include <thread>

namespace mox::test {
namespace {

class FoldersOfThePlistStore : public PlistStoreTest {
protected:
    static Dictionary sample() {
        return node(
            {{"/", node({{"Users", node()}})},
             {"a", node({{"x", node()}})},
             {"u",
              node({{"Apps",
                     node({{"X", node({}, {{"One", entry()}})},
                           {"Y", node({}, {{"Two", entry()}})},
                           {"Empty", node({{"Sub", node({{"Sub", node()}})}})},
                           {"Deep", node({{"1", node({{"2", node({}, {{"Three", entry()}})}})}})}})}})}});
    }
};

// Create

TEST_F(FoldersOfThePlistStore, Creating_makes_every_missing_folder_as_an_empty_node) {
    const auto store = open(sample());
    EXPECT_TRUE(store->createFolderAtPath("u/New/Inner"));
    EXPECT_EQ(*nodeAt(treeOnDisk(), {"u", "New"}), node({{"Inner", node()}}));
    EXPECT_EQ(store->root(), treeOnDisk());
}

TEST_F(FoldersOfThePlistStore, Creating_keeps_what_is_there) {
    const auto store = open(sample());
    EXPECT_TRUE(store->createFolderAtPath("u/Apps/X"));
    EXPECT_EQ(store->root(), sample());
    EXPECT_EQ(saves(), 1U);
}

TEST_F(FoldersOfThePlistStore, Creating_the_empty_path_only_saves) {
    const auto store = open(sample());
    EXPECT_TRUE(store->createFolderAtPath(""));
    EXPECT_EQ(store->root(), sample());
    EXPECT_EQ(saves(), 1U);
}

TEST_F(FoldersOfThePlistStore, Creating_clears_the_error_place) {
    const auto store = open(sample());
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->createFolderAtPath("u/New", &error));
    EXPECT_FALSE(error);
}

TEST_F(FoldersOfThePlistStore, Creating_beside_a_subscription_of_the_name_makes_a_folder_of_that_name) {
    const auto store = open(sample());
    EXPECT_TRUE(store->createFolderAtPath("u/Apps/X/One"));
    EXPECT_NE(nodeAt(store->root(), {"u", "Apps", "X", "One"}), nullptr);
    EXPECT_EQ(store->numberOfSubscriptions(), 3U);
}

TEST_F(FoldersOfThePlistStore, Creating_with_a_slash_at_the_end_makes_a_folder_of_a_single_slash) {
    const auto store = open(node());
    EXPECT_TRUE(store->createFolderAtPath("New/"));
    EXPECT_EQ(store->root(), node({{"New", node({{"/", node()}})}}));
}

// Rename

TEST_F(FoldersOfThePlistStore, Renaming_keeps_the_folders_content) {
    const auto store = open(sample());
    const Dictionary content = *nodeAt(store->root(), {"u", "Apps", "X"});
    EXPECT_TRUE(store->renameFolderAtPath("u/Apps/X", "u/Apps/Renamed"));
    EXPECT_EQ(*nodeAt(treeOnDisk(), {"u", "Apps", "Renamed"}), content);
    EXPECT_EQ(nodeAt(treeOnDisk(), {"u", "Apps", "X"}), nullptr);
    EXPECT_TRUE(store->isSubscriptionAtPath("u/Apps/Renamed/One"));
}

TEST_F(FoldersOfThePlistStore, Renaming_to_a_name_that_is_taken_replaces_that_folder) {
    const auto store = open(sample());
    EXPECT_TRUE(store->renameFolderAtPath("u/Apps/X", "u/Apps/Y"));
    EXPECT_TRUE(store->isSubscriptionAtPath("u/Apps/Y/One"));
    EXPECT_FALSE(store->isSubscriptionAtPath("u/Apps/Y/Two"));
    EXPECT_EQ(nodeAt(store->root(), {"u", "Apps", "X"}), nullptr);
}

TEST_F(FoldersOfThePlistStore, Renaming_never_moves_a_folder_to_another_parent) {
    const auto store = open(sample());
    EXPECT_TRUE(store->renameFolderAtPath("u/Apps/X", "somewhere/else/Z"));
    EXPECT_TRUE(store->isSubscriptionAtPath("u/Apps/Z/One"));
    EXPECT_EQ(nodeAt(store->root(), {"somewhere"}), nullptr);
}

TEST_F(FoldersOfThePlistStore, Renaming_with_equal_last_components_in_other_parents_deletes_the_folder) {
    const auto store = open(sample());
    EXPECT_TRUE(store->renameFolderAtPath("u/Apps/X", "u/Other/X"));
    EXPECT_EQ(nodeAt(treeOnDisk(), {"u", "Apps", "X"}), nullptr);
    EXPECT_EQ(nodeAt(treeOnDisk(), {"u", "Other"}), nullptr);
    EXPECT_EQ(saves(), 1U);
}

TEST_F(FoldersOfThePlistStore, Renaming_to_the_same_path_spelt_otherwise_deletes_the_folder) {
    const auto store = open(sample());
    EXPECT_TRUE(store->renameFolderAtPath("u/Apps/X", "u/Apps//X"));
    EXPECT_EQ(nodeAt(store->root(), {"u", "Apps", "X"}), nullptr);
}

TEST_F(FoldersOfThePlistStore, Renaming_to_the_equal_path_does_nothing_and_clears_the_error_place) {
    const auto store = open(sample());
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->renameFolderAtPath("not/there", "not/there", &error));
    EXPECT_TRUE(store->renameFolderAtPath("", "", nullptr));
    EXPECT_FALSE(error);
    EXPECT_EQ(saves(), 0U);
    EXPECT_EQ(store->root(), sample());
}

TEST_F(FoldersOfThePlistStore, Renaming_takes_no_monitor_for_equal_paths) {
    const auto store = open(sample());
    const std::lock_guard held(OpenPlistStore::monitorOf(*store));
    std::thread([&store] { EXPECT_TRUE(store->renameFolderAtPath("u/Apps", "u/Apps")); }).join();
}

TEST_F(FoldersOfThePlistStore, Failed_renames_leave_the_error_place_nil) {
    const auto store = open(sample());
    for (const std::string path : {"u", "/Users", "a/x", "/", "", "u/Apps/Missing", "\u00e9/x"}) {
        std::optional<Error> error = staleError();
        EXPECT_FALSE(store->renameFolderAtPath(path, "u/Apps/New", &error)) << path;
        EXPECT_FALSE(error);
        EXPECT_FALSE(store->renameFolderAtPath(path, "u/Apps/New")) << path;
    }
    EXPECT_EQ(saves(), 0U);
    EXPECT_EQ(store->root(), sample());
    EXPECT_EQ(logLines(), Paths());
}

TEST_F(FoldersOfThePlistStore, A_successful_rename_clears_the_error_place) {
    const auto store = open(sample());
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->renameFolderAtPath("u/Apps/X", "u/Apps/Programs", &error));
    EXPECT_FALSE(error);
}

TEST_F(FoldersOfThePlistStore, Renaming_through_a_missing_parent_finds_a_folder_of_the_deepest_ancestor) {
    const auto store = open(sample());
    EXPECT_TRUE(store->renameFolderAtPath("u/missing/Apps", "u/Programs"));
    EXPECT_NE(nodeAt(store->root(), {"u", "Programs"}), nullptr);
}

// Remove

TEST_F(FoldersOfThePlistStore, Removing_takes_folders_and_subscriptions_along) {
    const auto store = open(sample());
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->removeFolderAtPath("u/Apps/Deep", false, &error));
    EXPECT_EQ(nodeAt(treeOnDisk(), {"u", "Apps", "Deep"}), nullptr);
    EXPECT_EQ(store->subscriptionPaths(), (Paths{"u/Apps/X/One", "u/Apps/Y/Two"}));
    EXPECT_TRUE(isStale(error)) << "a success leaves the error place untouched";
}

TEST_F(FoldersOfThePlistStore, Removing_a_folder_that_is_not_there_succeeds_and_saves) {
    const auto store = open(sample());
    EXPECT_TRUE(store->removeFolderAtPath("u/Apps/Missing", false));
    EXPECT_TRUE(store->removeFolderAtPath("u/Apps/Missing", true));
    EXPECT_EQ(saves(), 2U);
    EXPECT_EQ(store->root(), sample());
}

TEST_F(FoldersOfThePlistStore, Removing_only_if_empty_keeps_a_subscription_three_levels_down) {
    const auto store = open(sample());
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->removeFolderAtPath("u/Apps/Deep", true, &error));
    EXPECT_TRUE(store->isSubscriptionAtPath("u/Apps/Deep/1/2/Three"));
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(saves(), 0U);
}

TEST_F(FoldersOfThePlistStore, Removing_only_if_empty_removes_a_folder_of_empty_folders) {
    const auto store = open(sample());
    EXPECT_TRUE(store->removeFolderAtPath("u/Apps/Empty", true));
    EXPECT_EQ(nodeAt(treeOnDisk(), {"u", "Apps", "Empty"}), nullptr);
}

TEST_F(FoldersOfThePlistStore, What_is_at_the_top_is_never_removed) {
    const auto store = open(sample());
    for (const std::string path : {"u", "/Users", "a/x", "/", ""}) {
        for (const bool onlyIfEmpty : {false, true}) {
            std::optional<Error> error;
            EXPECT_FALSE(store->removeFolderAtPath(path, onlyIfEmpty, &error)) << path;
            EXPECT_TRUE(isFrameworkError(error, 2008)) << path;
            EXPECT_FALSE(store->removeFolderAtPath(path, onlyIfEmpty)) << path;
        }
    }
    EXPECT_EQ(saves(), 0U);
    EXPECT_EQ(store->root(), sample());
}

TEST_F(FoldersOfThePlistStore, Removing_through_a_missing_parent_removes_from_the_deepest_ancestor) {
    const auto store = open(sample());
    EXPECT_TRUE(store->removeFolderAtPath("u/missing/Apps", false));
    EXPECT_EQ(nodeAt(store->root(), {"u", "Apps"}), nullptr);
}

} // namespace
} // namespace mox::test
