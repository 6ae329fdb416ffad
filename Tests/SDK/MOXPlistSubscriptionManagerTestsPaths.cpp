#include "SDK/PlistStore.hpp"

namespace mox::test {
namespace {

class WalkingThePlistStore : public PlistStoreTest {};

TEST_F(WalkingThePlistStore, The_walk_ends_at_the_deepest_folder_that_exists) {
    const auto store = open(node({{"a", node({{"b", node()}})}}));
    const Dictionary* a = nodeAt(store->root(), {"a"});
    EXPECT_EQ(store->dictionaryForPath("a/missing/b"), a);
    EXPECT_EQ(store->dictionaryForPath("a"), a);
    EXPECT_EQ(store->dictionaryForPath("a/b"), nodeAt(store->root(), {"a", "b"}));
}

TEST_F(WalkingThePlistStore, The_empty_path_leads_to_the_root) {
    const auto store = open(node({{"a", node()}}));
    EXPECT_EQ(store->dictionaryForPath(""), &store->root());
}

TEST_F(WalkingThePlistStore, An_absolute_path_begins_with_the_folder_of_a_single_slash) {
    const auto without = open(node({{"x", node()}}));
    EXPECT_EQ(without->dictionaryForPath("/x"), &without->root());
    const auto with = open(node({{"/", node({{"x", node()}})}}));
    EXPECT_EQ(with->dictionaryForPath("/x"), nodeAt(with->root(), {"/", "x"}));
    EXPECT_EQ(with->dictionaryForPath("//x"), nodeAt(with->root(), {"/", "x"}));
    EXPECT_EQ(with->dictionaryForPath("x"), &with->root());
}

TEST_F(WalkingThePlistStore, A_subscriptions_path_leads_to_its_folder_unless_a_folder_has_the_name) {
    const auto store = open(node({{"a", node({{"Both", node()}}, {{"Both", entry()}, {"One", entry()}})}}));
    EXPECT_EQ(store->dictionaryForPath("a/One"), nodeAt(store->root(), {"a"}));
    EXPECT_EQ(store->dictionaryForPath("a/Both"), nodeAt(store->root(), {"a", "Both"}));
}

TEST_F(WalkingThePlistStore, Components_are_compared_exactly) {
    const auto store = open(node({{"Caf\u00e9", node()}, {"a", node()}}));
    EXPECT_EQ(store->dictionaryForPath("A"), &store->root());
    EXPECT_EQ(store->dictionaryForPath("Cafe\u0301"), &store->root()) << "decomposed";
    EXPECT_NE(store->dictionaryForPath("Caf\u00e9"), &store->root());
}

TEST_F(WalkingThePlistStore, A_slash_at_the_end_is_a_component_and_dots_are_ordinary) {
    const auto store = open(node({{"a", node({{"/", node()}, {"..", node()}})}}));
    EXPECT_EQ(store->dictionaryForPath("a/"), nodeAt(store->root(), {"a", "/"}));
    EXPECT_EQ(store->dictionaryForPath("a/.."), nodeAt(store->root(), {"a", ".."}));
    EXPECT_EQ(store->dictionaryForPath("a/."), nodeAt(store->root(), {"a"}));
}

TEST_F(WalkingThePlistStore, A_parents_path_shorter_than_two_characters_gives_none) {
    const auto store = open(node({{"/", node({{"Top", node()}})},
                                  {"Top", node()},
                                  {"a", node({{"x", node()}})},
                                  {"\u00e9", node({{"x", node()}})},
                                  {"ab", node({{"x", node()}})}}));
    EXPECT_EQ(store->parentDictionaryForPath("Top"), nullptr);
    EXPECT_EQ(store->parentDictionaryForPath("/Top"), nullptr);
    EXPECT_EQ(store->parentDictionaryForPath("/"), nullptr);
    EXPECT_EQ(store->parentDictionaryForPath(""), nullptr);
    EXPECT_EQ(store->parentDictionaryForPath("a/x"), nullptr);
    EXPECT_EQ(store->parentDictionaryForPath("\u00e9/x"), nullptr) << "two bytes are one character";
    EXPECT_EQ(store->parentDictionaryForPath("ab/x"), nodeAt(store->root(), {"ab"}));
    EXPECT_EQ(store->parentDictionaryForPath("/a/x"), nodeAt(store->root(), {"/"}));
}

TEST_F(WalkingThePlistStore, A_character_of_two_UTF16_units_is_long_enough_for_a_parent) {
    const auto store = open(node({{"\U0001F600", node()}}));
    EXPECT_EQ(store->parentDictionaryForPath("\U0001F600/x"), nodeAt(store->root(), {"\U0001F600"}));
}

TEST_F(WalkingThePlistStore, The_parent_is_found_by_the_lenient_walk_too) {
    const auto store = open(node({{"ab", node()}}));
    EXPECT_EQ(store->parentDictionaryForPath("ab/missing/x"), nodeAt(store->root(), {"ab"}));
}

TEST_F(WalkingThePlistStore, Without_a_tree_there_is_no_node) {
    const auto store = open(node());
    store->_subscriptionHierarchy.reset();
    EXPECT_EQ(store->dictionaryForPath("a"), nullptr);
    EXPECT_EQ(store->dictionaryForPath(""), nullptr);
    EXPECT_EQ(store->parentDictionaryForPath("ab/x"), nullptr);
}

TEST_F(WalkingThePlistStore, Text_that_is_not_well_formed_leads_to_what_its_repaired_form_names) {
    const std::string illFormed = "x\xFF";
    const std::string repaired = "x\uFFFD";
    const Dictionary tree =
        node({{repaired,
               node({{"In", node()}}, {{repaired, entry({.resource = repaired})}, {"y\uFFFD", entry()}})}});
    const auto store = open(tree);
    EXPECT_EQ(store->dictionaryForPath(illFormed), nodeAt(store->root(), {repaired}));
    EXPECT_EQ(store->parentDictionaryForPath(illFormed + "/In"), nodeAt(store->root(), {repaired}));
    EXPECT_TRUE(store->isSubscriptionAtPath(illFormed + "/y\xFF"));
    EXPECT_NE(store->subscriptionInFolder("y\xFF", illFormed), nullptr);
    EXPECT_TRUE(store->renameFolderAtPath(illFormed + "/In", repaired + "/In"));
    EXPECT_EQ(saves(), 0U) << "the paths are equal";
    EXPECT_TRUE(store->createFolderAtPath(illFormed));
    EXPECT_EQ(store->root(), tree);
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName(illFormed, "Store"),
              Paths{repaired + "/" + repaired});
    EXPECT_TRUE(store->removeSubscriptionNamed("y\xFF", illFormed));
    EXPECT_EQ(store->root(), node({{repaired, node({{"In", node()}})}}));
}

TEST_F(WalkingThePlistStore, A_record_of_an_entry_is_a_copy) {
    const auto store = open(node({{"a", node({}, {{"One", entry()}})}}));
    const auto record = store->subscriptionInFolder("One", "a");
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->resourceName(), "Farm:Word");
    record->setResourceName("changed");
    EXPECT_EQ(store->subscriptionInFolder("One", "a")->resourceName(), "Farm:Word");
}

