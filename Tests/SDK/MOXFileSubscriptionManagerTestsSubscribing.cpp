#include "SDK/BundleStore.hpp"

#include <cerrno>

namespace mox::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SubscribingAsStubs : public BundleStoreTest {
protected:
    SubscribingAsStubs() { makeTemplates(); }

    MOXSubscribeKeywords keywords(std::string_view fileName = "Word.app") const {
        return keywordsFor(fileName, inApps("Office"));
    }
};

struct Incomplete {
    std::string_view name;
    std::string_view resourceName;
    void (*spoil)(MOXSubscribeKeywords&);
};

class SubscribingIncompletely : public SubscribingAsStubs, public testing::WithParamInterface<Incomplete> {};

INSTANTIATE_TEST_SUITE_P(
    EachArgument, SubscribingIncompletely,
    testing::Values(
        Incomplete{"resourceName", "", [](MOXSubscribeKeywords&) {}},
        Incomplete{"typeZero", "Word", [](MOXSubscribeKeywords& k) { k.ofType = MOXSubscriptionType(0); }},
        Incomplete{"typeThree", "Word", [](MOXSubscribeKeywords& k) { k.ofType = MOXSubscriptionType(3); }},
        Incomplete{"typeNegative", "Word",
                   [](MOXSubscribeKeywords& k) { k.ofType = MOXSubscriptionType(-1); }},
        Incomplete{"noURL", "Word", [](MOXSubscribeKeywords& k) { k.withInternalStoreURL = std::nullopt; }},
        Incomplete{"emptyURLs", "Word",
                   [](MOXSubscribeKeywords& k) { k.withInternalStoreURL = k.andExternalStoreURL = ""; }},
        Incomplete{"fileName", "Word", [](MOXSubscribeKeywords& k) { k.withFileName = ""; }},
        Incomplete{"folder", "Word", [](MOXSubscribeKeywords& k) { k.inFolder = ""; }}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_P(SubscribingIncompletely, Is_an_invalid_argument_and_touches_nothing) {
    const auto store = open();
    MOXSubscribeKeywords arguments = keywords();
    GetParam().spoil(arguments);
    std::optional<Error> error = staleError();
    EXPECT_FALSE(store->subscribeToResource(GetParam().resourceName, arguments, &error));
    EXPECT_TRUE(isInvalidArgument(error));
    EXPECT_FALSE(store->subscribeToResource(GetParam().resourceName, arguments));
    EXPECT_FALSE(isThere(inApps()));
    EXPECT_THAT(store->folders(), ElementsAre(inApps()));
    EXPECT_THAT(registrations(), IsEmpty());
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SubscribingAsStubs, The_folder_is_made_and_the_stub_is_written_and_listed) {
    const auto store = open();
    std::optional<Error> error = staleError();
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywords(), &error));
    EXPECT_THAT(store->subscriptionPaths(), ElementsAre(inApps("Office/Word.app")));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("Office"), inApps()));
    EXPECT_TRUE(store->isSubscriptionAtPath(inApps("Office/Word.app")));
    EXPECT_EQ(error, std::nullopt);
    EXPECT_THAT(logLines(), IsEmpty());
}

TEST_F(SubscribingAsStubs, The_record_gets_all_arguments_unchanged) {
    const auto store = open();
    MOXSubscribeKeywords arguments = keywords();
    arguments.andExternalStoreURL = "https://store.example/external";
    ASSERT_TRUE(store->subscribeToResource("Farm:Word", arguments));
    const auto record = store->subscriptionAtPath(inApps("Office/Word.app"));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->resourceName(), "Farm:Word");
    EXPECT_EQ(record->type(), MOXSubscriptionType::Application);
    EXPECT_EQ(record->storeName(), "Store");
    EXPECT_EQ(record->internalStoreURL(), "https://store.example/internal");
    EXPECT_EQ(record->externalStoreURL(), "https://store.example/external");
    EXPECT_EQ(record->norvikType(), MOXNorvikType::Advanced);
    EXPECT_EQ(record->norvikAuthType(), MOXNorvikAuthType::RSA);
    EXPECT_EQ(record->fileName(), "Word.app");
    const Dictionary alias = dictionaryAt(inApps("Office/Word.app") + "/" + std::string(aliasFile));
    ASSERT_NE(alias.string("cloneName"), nullptr);
    EXPECT_EQ(*alias.string("cloneName"), "Word.app");
}

