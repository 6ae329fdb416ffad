#include "Formats/ImageArchive.hpp"
#include "SDK/PlistStore.hpp"

namespace mox::test {
namespace {

class SubscribingInThePlistStore : public PlistStoreTest {
protected:
    /// An icon of one red pixel.
    static Image icon() {
        return {.size = {1, 1},
                .representations = {{.pixelsWide = 1,
                                     .pixelsHigh = 1,
                                     .size = {1, 1},
                                     .pixels = {255, 0, 0, 255},
                                     .png = nullptr}}};
    }

    static const Dictionary* entryAt(const Dictionary& root, const Paths& folder, std::string_view name) {
        const Dictionary* found = nodeAt(root, folder);
        return found ? found->dictionary("Subscriptions")->dictionary(name) : nullptr;
    }
};

// Subscribe

TEST_F(SubscribingInThePlistStore, Every_required_argument_is_checked_before_anything_is_touched) {
    const auto store = open(node());
    const auto refused = [&](std::string_view resource, const MOXSubscribeKeywords& keywords) {
        std::optional<Error> error;
        EXPECT_FALSE(store->subscribeToResource(resource, keywords, &error));
        EXPECT_TRUE(isInvalidArgument(error));
        EXPECT_FALSE(store->subscribeToResource(resource, keywords));
    };
    const MOXSubscribeKeywords good = keywordsFor("Word", "a");
    refused("", good);
    for (const std::int32_t type : {0, 3, -1, 2147483647}) {
        MOXSubscribeKeywords keywords = good;
        keywords.ofType = static_cast<MOXSubscriptionType>(type);
        refused("Farm:Word", keywords);
    }
    for (const std::optional<std::string>& url :
         {std::optional<std::string>(), std::optional<std::string>("")}) {
        MOXSubscribeKeywords keywords = good;
        keywords.withInternalStoreURL = url;
        keywords.andExternalStoreURL = url;
        refused("Farm:Word", keywords);
    }
    MOXSubscribeKeywords keywords = good;
    keywords.withFileName = "";
    refused("Farm:Word", keywords);
    keywords = good;
    keywords.inFolder = "";
    refused("Farm:Word", keywords);
    EXPECT_EQ(saves(), 0U);
    EXPECT_EQ(store->root(), node());
    EXPECT_EQ(logLines(), Paths());
}

TEST_F(SubscribingInThePlistStore, Either_URL_is_enough_and_a_store_name_is_not_needed) {
    const auto store = open(node());
    MOXSubscribeKeywords keywords = keywordsFor("External", "a");
    keywords.withInternalStoreURL = std::nullopt;
    keywords.andExternalStoreURL = "https://store.example/external";
    keywords.onStoreNamed = std::nullopt;
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywords));
    const Dictionary* stored = entryAt(store->root(), {"a"}, "External");
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(stored->find("Internal Store URL"), nullptr);
    EXPECT_EQ(stored->find("Store Name"), nullptr);
    EXPECT_EQ(*stored->string("External Store URL"), "https://store.example/external");
}

TEST_F(SubscribingInThePlistStore, A_blank_is_an_argument) {
    const auto store = open(node());
    MOXSubscribeKeywords keywords = keywordsFor(" ", " ");
    keywords.withInternalStoreURL = " ";
    EXPECT_TRUE(store->subscribeToResource(" ", keywords));
    EXPECT_EQ(store->subscriptionPaths(), Paths{" / "});
}

TEST_F(SubscribingInThePlistStore, The_entry_holds_every_key_of_a_whole_call) {
    const auto store = open(node());
    MOXSubscribeKeywords keywords = keywordsFor("Word", "/Users/user/Applications/Store1");
    keywords.andExternalStoreURL = "https://store.example/external";
    keywords.andOptionalInfo =
        MOXOptionalInfo{{"Icon Image", icon()},
                        {"Description", "Writes"},
                        {"SVLaunchURL", "https://launch.example"},
                        {"Publisher Name", "Pub"},
                        {"Content Address", "doc"},
                        {"FileTypes", std::vector<MOXFileType>{{"Text", {".txt"}, std::nullopt}}},
                        {"Unknown", "ignored"}};
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywords));
    const Dictionary expected = dictionaryOf({{"cloneName", "Word"},
                                              {"Korvan Server Unique Application Name", "Farm:Word"},
                                              {"Store Name", "Store"},
                                              {"Internal Store URL", "https://store.example/internal"},
                                              {"External Store URL", "https://store.example/external"},
                                              {"Korvan Application Type", "Application"},
                                              {"Norvik Type", "advanced"},
                                              {"Norvik Auth Type", "rsa"},
                                              {"SchemaVersion", PropertyList::integer(1)},
                                              {"Tavamor Name", "Pub#Word"},
                                              {"Icon", PropertyList::Data(*archivedImage(icon()))},
                                              {"Korvan Description", "Writes"},
                                              {"Stavenor Launch URL", "https://launch.example"},
                                              {"Korvan Publisher Name", "Pub"},
                                              {"Korvan Content Address", "doc"}});
    const Dictionary onDisk = treeOnDisk();
    const Dictionary* stored = entryAt(onDisk, {"/", "Users", "user", "Applications", "Store1"}, "Word");
    ASSERT_NE(stored, nullptr);
    EXPECT_EQ(*stored, expected);
    EXPECT_EQ(store->subscriptionPaths(), Paths{"/Users/user/Applications/Store1/Word"});
    EXPECT_EQ(store->subscriptionAtPath("/Users/user/Applications/Store1/Word")->icon(), icon());
}

