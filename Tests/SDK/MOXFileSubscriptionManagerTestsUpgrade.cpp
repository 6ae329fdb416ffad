#include "SDK/UpgradeTest.hpp"

#include <cerrno>

namespace mox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// One record

class UpgradingStubs : public UpgradeTest {};

TEST_F(UpgradingStubs, A_stub_that_is_current_is_left_alone_and_nobody_is_asked) {
    const std::string stub = makeStub("Word.app", {.version = "2.0"});
    const auto store = open();
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->updateSubscriptionAtPath(stub, askForStore("Name"), askForIcon(32), &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_THAT(asked, IsEmpty());
    EXPECT_THAT(logLines(), IsEmpty());
    EXPECT_THAT(test.launchRegistration.calls, IsEmpty());
    EXPECT_THAT(test.workspace.calls, IsEmpty());
    EXPECT_TRUE(store->updateSubscription(nullptr, {}, {}));
    EXPECT_TRUE(store->updateSubscription(MOXFileSubscription::subscription(), {}, {})) << "never written";
}

TEST_F(UpgradingStubs, An_old_stub_is_replaced_by_a_new_one_of_the_same_record) {
    const std::string stub = makeOldStub("a/Word.app");
    const auto store = open();
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->updateSubscriptionAtPath(stub, {}, {}, &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(versionOf(stub), "2.0");
    EXPECT_TRUE(isThere(stub + "/Contents/MacOS/Launcher"));
    const auto record = MOXFileSubscription::subscriptionWithPath(stub);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->resourceName(), "Farm:Word");
    EXPECT_EQ(record->storeName(), "Store");
    EXPECT_FALSE(record->needsUpdate());
    EXPECT_THAT(logLines(),
                ElementsAre(line("Successfully upgraded '" + stub + "' from 1.0.0.0 to 2.0.0.0")));
}

TEST_F(UpgradingStubs, The_old_stub_is_in_the_Trash_and_the_temporary_folder_is_gone) {
    const std::string stub = makeOldStub("a/Word.app");
    const auto store = open();
    ASSERT_TRUE(store->updateSubscriptionAtPath(stub, {}, {}));
    EXPECT_TRUE(isOldStub(inTrash("Word.app")));
    EXPECT_THAT(namesIn(temporary), IsEmpty());
    EXPECT_THAT(namesIn(inApps("a")), ElementsAre("Word.app"));
    EXPECT_THAT(test.workspace.calls, ElementsAre("recycle " + inApps("a") + " Word.app"));
}

TEST_F(UpgradingStubs, A_stub_without_a_version_is_upgraded_and_its_version_logged_as_empty) {
    const std::string stub =
        makeBundle("home/Applications/Word.app", {.infoPlist = std::nullopt, .alias = oldAlias()});
    const auto store = open();
    EXPECT_TRUE(store->updateSubscriptionAtPath(stub, {}, {}));
    EXPECT_THAT(logLines(), ElementsAre(line("Successfully upgraded '" + stub + "' from  to 2.0.0.0")));
}

TEST_F(UpgradingStubs, The_arrays_are_not_rebuilt) {
    const std::string stub = makeOldStub("a/Word.app");
    const auto store = open();
    makeStub("Unseen.app");
    ASSERT_TRUE(store->updateSubscriptionAtPath(stub, {}, {}));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(stub));
    const std::string other = makeOldStub("Other.app");
    test.workspace.refusesToRecycle = true;
    ASSERT_FALSE(store->updateSubscriptionAtPath(other, {}, {}));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(stub)) << "nor by a failure";
}