TEST_F(SubscribingAsStubs, A_desktop_is_made_from_the_other_template) {
    const auto store = open();
    MOXSubscribeKeywords arguments = keywords("Desktop.app");
    arguments.ofType = MOXSubscriptionType::Desktop;
    ASSERT_TRUE(store->subscribeToResource("Farm:Desktop", arguments));
    EXPECT_TRUE(isThere(inApps("Office/Desktop.app") + "/" + std::string(desktopIcon)));
}

TEST_F(SubscribingAsStubs, An_empty_or_missing_store_name_and_one_address_are_enough) {
    const auto store = open();
    MOXSubscribeKeywords arguments = keywords();
    arguments.onStoreNamed = "";
    EXPECT_TRUE(store->subscribeToResource("Word", arguments));
    arguments = keywords("Other.app");
    arguments.onStoreNamed = std::nullopt;
    arguments.withInternalStoreURL = std::nullopt;
    arguments.andExternalStoreURL = "https://store.example/external";
    EXPECT_TRUE(store->subscribeToResource("Word", arguments));
}

TEST_F(SubscribingAsStubs, Optional_information_goes_into_the_record) {
    const auto store = open();
    MOXSubscribeKeywords arguments = keywords();
    arguments.andOptionalInfo =
        MOXOptionalInfo{{"Icon Image", imageOfSides({32})},
                        {"Description", "A word processor"},
                        {"SVLaunchURL", "https://store.example/launch"},
                        {"Publisher Name", "Publisher"},
                        {"Content Address", "Content"},
                        {"FileTypes", std::vector{MOXFileType{"Text", {".txt", ".text"}, "Text file"}}},
                        {"Other", "ignored"}};
    ASSERT_TRUE(store->subscribeToResource("Farm:Word", arguments));
    const auto record = store->subscriptionAtPath(inApps("Office/Word.app"));
    ASSERT_NE(record, nullptr);
    ASSERT_TRUE(record->icon());
    EXPECT_EQ(record->icon()->representations.front().pixelsWide, 32U);
    EXPECT_EQ(record->subscriptionDescription(), "A word processor");
    EXPECT_EQ(record->launchURL(), "https://store.example/launch");
    EXPECT_EQ(record->publisherName(), "Publisher");
    EXPECT_EQ(record->contentAddress(), "Content");
    ASSERT_TRUE(record->fileTypes());
    EXPECT_THAT(*record->fileTypes(), ElementsAre(MOXFileType{"Text", {".txt", ".text"}, "Text file"}));
}

TEST_F(SubscribingAsStubs, Information_that_is_absent_or_of_a_wrong_type_is_nil) {
    const auto store = open();
    MOXSubscribeKeywords arguments = keywords();
    arguments.andOptionalInfo =
        MOXOptionalInfo{{"Icon Image", "text"}, {"Description", imageOfSides({32})}, {"FileTypes", "text"}};
    ASSERT_TRUE(store->subscribeToResource("Farm:Word", arguments));
    const auto record = store->subscriptionAtPath(inApps("Office/Word.app"));
    EXPECT_EQ(record->subscriptionDescription(), std::nullopt);
    EXPECT_EQ(record->launchURL(), std::nullopt);
    EXPECT_EQ(record->publisherName(), std::nullopt);
    EXPECT_EQ(record->contentAddress(), std::nullopt);
    EXPECT_EQ(sidesInIconFile(bytesAt(inApps("Office/Word.app") + "/" + std::string(applicationIcon))),
              std::vector<std::uint32_t>{48})
        << "the template's";
    EXPECT_THAT(*record->fileTypes(), ElementsAre(MOXFileType{"Own type", {".own"}, "Type of the template"}));
}

