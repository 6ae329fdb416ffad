#include "SDK/BundleStore.hpp"
#include "SDK/MOXLaunchRegistrationScope.hpp"

#include <cerrno>

namespace mox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::UnorderedElementsAre;

// Removing and reading one

class RemovingStubs : public BundleStoreTest {};

TEST_F(RemovingStubs, The_stub_goes_for_good_and_the_arrays_are_rebuilt) {
    const std::string stub = makeStub("a/Stub.app");
    const auto store = open();
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->removeSubscriptionAtPath(stub, &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_FALSE(isThere(stub));
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
    EXPECT_THAT(test.workspace.calls, IsEmpty()) << "not to the Trash";
    EXPECT_THAT(registrations(), ElementsAre("removed " + stub));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(RemovingStubs, Whatever_is_at_the_path_goes_stub_or_not) {
    const std::string file = makeFile("home/Applications/file", "x");
    makeStub("a/Stub.app");
    const auto store = open();
    EXPECT_TRUE(store->removeSubscriptionAtPath(file));
    EXPECT_TRUE(store->removeSubscriptionAtPath(inApps("a")));
    EXPECT_THAT(namesIn(inApps()), IsEmpty());
}

TEST_F(RemovingStubs, An_empty_path_is_an_invalid_argument_and_rebuilds_nothing) {
    const auto store = open();
    makeStub("Unseen.app");
    std::optional<Error> error;
    EXPECT_FALSE(store->removeSubscriptionAtPath("", &error));
    EXPECT_TRUE(isInvalidArgument(error));
    EXPECT_FALSE(store->removeSubscriptionAtPath(""));
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
}

TEST_F(RemovingStubs, A_failure_is_the_system_s_and_the_arrays_are_rebuilt_all_the_same) {
    const auto store = open();
    makeStub("New.app");
    std::optional<Error> error;
    EXPECT_FALSE(store->removeSubscriptionAtPath(inApps("missing.app"), &error));
    EXPECT_TRUE(isSystemError(error, 4, ENOENT));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("New.app")));
    EXPECT_THAT(registrations(), IsEmpty());
}

TEST_F(RemovingStubs, A_record_is_read_from_the_stub) {
    const std::string stub = makeStub("a/Stub.app", {.resource = "Farm:Calc"});
    const auto store = open();
    std::optional<Error> error = staleError();
    const auto record = store->subscriptionAtPath(stub, &error);
    ASSERT_NE(record, nullptr);
    EXPECT_NE(std::dynamic_pointer_cast<MOXFileSubscription>(record), nullptr);
    EXPECT_EQ(record->resourceName(), "Farm:Calc");
    EXPECT_TRUE(isStale(error));
}

TEST_F(RemovingStubs, Reading_fails_with_the_record_s_errors_and_for_an_empty_path) {
    const std::string application = makeApplication("Other.app");
    const auto store = open();
    std::optional<Error> error;
    EXPECT_EQ(store->subscriptionAtPath("", &error), nullptr);
    EXPECT_TRUE(isInvalidArgument(error));
    EXPECT_EQ(store->subscriptionAtPath(inApps("missing"), &error), nullptr);
    EXPECT_TRUE(isStubError(error, 2008, inApps("missing")));
    EXPECT_EQ(store->subscriptionAtPath(application, &error), nullptr);
    EXPECT_TRUE(isStubError(error, 2009, application));
    EXPECT_EQ(store->subscriptionAtPath(""), nullptr);
}

// Moving

class MovingStubs : public BundleStoreTest {};

