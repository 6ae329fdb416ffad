#include "SDK/PlistStore.hpp"

#include <functional>

namespace mox::test {
namespace {

class MalformedPlistStore : public PlistStoreTest {
protected:
    /// A tree whose folder "bad" lacks both keys, beside a good one.
    static Dictionary sample() {
        return node({{"top", node({{"bad", dictionaryOf({{"Other", "kept"}})},
                                   {"good", node({}, {{"One", entry()}})}})}});
    }

    /// The same fault in other forms: a key is missing, or its value has another type.
    static std::vector<Dictionary> samples() {
        std::vector<Dictionary> trees{sample()};
        for (const PropertyList& wrong : {PropertyList("text"), PropertyList(PropertyList::Array()),
                                          PropertyList::integer(1), PropertyList(PropertyList::Data(""))}) {
            Dictionary tree = sample();
            tree.dictionary("Folders")->dictionary("top")->dictionary("Folders")->set(
                "bad", dictionaryOf({{"Folders", wrong}, {"Subscriptions", wrong}}));
            trees.push_back(tree);
            tree.dictionary("Folders")->dictionary("top")->dictionary("Folders")->set("bad", wrong);
            trees.push_back(tree);
        }
        return trees;
    }

    using Operation = std::function<bool(OpenPlistStore& store, std::optional<Error>* error)>;

    /// Expects that `operation` asserts at `line`; that it leaves everything as it was when the handler
    /// throws; and that it gives `result` after `savesThen` saves, the tree the same, when it returns.
    void expectAssertion(const Operation& operation, int line, std::string_view selector, bool result,
                         std::size_t savesThen) {
        for (const Dictionary& tree : samples()) {
            const auto store = open(tree);
            letAssertions(Then::Throws);
            std::optional<Error> error = staleError();
            EXPECT_THROW(operation(*store, &error), InternalInconsistencyException);
            EXPECT_TRUE(store->isMonitorFree());
            EXPECT_EQ(saves(), 0U);
            EXPECT_EQ(store->root(), tree);

            letAssertions(Then::Returns);
            EXPECT_EQ(operation(*store, nullptr), result);
            EXPECT_TRUE(store->isMonitorFree());
            EXPECT_EQ(saves(), savesThen);
            EXPECT_EQ(store->root(), tree);
            EXPECT_EQ(logLines(), Paths());
            ASSERT_EQ(assertions->failures().size(), 1U);
            const auto failure = assertions->failures().front();
            EXPECT_EQ(failure.description, "Badly formed subscriptions dictionary");
            EXPECT_EQ(failure.line, line);
            EXPECT_EQ(failure.file, "Frameworks/MOXSubscribe/Source/SDK/MOXPlistSubscriptionManager");
            EXPECT_EQ(failure.operation, "-[MOXPlistSubscriptionManager " + std::string(selector) + "]");
            EXPECT_EQ(failure.object, static_cast<MOXSubscriptionManager*>(store.get()));
        }
    }
};

TEST_F(MalformedPlistStore, Creating_in_a_folder_without_folders_asserts_and_makes_nothing_there) {
    expectAssertion([](OpenPlistStore& store,
                       auto* error) { return store.createFolderAtPath("top/bad/New/More", error); },
                    364, "createFolderAtPath:error:", true, 1);
}

TEST_F(MalformedPlistStore, Renaming_in_a_folder_without_folders_asserts) {
    expectAssertion([](OpenPlistStore& store,
                       auto* error) { return store.renameFolderAtPath("top/bad/x", "top/bad/y", error); },
                    413, "renameFolderAtPath:to:error:", false, 0);
}

TEST_F(MalformedPlistStore, Removing_from_a_folder_without_folders_asserts) {
    for (const bool onlyIfEmpty : {false, true}) {
        expectAssertion(
            [=](OpenPlistStore& store, auto* error) {
                return store.removeFolderAtPath("top/bad/x", onlyIfEmpty, error);
            },
            456, "removeFolderAtPath:onlyIfEmpty:error:", true, 1);
    }
}

TEST_F(MalformedPlistStore, Moving_from_a_folder_without_subscriptions_asserts) {
    expectAssertion(
        [](OpenPlistStore& store, auto* error) {
            return store.moveSubscriptionFrom("top/bad/One", "top/good/Two", error);
        },
        491, "moveSubscriptionFrom:to:error:", false, 0);
}

TEST_F(MalformedPlistStore, Moving_to_a_folder_without_subscriptions_asserts_and_loses_nothing) {
    expectAssertion(
        [](OpenPlistStore& store, auto* error) {
            return store.moveSubscriptionFrom("top/good/One", "top/bad/One", error);
        },
        510, "moveSubscriptionFrom:to:error:", false, 0);
}

TEST_F(MalformedPlistStore, Rename_and_move_clear_the_error_place_also_when_the_assertion_throws) {
    const auto store = open(sample());
    std::optional<Error> error = staleError();
    EXPECT_THROW(store->renameFolderAtPath("top/bad/x", "top/bad/y", &error), InternalInconsistencyException);
    EXPECT_FALSE(error);
    error = staleError();
    EXPECT_THROW(store->moveSubscriptionFrom("top/bad/One", "top/Two", &error),
                 InternalInconsistencyException);
    EXPECT_FALSE(error);
}

TEST_F(MalformedPlistStore, Subscribing_in_a_folder_without_subscriptions_succeeds_and_stores_nothing) {
    for (const Dictionary& tree : samples()) {
        const auto store = open(tree);
        std::optional<Error> error = staleError();
        EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywordsFor("Word", "top/bad"), &error));
        EXPECT_FALSE(error);
        EXPECT_EQ(store->root(), tree);
        EXPECT_EQ(saves(), 2U);
    }
}