/// Gives a record everything that optional information may hold.
void fill(MOXFileSubscription& record) {
    record.setIcon(imageOfSides({32}));
    record.setSubscriptionDescription("A word processor");
    record.setLaunchURL("https://store.example/launch");
    record.setPublisherName("Publisher");
    record.setContentAddress("Content");
    record.setFileTypes(std::vector{MOXFileType{"Text", {".txt"}, "Text file"}});
}

TEST_F(SubscribingAsStubs, Information_that_is_absent_takes_away_what_the_record_had) {
    const auto store = open();
    store->preparation = fill;
    MOXSubscribeKeywords arguments = keywords();
    arguments.andOptionalInfo = MOXOptionalInfo();
    ASSERT_TRUE(store->subscribeToResource("Farm:Word", arguments));
    const auto record = store->subscriptionAtPath(inApps("Office/Word.app"));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->subscriptionDescription(), std::nullopt);
    EXPECT_EQ(record->launchURL(), std::nullopt);
    EXPECT_EQ(record->publisherName(), std::nullopt);
    EXPECT_EQ(record->contentAddress(), std::nullopt);
    EXPECT_EQ(sidesInIconFile(bytesAt(inApps("Office/Word.app") + "/" + std::string(applicationIcon))),
              std::vector<std::uint32_t>{48})
        << "the template's";
    EXPECT_THAT(*record->fileTypes(), ElementsAre(MOXFileType{"Own type", {".own"}, "Type of the template"}));
}

TEST_F(SubscribingAsStubs, Without_optional_information_the_record_stays_as_it_was_made) {
    const auto store = open();
    store->preparation = fill;
    ASSERT_TRUE(store->subscribeToResource("Farm:Word", keywords()));
    const auto record = store->subscriptionAtPath(inApps("Office/Word.app"));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->subscriptionDescription(), "A word processor");
    EXPECT_EQ(record->launchURL(), "https://store.example/launch");
    EXPECT_EQ(record->publisherName(), "Publisher");
    EXPECT_EQ(record->contentAddress(), "Content");
    EXPECT_EQ(sidesInIconFile(bytesAt(inApps("Office/Word.app") + "/" + std::string(applicationIcon))),
              std::vector<std::uint32_t>{32});
    EXPECT_THAT(*record->fileTypes(), ElementsAre(MOXFileType{"Text", {".txt"}, "Text file"}));
}

TEST_F(SubscribingAsStubs, A_stub_of_the_same_name_and_type_is_made_current_in_place) {
    const auto store = open();
    ASSERT_TRUE(store->subscribeToResource("Farm:Word", keywords()));
    const std::string mark = makeFile("home/Applications/Office/Word.app/Contents/mark", "x");
    EXPECT_TRUE(store->subscribeToResource("Farm:Other", keywords()));
    EXPECT_EQ(store->subscriptionAtPath(inApps("Office/Word.app"))->resourceName(), "Farm:Other");
    EXPECT_TRUE(isThere(mark));
    EXPECT_EQ(store->numberOfSubscriptions(), 1U);
}

TEST_F(SubscribingAsStubs, What_is_no_stub_of_that_type_is_left_alone_and_the_arrays_are_not_rebuilt) {
    const std::string application = makeApplication("Office/Word.app");
    const auto store = open();
    makeStub("Unseen.app");
    std::optional<Error> error;
    EXPECT_FALSE(store->subscribeToResource("Farm:Word", keywords(), &error));
    EXPECT_TRUE(isStubError(error, 2004));
    EXPECT_THAT(logLines(), ElementsAre("-[MOXFileSubscription writeToFolder:withName:error:] Can't update "
                                        "subscription because something else exists at path (" +
                                        application + ")"));
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty()) << "not rebuilt";
    EXPECT_FALSE(isThere(application + "/" + std::string(aliasFile)));
}