TEST_F(SubscribingInThePlistStore, Keys_whose_values_would_be_nil_are_absent) {
    const auto store = open(node());
    MOXSubscribeKeywords keywords = keywordsFor("Desk", "a");
    keywords.ofType = MOXSubscriptionType::Desktop;
    keywords.usingNorvikType = MOXNorvikType::None;
    keywords.andNorvikAuthType = MOXNorvikAuthType::None;
    keywords.andOptionalInfo = MOXOptionalInfo();
    EXPECT_TRUE(store->subscribeToResource("Desk", keywords));
    EXPECT_EQ(*entryAt(store->root(), {"a"}, "Desk"),
              dictionaryOf({{"cloneName", "Desk"},
                            {"Korvan Server Unique Application Name", "Desk"},
                            {"Store Name", "Store"},
                            {"Internal Store URL", "https://store.example/internal"},
                            {"Korvan Application Type", "Desktop"},
                            {"Norvik Type", "none"},
                            {"Norvik Auth Type", "none"},
                            {"SchemaVersion", PropertyList::integer(1)}}));
}

TEST_F(SubscribingInThePlistStore, Optional_information_of_a_wrong_type_counts_as_absent) {
    const auto store = open(node());
    MOXSubscribeKeywords keywords = keywordsFor("Word", "a");
    keywords.andOptionalInfo = MOXOptionalInfo{{"Icon Image", "no image"},
                                               {"Description", icon()},
                                               {"SVLaunchURL", std::vector<MOXFileType>()},
                                               {"Publisher Name", icon()},
                                               {"Content Address", icon()}};
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywords));
    for (const char* key : {"Icon", "Korvan Description", "Stavenor Launch URL", "Korvan Publisher Name",
                            "Korvan Content Address", "Tavamor Name"}) {
        EXPECT_EQ(entryAt(store->root(), {"a"}, "Word")->find(key), nullptr) << key;
    }
}

TEST_F(SubscribingInThePlistStore, The_folder_is_made_and_the_error_place_is_cleared) {
    const auto store = open(node());
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywordsFor("Word", "a/b/c"), &error));
    EXPECT_FALSE(error);
    EXPECT_EQ(store->folders(), (Paths{"a", "a/b", "a/b/c"}));
}

TEST_F(SubscribingInThePlistStore, The_same_name_and_type_replaces_the_entry_with_all_its_keys) {
    const auto store = open(node());
    MOXSubscribeKeywords keywords = keywordsFor("Word", "a");
    keywords.andOptionalInfo = MOXOptionalInfo{{"Icon Image", icon()}};
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywords));
    Dictionary* subscriptions =
        store->root().dictionary("Folders")->dictionary("a")->dictionary("Subscriptions");
    subscriptions->dictionary("Word")->set("Unknown", "value");
    keywords.andOptionalInfo = std::nullopt;
    EXPECT_TRUE(store->subscribeToResource("Farm:Other", keywords));
    const Dictionary* stored = entryAt(store->root(), {"a"}, "Word");
    EXPECT_EQ(*stored->string("Korvan Server Unique Application Name"), "Farm:Other");
    EXPECT_EQ(stored->find("Icon"), nullptr);
    EXPECT_EQ(stored->find("Unknown"), nullptr);
    EXPECT_EQ(store->numberOfSubscriptions(), 1U);
}

TEST_F(SubscribingInThePlistStore, An_entry_of_another_type_stays_and_the_conflict_is_logged) {
    const auto store = open(node());
    MOXSubscribeKeywords keywords = keywordsFor("Word", "a");
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywords));
    const Dictionary before = store->root();
    keywords.ofType = MOXSubscriptionType::Desktop;
    std::optional<Error> error;
    EXPECT_FALSE(store->subscribeToResource("Farm:Desk", keywords, &error));
    EXPECT_TRUE(isFrameworkError(error, 2004));
    EXPECT_FALSE(store->subscribeToResource("Farm:Desk", keywords));
    EXPECT_EQ(store->root(), before);
    const std::string line =
        "-[MOXPlistSubscriptionManager subscribeToResource:ofType:onStoreNamed:withInternalStoreURL:"
        "andExternalStoreURL:usingNorvikType:andNorvikAuthType:withFileName:inFolder:andOptionalInfo:error:]"
        " Can't update subscription because something else exists at path (a/Word)";
    EXPECT_EQ(logLines(), (Paths{line, line}));
}