TEST_F(UpgradingStubs, What_cannot_be_read_fails_with_the_reader_s_error) {
    const auto store = open();
    const std::string application = makeApplication("Other.app");
    std::optional<Error> error;
    EXPECT_FALSE(store->updateSubscriptionAtPath(inApps("missing"), {}, {}, &error));
    EXPECT_TRUE(isStubError(error, 2008, inApps("missing")));
    EXPECT_FALSE(store->updateSubscriptionAtPath(application, {}, {}, &error));
    EXPECT_TRUE(isStubError(error, 2009, application));
    EXPECT_FALSE(store->updateSubscriptionAtPath(application, {}, {}));
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(UpgradingStubs, The_record_names_the_temporary_folder_afterwards) {
    const std::string stub = makeOldStub("Word.app");
    const auto store = open();
    const auto record = MOXFileSubscription::subscriptionWithPath(stub);
    ASSERT_TRUE(store->updateSubscription(record, {}, {}));
    EXPECT_THAT(*record->path(), StartsWith(temporary + "/korvan.tmp."));
    EXPECT_TRUE(record->path()->ends_with("/Word.app"));
    EXPECT_FALSE(isThere(*record->path()));
}

TEST_F(UpgradingStubs, The_desktop_knows_the_new_stub_in_place_of_the_old_one) {
    const std::string stub = makeOldStub("Word.app");
    const auto store = open();
    const auto record = MOXFileSubscription::subscriptionWithPath(stub);
    ASSERT_TRUE(store->updateSubscription(record, {}, {}));
    const std::string newPath = *record->path();
    EXPECT_THAT(test.launchRegistration.calls,
                ElementsAre("begin", "register " + newPath, "begin", "removed " + stub, "end",
                            "register " + stub, "begin", "removed " + newPath.substr(0, newPath.rfind('/')),
                            "end", "end"))
        << "one refresh for all";
}

TEST_F(UpgradingStubs, The_desktop_is_told_of_the_stub_also_when_it_could_not_take_the_temporary_one) {
    const std::string stub = makeOldStub("Word.app");
    const auto store = open();
    test.launchRegistration.status = EINVAL;
    EXPECT_TRUE(store->updateSubscriptionAtPath(stub, {}, {}));
    EXPECT_THAT(registrations(), testing::Contains("register " + stub));
    EXPECT_THAT(logLines(),
                ElementsAre("-[MOXFileSubscription writeToFolder:withName:error:] Error registering "
                            "subscription with launch services (22)",
                            line("Successfully upgraded '" + stub + "' from 1.0.0.0 to 2.0.0.0")))
        << "the second one's failure is nobody's";
}

// The store of old records

TEST_F(UpgradingStubs, A_record_that_knows_a_store_in_any_way_is_not_repaired) {
    for (const std::string_view key : {"Internal Store URL", "External Store URL", "Store Name"}) {
        const std::string name = std::string(key) + ".app";
        const std::string stub =
            makeOldStub(name, dictionaryOf({{std::string(key), "known"}, {"Korvan Server", "server"}}));
        const auto store = open();
        EXPECT_TRUE(store->updateSubscriptionAtPath(stub, askForStore("Name"), {})) << key;
        EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(stub)->serverName(), "server");
    }
    EXPECT_THAT(asked, IsEmpty());
}

TEST_F(UpgradingStubs, A_record_with_a_server_name_only_gets_the_store_that_the_callback_names) {
    const std::string stub = makeOldStub("Word.app", dictionaryOf({{"Korvan Server", "server.example"},
                                                                   {"Store Name", ""},
                                                                   {"Internal Store URL", ""},
                                                                   {"External Store URL", ""}}));
    const auto store = open();
    EXPECT_TRUE(store->updateSubscriptionAtPath(stub, askForStore("Named"), {}));
    EXPECT_THAT(asked, ElementsAre("store of server.example"));
    const auto record = MOXFileSubscription::subscriptionWithPath(stub);
    EXPECT_EQ(record->storeName(), "Named");
    EXPECT_EQ(record->internalStoreURL(), "server.example");
    EXPECT_EQ(record->serverName(), std::nullopt);
}

TEST_F(UpgradingStubs, A_record_without_any_store_is_corrupt_and_its_stub_stays) {
    const std::string stub = makeOldStub("Word.app", dictionaryOf({{"Korvan Server", "server"}}));
    const std::string nameless = makeOldStub("Nameless.app", dictionaryOf({{"Korvan Server", ""}}));
    const std::string none = makeOldStub("None.app", Dictionary());
    const auto store = open();
    struct Case {
        std::string stub;
        MOXUpdateStoreNameBlock storeNameBlock;
    };
    const std::vector<Case> cases = {{stub, {}},
                                     {stub, askForStore("")},
                                     {stub, askForStore(std::nullopt)},
                                     {nameless, askForStore("Named")},
                                     {none, askForStore("Named")}};
    for (const Case& each : cases) {
        test.systemLog.clear();
        std::optional<Error> error;
        EXPECT_FALSE(store->updateSubscriptionAtPath(each.stub, each.storeNameBlock, askForIcon(32), &error));
        EXPECT_TRUE(isStubError(error, 2010, each.stub));
        EXPECT_THAT(logLines(), ElementsAre(line("Corrupt subscription at path (" + each.stub + ")")));
        EXPECT_EQ(versionOf(each.stub), "1.0");
    }
    EXPECT_THAT(asked, ElementsAre("store of server", "store of server")) << "and nobody for an icon";
    EXPECT_FALSE(store->updateSubscriptionAtPath(stub, {}, {}));
    EXPECT_THAT(namesIn(temporary), IsEmpty());
    EXPECT_THAT(test.workspace.calls, IsEmpty());
}