TEST_F(MovingStubs, The_stub_has_its_new_path_and_name_and_the_arrays_follow) {
    const std::string stub = makeStub("a/Old.app");
    makeAppsFolder("b");
    const auto store = open();
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->moveSubscriptionFrom(stub, inApps("b/New.app"), &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("b/New.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("b"), inApps()));
    EXPECT_THAT(test.launchRegistration.calls,
                ElementsAre("begin", "moved " + stub + " to " + inApps("b/New.app"), "end"));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(MovingStubs, Nothing_is_ever_replaced) {
    const std::string one = makeStub("One.app", {.resource = "One"});
    const std::string two = makeStub("Two.app", {.resource = "Two"});
    const auto store = open();
    std::optional<Error> error;
    EXPECT_FALSE(store->moveSubscriptionFrom(one, two, &error));
    EXPECT_TRUE(isSystemError(error, 516, EEXIST));
    EXPECT_FALSE(store->moveSubscriptionFrom(one, one, &error));
    EXPECT_TRUE(isSystemError(error, 516, EEXIST));
    EXPECT_EQ(store->subscriptionAtPath(one)->resourceName(), "One");
    EXPECT_EQ(store->subscriptionAtPath(two)->resourceName(), "Two");
    EXPECT_THAT(registrations(), IsEmpty());
}

TEST_F(MovingStubs, A_failure_is_the_system_s_and_the_arrays_are_rebuilt_all_the_same) {
    const auto store = open();
    makeStub("New.app");
    std::optional<Error> error;
    EXPECT_FALSE(store->moveSubscriptionFrom(inApps("missing"), inApps("b"), &error));
    EXPECT_TRUE(isSystemError(error, 4, ENOENT));
    EXPECT_FALSE(store->moveSubscriptionFrom("", ""));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("New.app")));
}

TEST_F(MovingStubs, A_missing_destination_folder_is_not_made) {
    const std::string stub = makeStub("One.app");
    const auto store = open();
    std::optional<Error> error;
    EXPECT_FALSE(store->moveSubscriptionFrom(stub, inApps("none/One.app"), &error));
    EXPECT_TRUE(isSystemError(error, 4, ENOENT));
    EXPECT_TRUE(isThere(stub));
}

// Removing all of a resource

class RemovingAllStubs : public BundleStoreTest {
protected:
    RemovingAllStubs() {
        makeStub("One.app", {.resource = "Word", .store = "Store"});
        makeStub("a/Two.app", {.resource = "Word", .store = "Store"});
        makeStub("Case.app", {.resource = "word", .store = "Store"});
        makeStub("Elsewhere.app", {.resource = "Word", .store = "store"});
        makeStub("Other.app", {.resource = "Calc", .store = "Store"});
    }
    const Paths others = {inApps("Case.app"), inApps("Elsewhere.app"), inApps("Other.app")};
};

TEST_F(RemovingAllStubs, Those_whose_names_equal_both_go_and_are_told_in_the_order_of_the_list) {
    const auto store = open();
    Paths expected;
    for (const std::string& path : store->subscriptionPaths()) {
        if (path == inApps("One.app") || path == inApps("a/Two.app")) expected.push_back(path);
    }
    EXPECT_THAT(store->removeAllSubscriptionsWithUniqueName("Word", "Store"), Optional(expected));
    EXPECT_THAT(store->subscriptionPaths(), testing::UnorderedElementsAreArray(others));
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
    EXPECT_FALSE(isThere(inApps("One.app")));
    EXPECT_FALSE(isThere(inApps("a/Two.app")));
    EXPECT_THAT(test.launchRegistration.calls, ElementsAre("begin", "begin", "removed " + expected[0], "end",
                                                           "begin", "removed " + expected[1], "end", "end"))
        << "one refresh for all";
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(RemovingAllStubs, Without_a_match_the_result_is_nil_and_nothing_is_rebuilt) {
    const auto store = open();
    makeStub("Unseen.app");
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("WORD", "Store"), std::nullopt);
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Word", "STORE"), std::nullopt);
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("", ""), std::nullopt);
    EXPECT_EQ(store->numberOfSubscriptions(), 5U);
}

TEST_F(RemovingAllStubs, Removing_all_finds_an_ill_formed_name_as_it_was_subscribed) {
    makeTemplates();
    const auto store = open();
    MOXSubscribeKeywords keywords = keywordsFor("Word.app", inApps());
    keywords.onStoreNamed = "St\xFFre";
    ASSERT_TRUE(store->subscribeToResource("W\xFFrd", keywords));

    EXPECT_THAT(store->removeAllSubscriptionsWithUniqueName("W\xFFrd", "St\xFFre"),
                Optional(Paths{inApps("Word.app")}));
}

TEST_F(RemovingAllStubs, A_nil_name_equals_nothing_not_even_a_missing_one) {
    makeBundle("home/Applications/Nameless.app", {.alias = Dictionary()});
    const auto store = open();
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName(std::nullopt, std::nullopt), std::nullopt);
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName("Word", std::nullopt), std::nullopt);
    EXPECT_EQ(store->removeAllSubscriptionsWithUniqueName(std::nullopt, "Store"), std::nullopt);
    EXPECT_EQ(store->numberOfSubscriptions(), 6U);
}

TEST_F(RemovingAllStubs, A_stub_that_cannot_be_read_is_passed_over) {
    makeFile("home/Applications/Damaged.app/Contents/Resources/Korvalias.plist", "no property list");
    const auto store = open();
    const auto removed = store->removeAllSubscriptionsWithUniqueName("Word", "Store");
    EXPECT_THAT(removed, Optional(UnorderedElementsAre(inApps("One.app"), inApps("a/Two.app"))));
    EXPECT_TRUE(isThere(inApps("Damaged.app")));
}

