#include "SDK/PlistStore.hpp"

namespace mox::test {
namespace {

class MovingInThePlistStore : public PlistStoreTest {
protected:
    static Dictionary sample() {
        Dictionary one = entry({.resource = "Farm:One"});
        one.set("cloneName", "One");
        return node({{"a", node({{"Sub", node()}}, {{"One", one}, {"Two", entry({.resource = "Farm:Two"})}})},
                     {"b", node({}, {{"One", entry({.resource = "Farm:Other"})}})}},
                    {{"Bare", entry({.resource = "Farm:Bare"})}});
    }

    static std::optional<std::string> resourceAt(OpenPlistStore& store, std::string_view path) {
        const auto record = store.subscriptionAtPath(path);
        return record ? record->resourceName() : std::nullopt;
    }
};

TEST_F(MovingInThePlistStore, The_whole_entry_moves_and_its_clone_name_stays) {
    const auto store = open(sample());
    const Dictionary moved =
        *sample().dictionary("Folders")->dictionary("a")->dictionary("Subscriptions")->dictionary("One");
    EXPECT_TRUE(store->moveSubscriptionFrom("a/One", "a/Sub/Renamed"));
    const Dictionary onDisk = treeOnDisk();
    EXPECT_EQ(*nodeAt(onDisk, {"a", "Sub"})->dictionary("Subscriptions")->dictionary("Renamed"), moved);
    EXPECT_EQ(*moved.string("cloneName"), "One");
    EXPECT_EQ(store->subscriptionPaths(), (Paths{"Bare", "a/Two", "a/Sub/Renamed", "b/One"}));
}

TEST_F(MovingInThePlistStore, A_move_replaces_what_has_the_name) {
    const auto store = open(sample());
    EXPECT_TRUE(store->moveSubscriptionFrom("a/One", "b/One"));
    EXPECT_EQ(resourceAt(*store, "b/One"), "Farm:One");
    EXPECT_EQ(store->numberOfSubscriptions(), 3U);
}

TEST_F(MovingInThePlistStore, A_move_within_a_folder_renames) {
    const auto store = open(sample());
    EXPECT_TRUE(store->moveSubscriptionFrom("a/One", "a/Zero"));
    EXPECT_EQ(resourceAt(*store, "a/Zero"), "Farm:One");
    EXPECT_TRUE(store->moveSubscriptionFrom("a/Zero", "a/Two"));
    EXPECT_EQ(resourceAt(*store, "a/Two"), "Farm:One");
    EXPECT_EQ(store->subscriptionPaths(), (Paths{"Bare", "a/Two", "b/One"}));
}

TEST_F(MovingInThePlistStore, A_move_onto_itself_removes_the_subscription) {
    const auto store = open(sample());
    EXPECT_TRUE(store->moveSubscriptionFrom("a/One", "a/One"));
    EXPECT_EQ(nodeAt(treeOnDisk(), {"a"})->dictionary("Subscriptions")->find("One"), nullptr);
    EXPECT_EQ(saves(), 1U);
}

TEST_F(MovingInThePlistStore, A_move_onto_itself_by_way_of_a_missing_folder_removes_the_subscription) {
    const auto store = open(sample());
    EXPECT_TRUE(store->moveSubscriptionFrom("a/One", "a/missing/One"));
    EXPECT_FALSE(store->isSubscriptionAtPath("a/One"));
}

TEST_F(MovingInThePlistStore, A_missing_destination_folder_stands_for_its_deepest_ancestor) {
    const auto store = open(sample());
    EXPECT_TRUE(store->moveSubscriptionFrom("a/One", "b/missing/folders/New"));
    EXPECT_EQ(resourceAt(*store, "b/New"), "Farm:One");
    EXPECT_EQ(nodeAt(store->root(), {"b", "missing"}), nullptr);
}

TEST_F(MovingInThePlistStore, A_missing_source_folder_stands_for_its_deepest_ancestor) {
    const auto store = open(sample());
    EXPECT_TRUE(store->moveSubscriptionFrom("a/missing/One", "b/New"));
    EXPECT_EQ(resourceAt(*store, "b/New"), "Farm:One");
}

TEST_F(MovingInThePlistStore, Subscriptions_move_to_and_from_the_root) {
    const auto store = open(sample());
    EXPECT_TRUE(store->moveSubscriptionFrom("Bare", "a/Bare"));
    EXPECT_TRUE(store->moveSubscriptionFrom("a/One", "New"));
    EXPECT_EQ(store->subscriptionPaths(), (Paths{"New", "a/Bare", "a/Two", "b/One"}));
}

TEST_F(MovingInThePlistStore, A_failed_move_leaves_the_error_place_nil) {
    const auto store = open(sample());
    for (const std::string source : {"a/Missing", "Missing", "", "/", "a/Sub"}) {
        std::optional<Error> error = staleError();
        EXPECT_FALSE(store->moveSubscriptionFrom(source, "b/New", &error)) << source;
        EXPECT_FALSE(error);
        EXPECT_FALSE(store->moveSubscriptionFrom(source, "b/New")) << source;
    }
    EXPECT_EQ(store->root(), sample());
    EXPECT_EQ(saves(), 0U);
    EXPECT_EQ(logLines(), Paths());
}

TEST_F(MovingInThePlistStore, A_successful_move_clears_the_error_place) {
    const auto store = open(sample());
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->moveSubscriptionFrom("a/One", "b/New", &error));
    EXPECT_FALSE(error);
}

TEST_F(MovingInThePlistStore, A_folder_of_the_subscriptions_name_does_not_hide_it_from_a_move) {
    const auto store = open(node({{"a", node({{"One", node()}}, {{"One", entry()}})}}));
    EXPECT_TRUE(store->moveSubscriptionFrom("a/One", "a/Two"));
    EXPECT_EQ(store->subscriptionPaths(), Paths{"a/Two"});
}

TEST_F(MovingInThePlistStore, Without_a_tree_there_is_nothing_to_move) {
    const auto store = open(sample());
    store->_subscriptionHierarchy.reset();
    std::optional<Error> error = staleError();
    EXPECT_FALSE(store->moveSubscriptionFrom("a/One", "a/Two", &error));
    EXPECT_FALSE(error);
}

} // namespace
} // namespace mox::test