TEST_F(WalkingThePlistStore, There_is_no_record_without_an_entry_or_without_subscriptions) {
    const auto store = open(node({{"a", node()}, {"b", Dictionary()}}));
    EXPECT_EQ(store->subscriptionInFolder("One", "a"), nullptr);
    EXPECT_EQ(store->subscriptionInFolder("One", "b"), nullptr);
    EXPECT_EQ(store->subscriptionInFolder("One", ""), nullptr);
    store->_subscriptionHierarchy.reset();
    EXPECT_EQ(store->subscriptionInFolder("One", "a"), nullptr);
}

TEST_F(WalkingThePlistStore, A_record_is_stored_as_its_dictionary_representation_and_not_saved) {
    const auto store = open(node({{"a", node({}, {{"One", entry()}})}}));
    const auto record = MOXPlistSubscription::subscription();
    record->setResourceName("Farm:Excel");
    record->setPublisherName("Pub");
    EXPECT_TRUE(store->setSubscription(*record, "One", "a"));
    const Dictionary expected = dictionaryOf({{"Korvan Server Unique Application Name", "Farm:Excel"},
                                              {"Korvan Publisher Name", "Pub"},
                                              {"SchemaVersion", PropertyList::integer(1)},
                                              {"Tavamor Name", "Pub#Excel"}});
    EXPECT_EQ(*nodeAt(store->root(), {"a"})->dictionary("Subscriptions")->dictionary("One"), expected);
    EXPECT_EQ(saves(), 0U);
}

TEST_F(WalkingThePlistStore, A_record_is_not_stored_in_a_node_without_subscriptions) {
    const auto store = open(node({{"a", Dictionary()}}));
    EXPECT_FALSE(store->setSubscription(*MOXPlistSubscription::subscription(), "One", "a"));
    EXPECT_EQ(store->root(), node({{"a", Dictionary()}}));
}

TEST_F(WalkingThePlistStore, A_record_without_a_launch_alias_is_not_stored) {
    const auto store = open(node());
    const auto record = MOXPlistSubscription::subscriptionWithDictionary(std::nullopt);
    EXPECT_FALSE(store->setSubscription(*record, "One", ""));
    EXPECT_EQ(store->root(), node());
}

TEST_F(WalkingThePlistStore, Removing_a_name_that_is_not_there_succeeds_where_there_are_subscriptions) {
    const auto store = open(node({{"a", node({}, {{"One", entry()}})}, {"b", Dictionary()}}));
    EXPECT_TRUE(store->removeSubscriptionNamed("One", "a"));
    EXPECT_TRUE(store->removeSubscriptionNamed("One", "a"));
    EXPECT_FALSE(store->removeSubscriptionNamed("One", "b"));
    EXPECT_EQ(store->subscriptionInFolder("One", "a"), nullptr);
    EXPECT_EQ(saves(), 0U);
}

TEST_F(WalkingThePlistStore, A_folder_holds_subscriptions_when_any_folder_in_it_does) {
    const Dictionary empty = node({{"x", node({{"y", node()}})}});
    const Dictionary deep = node({{"w", node()}, {"x", node({{"y", node({}, {{"One", entry()}})}})}});
    EXPECT_FALSE(OpenPlistStore::folderContainsSubscriptions(nullptr));
    EXPECT_FALSE(OpenPlistStore::folderContainsSubscriptions(&empty));
    EXPECT_TRUE(OpenPlistStore::folderContainsSubscriptions(&deep));
    const Dictionary direct = node({}, {{"One", entry()}});
    EXPECT_TRUE(OpenPlistStore::folderContainsSubscriptions(&direct));
}

} // namespace
} // namespace mox::test