TEST_F(SubscribingAsStubs, A_folder_that_cannot_be_made_is_that_step_s_error) {
    const std::string file = makeFile("home/Applications/Office", "x");
    const auto store = open();
    std::optional<Error> error;
    EXPECT_FALSE(store->subscribeToResource("Farm:Word", keywords(), &error));
    EXPECT_TRUE(isStubError(error, 2003));
    EXPECT_EQ(bytesAt(file), "x");
    MOXSubscribeKeywords below = keywordsFor("Word.app", inApps("Office/below"));
    EXPECT_FALSE(store->subscribeToResource("Farm:Word", below, &error));
    EXPECT_TRUE(isErrorOver(error, 2003, 516));
    EXPECT_THAT(registrations(), IsEmpty());
}

TEST_F(SubscribingAsStubs, The_folder_stays_and_is_listed_when_no_record_can_be_made) {
    const auto store = open();
    store->makesNoRecords = true;
    std::optional<Error> error;
    EXPECT_FALSE(store->subscribeToResource("Farm:Word", keywords(), &error));
    EXPECT_TRUE(isStubError(error, 2001));
    EXPECT_FALSE(store->subscribeToResource("Farm:Word", keywords()));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("Office"), inApps()));
    EXPECT_THAT(namesIn(inApps("Office")), IsEmpty());
}

TEST_F(SubscribingAsStubs, The_folder_stays_and_is_listed_when_the_stub_cannot_be_written) {
    const auto store = open();
    test.fileSystem.failCall(FileSystemOperation::CopyItem, 1, ENOSPC, FaultDuration::Once);
    std::optional<Error> error;
    EXPECT_FALSE(store->subscribeToResource("Farm:Word", keywords(), &error));
    EXPECT_TRUE(isStubError(error, 2004));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("Office"), inApps()));
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
}

TEST_F(SubscribingAsStubs, The_new_folder_is_listed_before_the_stub_is_written) {
    const auto store = open();
    MOXSubscribeKeywords arguments = keywordsFor("Word.app", inApps("a/b/c"));
    arguments.ofType = MOXSubscriptionType::Desktop;
    test.fileSystem.failCall(FileSystemOperation::CopyItem, 1, EIO, FaultDuration::Once);
    EXPECT_FALSE(store->subscribeToResource("Farm:Word", arguments));
    EXPECT_THAT(store->folders(), ElementsAre(inApps("a/b/c"), inApps()))
        << "only the folder itself was added, not those made on the way";
}

TEST_F(SubscribingAsStubs, A_stub_outside_the_applications_folder_is_written_but_not_listed) {
    const auto store = open();
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywordsFor("Word.app", scratch.path("elsewhere"))));
    EXPECT_TRUE(store->isSubscriptionAtPath(scratch.path("elsewhere/Word.app")));
    EXPECT_THAT(store->subscriptionPaths(), IsEmpty());
}

TEST_F(SubscribingAsStubs, The_desktop_is_told_once_and_its_caches_are_refreshed_once) {
    const auto store = open();
    ASSERT_TRUE(store->subscribeToResource("Farm:Word", keywords()));
    EXPECT_THAT(test.launchRegistration.calls,
                ElementsAre("begin", "register " + inApps("Office/Word.app"), "end"));
}

TEST_F(SubscribingAsStubs, A_registration_that_fails_is_no_failure) {
    const auto store = open();
    test.launchRegistration.status = EACCES;
    EXPECT_TRUE(store->subscribeToResource("Farm:Word", keywords()));
    EXPECT_EQ(store->numberOfSubscriptions(), 1U);
}

TEST_F(SubscribingAsStubs, A_file_name_that_leads_elsewhere_is_refused) {
    const auto store = open();
    for (const std::string_view name : {"../Word.app", "a/b.app", ".", "..", "/Word.app"}) {
        std::optional<Error> error;
        EXPECT_FALSE(store->subscribeToResource("Farm:Word", keywords(name), &error)) << name;
        EXPECT_TRUE(isStubError(error, 2004)) << name;
    }
    EXPECT_THAT(namesIn(inApps("Office")), IsEmpty());
    EXPECT_THAT(namesIn(inApps()), ElementsAre("Office"));
}

} // namespace
} // namespace mox::test