// The icon

TEST_F(UpgradingStubs, The_icon_callback_is_asked_also_when_there_is_an_icon_and_its_answer_is_written) {
    const std::string stub = makeOldStub("Word.app");
    makeFile("home/Applications/Word.app/" + std::string(applicationIcon), iconFileOfSides({16}));
    const auto store = open();
    EXPECT_TRUE(store->updateSubscriptionAtPath(stub, {}, askForIcon(32)));
    EXPECT_THAT(asked, ElementsAre("icon of " + stub));
    EXPECT_THAT(sidesInIconFile(bytesAt(stub + "/" + std::string(applicationIcon))), ElementsAre(32U));
}

TEST_F(UpgradingStubs, A_nil_answer_keeps_the_old_icon) {
    const std::string stub = makeOldStub("Word.app");
    makeFile("home/Applications/Word.app/" + std::string(applicationIcon), iconFileOfSides({16}));
    const auto store = open();
    EXPECT_TRUE(store->updateSubscriptionAtPath(stub, {}, askForIcon(std::nullopt)));
    EXPECT_THAT(asked, ElementsAre("icon of " + stub));
    EXPECT_THAT(sidesInIconFile(bytesAt(stub + "/" + std::string(applicationIcon))), ElementsAre(16U));
}

TEST_F(UpgradingStubs, A_nil_answer_keeps_the_icon_that_the_record_was_given) {
    const std::string stub = makeOldStub("Word.app");
    makeFile("home/Applications/Word.app/" + std::string(applicationIcon), iconFileOfSides({16}));
    const auto store = open();
    const auto record = MOXFileSubscription::subscriptionWithPath(stub);
    record->setIcon(imageOfSides({64}));
    EXPECT_TRUE(store->updateSubscription(record, {}, askForIcon(std::nullopt)));
    EXPECT_THAT(sidesInIconFile(bytesAt(stub + "/" + std::string(applicationIcon))), ElementsAre(64U));
}

TEST_F(UpgradingStubs, The_store_is_asked_for_before_the_icon_and_the_icon_before_anything_is_written) {
    const std::string stub = makeOldStub("Word.app", dictionaryOf({{"Korvan Server", "server"}}));
    const auto store = open();
    const auto icon = [&](const std::shared_ptr<MOXSubscription>& record) -> std::optional<Image> {
        EXPECT_EQ(record->storeName(), "Named");
        EXPECT_EQ(record->path(), stub);
        EXPECT_THAT(namesIn(temporary), IsEmpty());
        asked.push_back("icon");
        return std::nullopt;
    };
    EXPECT_TRUE(store->updateSubscriptionAtPath(stub, askForStore("Named"), icon));
    EXPECT_THAT(asked, ElementsAre("store of server", "icon"));
}

// The temporary folder

TEST_F(UpgradingStubs, A_temporary_folder_is_new_empty_and_its_owner_s_alone) {
    const auto store = open();
    const auto one = store->createTempDirectory();
    const auto two = store->createTempDirectory();
    ASSERT_TRUE(one && two);
    EXPECT_NE(*one, *two);
    EXPECT_THAT(*one, StartsWith(temporary + "/korvan.tmp."));
    EXPECT_EQ(one->size(), (temporary + "/korvan.tmp.XXXXXX").size());
    EXPECT_FALSE(one->ends_with("XXXXXX"));
    EXPECT_THAT(namesIn(*one), IsEmpty());
    EXPECT_EQ(modeOf(*one), 0700U);
}

TEST_F(UpgradingStubs, Without_a_folder_for_temporary_files_it_is_made_in_tmp) {
    test.userDirectories.temporary = std::nullopt;
    const auto store = open();
    const auto made = store->createTempDirectory();
    ASSERT_TRUE(made);
    EXPECT_THAT(*made, StartsWith("/tmp/korvan.tmp."));
    EXPECT_TRUE(test.fileSystem.removeItem(*made));
}