TEST_F(SubscribingInThePlistStore, An_entry_without_a_known_type_is_another_type) {
    const auto store = open(node({{"a", node({}, {{"Word", entry({.type = "application"})}})}}));
    std::optional<Error> error;
    EXPECT_FALSE(store->subscribeToResource("Farm:Word", keywordsFor("Word", "a"), &error));
    EXPECT_TRUE(isFrameworkError(error, 2004));
}

TEST_F(SubscribingInThePlistStore, A_conflict_has_saved_the_store_and_keeps_the_folder) {
    const auto store = open(node({{"a", node({{"b", node({}, {{"Word", entry({.type = "Desktop"})}})}})}}));
    store->root().set("Unsaved", "until then");
    EXPECT_FALSE(store->subscribeToResource("Farm:Word", keywordsFor("Word", "a/b")));
    EXPECT_EQ(treeOnDisk(), store->root());
    EXPECT_EQ(store->folders(), (Paths{"a", "a/b"}));
}

TEST_F(SubscribingInThePlistStore, Words_that_are_never_stored_leave_their_keys_out) {
    const auto store = open(node());
    MOXSubscribeKeywords keywords = keywordsFor("Word", "a");
    keywords.usingNorvikType = static_cast<MOXNorvikType>(5);
    keywords.andNorvikAuthType = static_cast<MOXNorvikAuthType>(-1);
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywords));
    EXPECT_EQ(entryAt(store->root(), {"a"}, "Word")->find("Norvik Type"), nullptr);
    EXPECT_EQ(entryAt(store->root(), {"a"}, "Word")->find("Norvik Auth Type"), nullptr);
}

// Look up

TEST_F(SubscribingInThePlistStore, A_look_up_gives_a_detached_record_and_leaves_the_error_place_alone) {
    const auto store = open(node({{"a", node({}, {{"One", entry()}})}}));
    std::optional<Error> error = staleError();
    const auto record = store->subscriptionAtPath("a/One", &error);
    ASSERT_NE(std::dynamic_pointer_cast<MOXPlistSubscription>(record), nullptr);
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(record->schemaVersion(), 0U) << "as stored, not forced";
    record->setResourceName("changed");
    EXPECT_EQ(store->subscriptionAtPath("a/One")->resourceName(), "Farm:Word");
}

TEST_F(SubscribingInThePlistStore, A_look_up_tells_an_empty_path_a_missing_and_a_bad_subscription_apart) {
    const auto store = open(node({{"a", node({}, {{"Bad", PropertyList("text")}})}, {"b", Dictionary()}}));
    std::optional<Error> error;
    EXPECT_EQ(store->subscriptionAtPath("", &error), nullptr);
    EXPECT_TRUE(isInvalidArgument(error));
    for (const char* path : {"a/None", "None", "b/None", "/", "a"}) {
        error.reset();
        EXPECT_EQ(store->subscriptionAtPath(path, &error), nullptr);
        EXPECT_TRUE(isFrameworkError(error, 2008)) << path;
    }
    error.reset();
    EXPECT_EQ(store->subscriptionAtPath("a/Bad", &error), nullptr);
    EXPECT_TRUE(isFrameworkError(error, 2009));
    for (const char* path : {"", "a/None", "a/Bad"})
        EXPECT_FALSE(store->isSubscriptionAtPath(path)) << path;
    EXPECT_EQ(logLines(), Paths());
}

TEST_F(SubscribingInThePlistStore, A_look_up_through_missing_folders_finds_the_ancestors_subscription) {
    const auto store = open(node({{"a", node({}, {{"N", entry()}})}}, {{"Bare", entry()}}));
    EXPECT_TRUE(store->isSubscriptionAtPath("a/missing/N"));
    EXPECT_TRUE(store->isSubscriptionAtPath("missing/Bare"));
    EXPECT_TRUE(store->isSubscriptionAtPath("/Bare"));
    EXPECT_TRUE(store->isSubscriptionAtPath("Bare"));
}