TEST_F(MalformedPlistStore, Subscribing_below_a_folder_without_folders_asserts_and_stores_nothing) {
    for (const Dictionary& tree : samples()) {
        const auto store = open(tree);
        letAssertions(Then::Throws);
        EXPECT_THROW(store->subscribeToResource("Farm:Word", keywordsFor("Word", "top/bad/New")),
                     InternalInconsistencyException);
        ASSERT_EQ(assertions->failures().size(), 1U);
        EXPECT_EQ(assertions->failures().back().line, 364);
        EXPECT_TRUE(store->isMonitorFree());
        EXPECT_EQ(store->root(), tree);
        EXPECT_EQ(saves(), 0U);
    }
}

TEST_F(MalformedPlistStore, When_the_handler_returns_a_subscribe_stores_in_the_deepest_folder_that_can) {
    const auto store =
        open(node({{"top", dictionaryOf({{"Subscriptions", dictionaryOf({{"One", entry()}})}})}}));
    letAssertions(Then::Returns);
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywordsFor("Word", "top/New/More")));
    ASSERT_EQ(assertions->failures().size(), 1U);
    EXPECT_EQ(assertions->failures().back().line, 364);
    EXPECT_EQ(store->subscriptionPaths(), (Paths{"top/One", "top/Word"}));
    EXPECT_EQ(store->folders(), Paths{"top"});
    EXPECT_EQ(saves(), 2U);
}

TEST_F(MalformedPlistStore, Look_up_and_removal_find_nothing_in_it) {
    for (const Dictionary& tree : samples()) {
        const auto store = open(tree);
        std::optional<Error> error;
        EXPECT_EQ(store->subscriptionAtPath("top/bad/One", &error), nullptr);
        EXPECT_TRUE(isFrameworkError(error, 2008));
        error.reset();
        EXPECT_FALSE(store->removeSubscriptionAtPath("top/bad/One", &error));
        EXPECT_TRUE(isFrameworkError(error, 2008));
        EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store"), Paths{"top/good/One"});
        EXPECT_TRUE(assertions->failures().empty());
    }
}

TEST_F(MalformedPlistStore, It_is_listed_as_a_folder_and_can_be_renamed_and_removed) {
    for (const Dictionary& tree : samples()) {
        const auto store = open(tree);
        EXPECT_EQ(store->folders(), (Paths{"top", "top/bad", "top/good"}));
        const PropertyList bad = *nodeAt(store->root(), {"top"})->dictionary("Folders")->find("bad");
        EXPECT_TRUE(store->renameFolderAtPath("top/bad", "top/worse"));
        EXPECT_EQ(*nodeAt(treeOnDisk(), {"top"})->dictionary("Folders")->find("worse"), bad);
        EXPECT_TRUE(store->removeFolderAtPath("top/worse", true));
        EXPECT_EQ(store->folders(), (Paths{"top", "top/good"}));
    }
}