TEST_F(UpgradingStubs, A_temporary_folder_that_cannot_be_made_is_nil) {
    test.userDirectories.temporary = scratch.path("missing");
    EXPECT_EQ(open()->createTempDirectory(), std::nullopt);
}

// Batches

class UpgradingManyStubs : public UpgradeTest {
protected:
    MOXUpdateErrorBlock collect(bool stops = false) {
        return [this, stops](const std::string& path, const std::optional<Error>& error, bool& stop) {
            EXPECT_FALSE(stop) << "preset";
            failures.push_back(path + " " + (error ? std::to_string(error->code()) : "nil"));
            stop = stops;
        };
    }
    Lines failures;
};

TEST_F(UpgradingManyStubs, Each_is_upgraded_in_order_and_each_failure_is_told) {
    const std::string one = makeOldStub("One.app");
    const std::string corrupt = makeOldStub("Corrupt.app", Dictionary());
    const std::string two = makeOldStub("Two.app");
    const auto store = open();
    store->updateSubscriptionsAtPaths({one, inApps("missing"), corrupt, two}, collect(), {}, askForIcon(32));
    EXPECT_THAT(failures, ElementsAre(inApps("missing") + " 2008", corrupt + " 2010"));
    EXPECT_EQ(versionOf(one), "2.0");
    EXPECT_EQ(versionOf(two), "2.0");
    EXPECT_THAT(asked, ElementsAre("icon of " + one, "icon of " + two));
    EXPECT_EQ(refreshes(), 1);
}

TEST_F(UpgradingManyStubs, Without_an_error_callback_failures_are_passed_over) {
    const std::string one = makeOldStub("One.app");
    const auto store = open();
    store->updateSubscriptionsAtPaths({inApps("missing"), one}, {}, {}, {});
    EXPECT_EQ(versionOf(one), "2.0");
}

TEST_F(UpgradingManyStubs, The_stop_flag_ends_the_batch_at_once) {
    const std::string one = makeOldStub("One.app");
    const auto store = open();
    store->updateSubscriptionsAtPaths({inApps("missing"), one, inApps("other")}, collect(true), {},
                                      askForIcon(32));
    EXPECT_THAT(failures, ElementsAre(inApps("missing") + " 2008"));
    EXPECT_EQ(versionOf(one), "1.0");
    EXPECT_THAT(asked, IsEmpty());
}

TEST_F(UpgradingManyStubs, Each_failure_is_told_with_its_own_error) {
    const std::string corrupt = makeOldStub("Corrupt.app", Dictionary());
    const auto store = open();
    store->updateSubscriptionsAtPaths({corrupt, inApps("missing"), corrupt}, collect(), {}, {});
    EXPECT_THAT(failures, ElementsAre(corrupt + " 2010", inApps("missing") + " 2008", corrupt + " 2010"));
}

TEST_F(UpgradingManyStubs, The_count_is_read_again_on_every_pass) {
    const std::string one = makeOldStub("One.app");
    const std::string two = makeOldStub("Two.app");
    const auto store = open();
    Paths paths = {inApps("missing")};
    const auto lengthen = [&](const std::string& path, const std::optional<Error>&, bool&) {
        EXPECT_EQ(path, inApps("missing"));
        // Long enough for the array to move to another place in memory.
        paths.insert(paths.end(), {one, two});
    };
    store->updateSubscriptionsAtPaths(paths, lengthen, {}, {});
    EXPECT_EQ(versionOf(one), "2.0");
    EXPECT_EQ(versionOf(two), "2.0");

    const std::string three = makeOldStub("Three.app");
    paths = {inApps("missing"), three};
    const auto shorten = [&](const std::string&, const std::optional<Error>&, bool&) { paths.clear(); };
    store->updateSubscriptionsAtPaths(paths, shorten, {}, {});
    EXPECT_EQ(versionOf(three), "1.0");
    store->updateSubscriptionsAtPaths({}, shorten, {}, {});
}

TEST_F(UpgradingManyStubs, The_base_s_operation_is_overridden) {
    const std::string one = makeOldStub("One.app");
    const auto store = open();
    MOXSubscriptionManager& base = *store;
    base.updateSubscriptionsAtPaths({one}, {}, {}, {});
    EXPECT_EQ(versionOf(one), "2.0");
}

} // namespace
} // namespace mox::test