TEST_F(SubscribingInThePlistStore,
       A_folder_of_its_name_hides_a_subscription_from_look_up_but_not_from_removal) {
    const auto store = open(node({{"folder", node({{"N", node()}}, {{"N", entry()}})}}));
    std::optional<Error> error;
    EXPECT_FALSE(store->isSubscriptionAtPath("folder/N"));
    EXPECT_EQ(store->subscriptionAtPath("folder/N", &error), nullptr);
    EXPECT_TRUE(isFrameworkError(error, 2008));
    EXPECT_TRUE(store->removeSubscriptionAtPath("folder/N"));
    EXPECT_EQ(store->subscriptionPaths(), Paths());
    EXPECT_EQ(store->folders(), (Paths{"folder", "folder/N"}));
}

// Remove

TEST_F(SubscribingInThePlistStore, Removing_takes_the_entry_away_and_leaves_the_error_place_alone) {
    const auto store = open(node({{"a", node({}, {{"One", entry()}, {"Two", entry()}})}}));
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->removeSubscriptionAtPath("a/One", &error));
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(treeOnDisk(), node({{"a", node({}, {{"Two", entry()}})}}));
    EXPECT_EQ(store->subscriptionPaths(), Paths{"a/Two"});
}

TEST_F(SubscribingInThePlistStore, Removing_nothing_is_an_error_and_does_not_save) {
    const auto store = open(node({{"a", node({}, {{"Bad", PropertyList("text")}})}, {"b", Dictionary()}}));
    std::optional<Error> error;
    EXPECT_FALSE(store->removeSubscriptionAtPath("", &error));
    EXPECT_TRUE(isInvalidArgument(error));
    for (const char* path : {"a/None", "None", "b/None", "a/Bad"}) {
        error.reset();
        EXPECT_FALSE(store->removeSubscriptionAtPath(path, &error));
        EXPECT_TRUE(isFrameworkError(error, 2008)) << path;
        EXPECT_FALSE(store->removeSubscriptionAtPath(path));
    }
    EXPECT_EQ(saves(), 0U);
}

TEST_F(SubscribingInThePlistStore, Removing_through_missing_folders_removes_the_ancestors_subscription) {
    const auto store = open(node({{"a", node({}, {{"N", entry()}})}}));
    EXPECT_TRUE(store->removeSubscriptionAtPath("a/missing/N"));
    EXPECT_EQ(store->subscriptionPaths(), Paths());
}

// What the model does not have

TEST_F(SubscribingInThePlistStore, The_batch_update_of_this_model_does_nothing) {
    const auto store = open(node({{"a", node({}, {{"One", entry()}})}}));
    int calls = 0;
    store->updateSubscriptionsAtPathsStoreNameHandler(
        {"a/One", "missing"}, [&](const std::string&, const std::optional<Error>&, bool&) { ++calls; },
        [&](const std::optional<std::string>&) { return ++calls, std::nullopt; },
        [&](const std::shared_ptr<MOXSubscription>&) { return ++calls, std::nullopt; });
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(saves(), 0U);
}

TEST_F(SubscribingInThePlistStore, The_common_batch_update_is_still_the_bases_which_asserts) {
    const auto store = open(node());
    EXPECT_THROW(store->updateSubscriptionsAtPaths({}, {}, {}, {}), InternalInconsistencyException);
    ASSERT_EQ(assertions->failures().size(), 1U);
    EXPECT_EQ(assertions->failures().back().line, 170);
    EXPECT_EQ(assertions->failures().back().file,
              "Frameworks/MOXSubscribe/Source/SDK/MOXSubscriptionManager");
}

TEST_F(SubscribingInThePlistStore, File_names_and_paths_of_records_are_not_supported) {
    const auto store = open(node());
    const auto record = MOXPlistSubscription::subscription();
    EXPECT_THROW(store->fileNameForSubscription(record), InternalInconsistencyException);
    EXPECT_THROW(store->pathForSubscription(record), InternalInconsistencyException);
    letAssertions(Then::Returns);
    EXPECT_EQ(store->fileNameForSubscription(record), std::nullopt);
    EXPECT_EQ(store->pathForSubscription(nullptr), std::nullopt);
    const auto failures = assertions->failures();
    ASSERT_EQ(failures.size(), 2U);
    EXPECT_EQ(failures[0].line, 759);
    EXPECT_EQ(failures[0].description, "-[MOXPlistSubscriptionManager fileNameForSubscription:] is not "
                                       "implemented for plist subscriptions");
    EXPECT_EQ(failures[1].line, 749);
    EXPECT_EQ(
        failures[1].description,
        "-[MOXPlistSubscriptionManager pathForSubscription:] is not implemented for plist subscriptions");
    EXPECT_EQ(failures[1].file, "Frameworks/MOXSubscribe/Source/SDK/MOXPlistSubscriptionManager");
    EXPECT_TRUE(assertions->unrecognized().empty());
}

} // namespace
} // namespace mox::test