TEST_F(MalformedPlistStore, Creating_it_again_leaves_it_as_it_is) {
    for (const Dictionary& tree : samples()) {
        const auto store = open(tree);
        EXPECT_TRUE(store->createFolderAtPath("top/bad"));
        EXPECT_EQ(treeOnDisk(), tree);
        EXPECT_TRUE(assertions->failures().empty());
    }
}

TEST_F(MalformedPlistStore, An_entry_that_is_no_dictionary_is_listed_but_does_not_count_as_a_subscription) {
    const Dictionary tree = node({{"top", node({}, {{"Bad", PropertyList("text")}})}});
    const auto store = open(tree);
    EXPECT_EQ(store->subscriptionPaths(), Paths{"top/Bad"});
    std::optional<Error> error;
    EXPECT_EQ(store->subscriptionAtPath("top/Bad", &error), nullptr);
    EXPECT_TRUE(isFrameworkError(error, 2009));
    EXPECT_FALSE(store->removeSubscriptionAtPath("top/Bad", &error));
    EXPECT_TRUE(isFrameworkError(error, 2008));
    EXPECT_FALSE(store->moveSubscriptionFrom("top/Bad", "top/New"));
    EXPECT_EQ(store->root(), tree);
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywordsFor("Bad", "top")));
    EXPECT_TRUE(store->isSubscriptionAtPath("top/Bad"));
}

TEST_F(MalformedPlistStore, Damaged_entries_keep_a_folder_from_being_removed_as_empty) {
    const auto store = open(node({{"top", node({{"in", node({}, {{"Bad", PropertyList("text")}})}})}}));
    EXPECT_TRUE(store->removeFolderAtPath("top/in", true));
    EXPECT_EQ(store->folders(), (Paths{"top", "top/in"}));
}

TEST_F(MalformedPlistStore, A_move_to_a_destination_where_a_damaged_entry_stands_replaces_it) {
    const auto store = open(node({{"top", node({}, {{"Bad", PropertyList("text")}, {"One", entry()}})}}));
    EXPECT_TRUE(store->moveSubscriptionFrom("top/One", "top/Bad"));
    EXPECT_EQ(treeOnDisk(), node({{"top", node({}, {{"Bad", entry()}})}}));
}

TEST_F(MalformedPlistStore, Values_of_wrong_types_in_an_entry_read_as_missing_and_stay) {
    Dictionary odd = entry();
    odd.set("Store Name", PropertyList::integer(1));
    odd.set("Icon", "no data");
    odd.set("SchemaVersion", "1");
    const auto store = open(node({}, {{"Odd", odd}}));
    const auto record = store->subscriptionAtPath("Odd");
    EXPECT_EQ(record->storeName(), std::nullopt);
    EXPECT_EQ(record->icon(), std::nullopt);
    EXPECT_EQ(record->schemaVersion(), 0U);
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store"), std::nullopt);
    store->saveSubscriptions();
    EXPECT_EQ(treeOnDisk(), node({}, {{"Odd", odd}}));
}

TEST_F(MalformedPlistStore, Operations_without_a_tree_assert_and_harm_nothing) {
    const auto store = open(sample());
    store->_subscriptionHierarchy.reset();
    EXPECT_THROW(store->createFolderAtPath("New"), InternalInconsistencyException);
    EXPECT_EQ(assertions->failures().back().line, 364);
    EXPECT_THROW(store->createFolderAtPath(""), InternalInconsistencyException);
    EXPECT_EQ(assertions->failures().back().line, 571);
    EXPECT_TRUE(store->isMonitorFree());
    EXPECT_FALSE(store->removeFolderAtPath("top/good", false));
    EXPECT_FALSE(store->renameFolderAtPath("top/good", "top/New"));
    EXPECT_EQ(store->subscriptionAtPath("top/good/One"), nullptr);
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store"), std::nullopt);
    EXPECT_EQ(treeOnDisk(), sample());
}

} // namespace
} // namespace mox::test
