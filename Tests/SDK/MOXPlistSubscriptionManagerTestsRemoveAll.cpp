#include "SDK/PlistStore.hpp"

namespace mox::test {
namespace {

class RemovingAllFromThePlistStore : public PlistStoreTest {
protected:
    static Dictionary sample() {
        return node({{"a", node({{"Sub", node({}, {{"Three", entry()}})}},
                                {{"One", entry()}, {"Other", entry({.resource = "Farm:Excel"})}})},
                     {"b", node({}, {{"Elsewhere", entry({.store = "Second"})}, {"Two", entry()}})}},
                    {{"Bare", entry()}});
    }
};

TEST_F(RemovingAllFromThePlistStore, Matches_are_removed_and_told_in_the_order_of_the_list_with_one_save) {
    const auto store = open(sample());
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store"),
              (Paths{"Bare", "a/One", "a/Sub/Three", "b/Two"}));
    EXPECT_EQ(saves(), 1U);
    EXPECT_EQ(store->subscriptionPaths(), (Paths{"a/Other", "b/Elsewhere"}));
    EXPECT_EQ(treeOnDisk(), store->root());
    EXPECT_EQ(store->folders(), (Paths{"a", "a/Sub", "b"}));
}

TEST_F(RemovingAllFromThePlistStore, Without_a_match_the_result_is_nil_and_nothing_is_written) {
    const auto store = open(sample());
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:None", "Store"), std::nullopt);
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:Word", "None"), std::nullopt);
    EXPECT_EQ(saves(), 0U);
    EXPECT_EQ(store->root(), sample());
}

TEST_F(RemovingAllFromThePlistStore, Both_names_are_compared_exactly) {
    const auto store = open(sample());
    for (const char* resource : {"farm:word", "Word", "Farm:Word ", ""}) {
        EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName(resource, "Store"), std::nullopt) << resource;
    }
    for (const char* name : {"store", "Store ", ""}) {
        EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:Word", name), std::nullopt) << name;
    }
}

TEST_F(RemovingAllFromThePlistStore, A_nil_name_equals_nothing_not_even_a_missing_or_empty_one) {
    Dictionary nameless = entry();
    nameless.remove("Store Name");
    nameless.remove("Korvan Server Unique Application Name");
    const auto store = open(node({}, {{"Nameless", nameless},
                                      {"Empty", entry({.resource = "", .store = ""})},
                                      {"Farmless", entry({.resource = ""})},
                                      {"Storeless", entry({.store = ""})},
                                      {"One", entry()}}));
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName(std::nullopt, std::nullopt), std::nullopt);
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:Word", std::nullopt), std::nullopt);
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName(std::nullopt, "Store"), std::nullopt);
    EXPECT_EQ(saves(), 0U);
}

TEST_F(RemovingAllFromThePlistStore, Empty_names_equal_empty_names) {
    const auto store = open(node({}, {{"Empty", entry({.resource = "", .store = ""})}}));
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("", ""), Paths{"Empty"});
}

TEST_F(RemovingAllFromThePlistStore, What_is_no_dictionary_is_left_alone) {
    const auto store = open(node({}, {{"Bad", PropertyList("text")}, {"One", entry()}}));
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store"), Paths{"One"});
    EXPECT_EQ(store->subscriptionPaths(), Paths{"Bad"});
}

TEST_F(RemovingAllFromThePlistStore, A_name_with_a_slash_is_looked_for_where_its_path_leads) {
    const auto store = open(node({{"a", node({}, {{"b/One", entry()}, {"One", entry()}})}}));
    // "a/b/One" leads to the name One in a, the deepest folder there is, which is gone by then.
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store"), Paths{"a/One"});
    EXPECT_EQ(store->subscriptionPaths(), Paths{"a/b/One"});
}

TEST_F(RemovingAllFromThePlistStore, Ten_thousand_matches_are_removed_at_once) {
    Entries entries;
    for (int number = 0; number < 10'000; ++number)
        entries.emplace_back("Entry " + std::to_string(10'000 + number), entry());
    const auto store = open(node({{"a", node({}, entries)}}));
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Farm:Word", "Store")->size(), 10'000U);
    EXPECT_EQ(store->root(), node({{"a", node()}}));
    EXPECT_EQ(saves(), 1U);
}

} // namespace
} // namespace mox::test