TEST_F(RemovingAllStubs, One_that_cannot_be_removed_is_told_as_removed) {
    const auto store = open();
    test.fileSystem.failCall(FileSystemOperation::RemoveItem, 1, EACCES, FaultDuration::Once);
    const auto removed = store->removeAllSubscriptionsWithUniqueName("Word", "Store");
    EXPECT_THAT(removed, Optional(UnorderedElementsAre(inApps("One.app"), inApps("a/Two.app"))));
    EXPECT_EQ(store->numberOfSubscriptions(), 4U);
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(RemovingAllStubs, The_arrays_are_rebuilt_for_each_and_the_search_goes_through_those_of_its_beginning) {
    const auto store = open();
    makeStub("Unseen.app", {.resource = "Word", .store = "Store"});
    const auto removed = store->removeAllSubscriptionsWithUniqueName("Word", "Store");
    EXPECT_THAT(removed, Optional(UnorderedElementsAre(inApps("One.app"), inApps("a/Two.app"))));
    EXPECT_TRUE(isThere(inApps("Unseen.app")));
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::ContentsOfDirectory), 4U)
        << "two rebuilds, of two folders each";
}

// Removing to the Trash

class RemovingItems : public BundleStoreTest {
protected:
    std::string trash(std::string_view name = {}) const {
        return test.homePath(".local/share/Trash/files/") + std::string(name);
    }
};

TEST_F(RemovingItems, To_the_Trash_goes_the_item_of_its_parent_folder) {
    const std::string stub = makeStub("a/Stub.app");
    const auto store = open();
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->removeItemAtPath(stub, true, &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_THAT(test.workspace.calls, ElementsAre("recycle " + inApps("a") + " Stub.app"));
    EXPECT_FALSE(isThere(stub));
    EXPECT_TRUE(isThere(trash("Stub.app")));
    EXPECT_THAT(test.launchRegistration.calls, ElementsAre("begin", "removed " + stub, "end"));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(stub)) << "not rebuilt";
}

TEST_F(RemovingItems, A_slash_at_the_end_is_no_part_of_the_item_s_name) {
    const std::string stub = makeStub("a/Stub.app");
    const auto store = open();
    EXPECT_TRUE(store->removeItemAtPath(stub + "/", true));
    EXPECT_THAT(test.workspace.calls, ElementsAre("recycle " + inApps("a") + " Stub.app"));
    EXPECT_TRUE(isThere(trash("Stub.app")));
}

TEST_F(RemovingItems, A_Trash_that_takes_nothing_never_fills_the_error) {
    const std::string stub = makeStub("Stub.app");
    const auto store = open();
    test.workspace.refusesToRecycle = true;
    std::optional<Error> error;
    EXPECT_FALSE(store->removeItemAtPath(stub, true, &error));
    EXPECT_EQ(error, std::nullopt);
    error = staleError();
    EXPECT_FALSE(store->removeItemAtPath(inApps("missing"), true, &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_FALSE(store->removeItemAtPath("", true));
    EXPECT_TRUE(isThere(stub));
    EXPECT_THAT(registrations(), IsEmpty());
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(RemovingItems, Without_the_Trash_the_item_goes_for_good_with_the_system_s_errors) {
    const std::string stub = makeStub("Stub.app");
    const auto store = open();
    EXPECT_TRUE(store->removeItemAtPath(stub, false));
    EXPECT_FALSE(isThere(stub));
    EXPECT_THAT(test.workspace.calls, IsEmpty());
    std::optional<Error> error;
    EXPECT_FALSE(store->removeItemAtPath(stub, false, &error));
    EXPECT_TRUE(isSystemError(error, 4, ENOENT));
    EXPECT_THAT(registrations(), ElementsAre("removed " + stub));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(stub)) << "not rebuilt";
}

// Many operations, one refresh

TEST_F(RemovingItems, A_scope_puts_the_registrations_of_many_operations_into_one_batch) {
    const std::string one = makeStub("One.app");
    const std::string two = makeStub("Two.app");
    const auto store = open();
    {
        const MOXLaunchRegistrationScope scopeOfAll;
        store->removeSubscriptionAtPath(one);
        store->removeSubscriptionAtPath(two);
        EXPECT_EQ(test.launchRegistration.calls.front(), "begin");
    }
    EXPECT_THAT(test.launchRegistration.calls, ElementsAre("begin", "begin", "removed " + one, "end", "begin",
                                                           "removed " + two, "end", "end"));
}

} // namespace
} // namespace mox::test
