#include "SDK/StubBundles.hpp"
#include "Support/FolderInspection.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace mox::test {
namespace {

constexpr std::string_view writing = "-[MOXFileSubscription writeToFolder:withName:error:] ";

Lines lineOfWriting(const std::string& text) {
    return {std::string(writing) + text};
}

class FileSubscriptionWriting : public StubBundleTest {
protected:
    static Keywords keywords(MOXSubscriptionType type = MOXSubscriptionType::Application) {
        return {.resourceName = "Farm:Word",
                .type = type,
                .storeName = "Store",
                .internalStoreURL = "https://store.example/internal",
                .externalStoreURL = std::nullopt,
                .norvikType = MOXNorvikType::Advanced,
                .norvikAuthType = MOXNorvikAuthType::RSA};
    }
    static std::shared_ptr<MOXFileSubscription> made(std::optional<std::string> fileName = "Word.app") {
        return MOXFileSubscription::subscriptionWithFileName(std::move(fileName), keywords());
    }
    static std::shared_ptr<MOXFileSubscription> madeDesktop() {
        return MOXFileSubscription::subscriptionWithFileName("Word.app",
                                                             keywords(MOXSubscriptionType::Desktop));
    }

    /// Writes `record` into the applications folder, with an error in the caller's place already.
    bool write(const std::shared_ptr<MOXFileSubscription>& record) {
        error = staleError();
        return record->writeToFolder(apps, "Word.app", &error);
    }
    /// Whether a refused writing left no trace: of the record and in the scratch folder as it was `before`.
    void expectNothingDone(const MOXFileSubscription& record,
                           const std::map<std::string, std::string>& before) const {
        EXPECT_EQ(record.path(), std::nullopt);
        EXPECT_EQ(test.launchRegistration.calls, Lines());
        EXPECT_EQ(contentsOfTree(scratch.path()), before);
    }
    static Dictionary aliasOf(const std::string& bundle) {
        return dictionaryAt(bundle + "/" + std::string(aliasFile));
    }
    std::map<std::string, std::string> everything() const { return contentsOfTree(scratch.path()); }

    const std::string stub = apps + "/Word.app";
    std::optional<Error> error;
};

TEST_F(FileSubscriptionWriting, Makes_a_stub_from_the_template) {
    makeTemplates();
    const auto record = made();
    record->setPublisherName("Publisher");
    record->setIcon(imageOfSides({16, 32}));
    record->setFileTypes({{{.group = "Text", .extensions = {".txt"}, .description = "A text"}}});
    EXPECT_TRUE(write(record));
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(logLines(), Lines());
    EXPECT_EQ(record->path(), stub);
    EXPECT_EQ(record->fileName(), "Word.app");
    EXPECT_EQ(test.launchRegistration.callsWithinBatches(), Lines{"register " + stub});

    Dictionary infoPlist = *templateContent().infoPlist;
    infoPlist.set("CFBundleName", "Word");
    infoPlist.set("CFBundleIdentifier", "com.korvan.TarvioAlias-Farm-Word");
    infoPlist.set("CFBundleDocumentTypes",
                  Array{dictionaryOf({{"CFBundleTypeName", "Text"},
                                      {"CFBundleTypeRole", "Editor"},
                                      {"CFBundleTypeExtensions", Array{"txt"}},
                                      {"CFBundleTypeIconFile", "DockApplication.icns"}})});
    EXPECT_EQ(infoPlistOf(stub), infoPlist);
    EXPECT_EQ(stringsOf(stub), "\"Own type\" = \"Type of the template\";\n\n\n/* Type names */\n\n"
                               "\"Text\" = \"A text\";\n");
    EXPECT_EQ(sidesInIconFile(bytesAt(stub + "/" + std::string(applicationIcon))),
              (std::vector<std::uint32_t>{16, 32}));
    EXPECT_EQ(aliasOf(stub), dictionaryOf({{"cloneName", "Word.app"},
                                           {"Korvan Server Unique Application Name", "Farm:Word"},
                                           {"Korvan Application Type", "Application"},
                                           {"Store Name", "Store"},
                                           {"Internal Store URL", "https://store.example/internal"},
                                           {"Norvik Type", "advanced"},
                                           {"Norvik Auth Type", "rsa"},
                                           {"Korvan Publisher Name", "Publisher"},
                                           {"Tavamor Name", "Publisher#Word"},
                                           {"SchemaVersion", PropertyList::integer(1)}}));

    // Whatever else the template holds is copied, and nothing more is there.
    auto copied = contentsOfTree(stub);
    auto original = contentsOfTree(scratch.path("DockApplication.app"));
    EXPECT_EQ(copied.erase(std::string(aliasFile)), 1U);
    for (const std::string_view written :
         {std::string_view("Contents/Info.plist"), stringsFile, applicationIcon}) {
        copied.erase(std::string(written));
        original.erase(std::string(written));
    }
    EXPECT_EQ(copied, original);
    EXPECT_EQ(namesIn(apps), Lines{"Word.app"});
}

TEST_F(FileSubscriptionWriting, What_was_written_is_read_back) {
    makeTemplates();
    const auto record = made();
    const std::vector<MOXFileType> types = {
        {.group = "Text", .extensions = {".txt", ".text"}, .description = "A text"},
        {.group = "Drawing", .extensions = {}, .description = "A drawing"}};
    record->setIcon(imageOfSides({32}));
    record->setFileTypes(types);
    ASSERT_TRUE(write(record));
    const auto read = MOXFileSubscription::subscriptionWithPath(stub);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->dictionaryRepresentation(), record->dictionaryRepresentation());
    EXPECT_EQ(read->fileTypes(), types);
    EXPECT_EQ(read->icon(), imageOfSides({32}));
    EXPECT_EQ(read->subscriptionVersion(), "2.0.0.0");
    EXPECT_FALSE(read->needsUpdate());
}

TEST_F(FileSubscriptionWriting, What_was_set_stays_as_it_was_set) {
    makeTemplates();
    const auto record = made();
    const std::vector<MOXFileType> types = {{.group = "Text", .extensions = {}, .description = std::nullopt}};
    record->setIcon(imageOfSides({17, 32}));
    record->setFileTypes(types);
    ASSERT_TRUE(write(record));
    EXPECT_EQ(record->icon(), imageOfSides({17, 32}));
    EXPECT_EQ(record->fileTypes(), types);
}

TEST_F(FileSubscriptionWriting, A_desktops_stub_is_made_from_the_desktops_template) {
    makeTemplates();
    const auto record = madeDesktop();
    record->setIcon(imageOfSides({32}));
    EXPECT_TRUE(write(record));
    EXPECT_TRUE(isThere(stub + "/" + std::string(desktopIcon)));
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(stub)->icon(), imageOfSides({32}));
}

TEST_F(FileSubscriptionWriting, Without_optional_information_the_template_s_icon_and_types_stay) {
    makeTemplates();
    EXPECT_TRUE(write(made()));
    EXPECT_EQ(logLines(), Lines());
    auto copied = contentsOfTree(stub);
    auto original = contentsOfTree(scratch.path("DockApplication.app"));
    EXPECT_EQ(copied.erase(std::string(aliasFile)), 1U);
    EXPECT_EQ(copied.erase("Contents/Info.plist") + original.erase("Contents/Info.plist"), 2U);
    EXPECT_EQ(copied, original);
}

TEST_F(FileSubscriptionWriting, A_template_that_is_a_link_stands_for_the_bundle_that_it_leads_to) {
    const std::string bundle = makeBundle("Elsewhere/Real.app", templateContent());
    const auto before = contentsOfTree(bundle);
    const std::string link = scratch.path("DockApplication.app");
    for (const std::string& target : {bundle, std::string("Elsewhere/Real.app")}) {
        ASSERT_EQ(::symlink(target.c_str(), link.c_str()), 0);
        const std::string folder = makeFolder("Apps/" + std::to_string(target.size()));
        EXPECT_TRUE(made()->writeToFolder(folder, ""));
        EXPECT_EQ(contentsOfTree(folder).at("Word.app"), "/");
        EXPECT_EQ(bytesAt(folder + "/Word.app/Contents/MacOS/Launcher"), "program");
        EXPECT_TRUE(contentsOfTree(bundle) == before) << target;
        ASSERT_EQ(::unlink(link.c_str()), 0);
    }
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionWriting, The_name_argument_is_ignored) {
    makeTemplates();
    const auto record = made();
    EXPECT_TRUE(record->writeToFolder(apps, "Another.app"));
    EXPECT_EQ(record->path(), stub);
    EXPECT_EQ(namesIn(apps), Lines{"Word.app"});
}

TEST_F(FileSubscriptionWriting, The_file_name_gets_no_extension) {
    makeTemplates();
    EXPECT_TRUE(write(made("Word 1.5 beta")));
    EXPECT_EQ(namesIn(apps), Lines{"Word 1.5 beta"});
    EXPECT_EQ(*infoPlistOf(apps + "/Word 1.5 beta").string("CFBundleName"), "Word 1");
}

TEST_F(FileSubscriptionWriting, A_slash_at_the_end_of_the_folder_is_no_part_of_the_stubs_path) {
    makeTemplates();
    const auto record = made();
    EXPECT_TRUE(record->writeToFolder(apps + "/", ""));
    EXPECT_EQ(record->path(), stub);
    EXPECT_EQ(test.launchRegistration.callsWithinBatches(), Lines{"register " + stub});
}

TEST_F(FileSubscriptionWriting, A_record_with_a_path_is_written_under_its_last_component) {
    makeTemplates();
    const auto record = made();
    ASSERT_TRUE(write(record));
    record->setFileName("Never seen.app");
    const std::string other = makeFolder("Other");
    EXPECT_TRUE(record->writeToFolder(other, ""));
    EXPECT_EQ(record->path(), other + "/Word.app");
    EXPECT_EQ(namesIn(other), Lines{"Word.app"});
    EXPECT_EQ(namesIn(apps), Lines{"Word.app"});
    EXPECT_EQ(*infoPlistOf(other + "/Word.app").string("CFBundleName"), "Word");
}

TEST_F(FileSubscriptionWriting, A_record_read_from_a_stub_takes_its_types_and_icon_to_the_next_one) {
    makeTemplates();
    const auto first = made();
    first->setIcon(imageOfSides({32}));
    first->setFileTypes({{{.group = "Text", .extensions = {".txt"}, .description = "A text"}}});
    ASSERT_TRUE(write(first));
    const std::string other = makeFolder("Other");
    ASSERT_TRUE(MOXFileSubscription::subscriptionWithPath(stub)->writeToFolder(other, ""));
    const auto second = MOXFileSubscription::subscriptionWithPath(other + "/Word.app");
    EXPECT_EQ(second->icon(), imageOfSides({32}));
    EXPECT_EQ(second->fileTypes(), first->fileTypes());
}

TEST_F(FileSubscriptionWriting, A_stub_of_the_same_type_is_refreshed_in_place) {
    makeTemplates();
    const auto first = made();
    first->setIcon(imageOfSides({16}));
    first->setFileTypes({{{.group = "Old", .extensions = {".old"}, .description = "Old"}}});
    ASSERT_TRUE(write(first));
    makeFile("Apps/Word.app/Contents/Resources/Added by the user", "kept");
    makeBundle("DockApplication.app", templateContent("3.0"));
    test.launchRegistration.calls.clear();
    test.fileSystem.resetCounts();

    const auto second = MOXFileSubscription::subscriptionWithFileName(
        "Word.app", {.resourceName = "Farm:Other", .type = MOXSubscriptionType::Application});
    second->setIcon(imageOfSides({32}));
    second->setFileTypes({{{.group = "New", .extensions = {".new"}, .description = "New"}}});
    EXPECT_TRUE(write(second));
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(logLines(), Lines());
    EXPECT_EQ(second->path(), stub);
    EXPECT_EQ(test.launchRegistration.callsWithinBatches(), Lines{"register " + stub});
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::CopyItem), 0U);
    EXPECT_TRUE(isThere(stub + "/Contents/Resources/Added by the user"));
    // Not a copy of the newer template: the stub's version stays.
    EXPECT_EQ(*infoPlistOf(stub).string("KorvanVersionString"), "2.0");
    EXPECT_EQ(*infoPlistOf(stub).string("CFBundleIdentifier"), "com.korvan.TarvioAlias-Farm-Other");
    EXPECT_EQ(aliasOf(stub), second->dictionaryRepresentation());
    const auto read = MOXFileSubscription::subscriptionWithPath(stub);
    EXPECT_EQ(read->icon(), imageOfSides({32}));
    EXPECT_EQ(read->fileTypes(), second->fileTypes());
}

TEST_F(FileSubscriptionWriting, A_stub_that_was_renamed_is_refreshed_by_a_new_record_under_its_new_name) {
    makeTemplates();
    ASSERT_TRUE(write(made()));
    const std::string renamed = apps + "/Other.app";
    ASSERT_EQ(::rename(stub.c_str(), renamed.c_str()), 0);
    EXPECT_TRUE(write(made("Other.app")));
    EXPECT_EQ(namesIn(apps), Lines{"Other.app"});
    EXPECT_EQ(*infoPlistOf(renamed).string("CFBundleName"), "Other");
    EXPECT_EQ(*aliasOf(renamed).string("cloneName"), "Other.app");
}

TEST_F(FileSubscriptionWriting,
       A_stub_that_was_renamed_keeps_its_clone_name_when_its_own_record_refreshes_it) {
    makeTemplates();
    ASSERT_TRUE(write(made()));
    const std::string renamed = apps + "/Other.app";
    ASSERT_EQ(::rename(stub.c_str(), renamed.c_str()), 0);
    EXPECT_TRUE(write(MOXFileSubscription::subscriptionWithPath(renamed)));
    EXPECT_EQ(namesIn(apps), Lines{"Other.app"});
    EXPECT_EQ(*infoPlistOf(renamed).string("CFBundleName"), "Other");
    EXPECT_EQ(*aliasOf(renamed).string("cloneName"), "Word.app");
}

TEST_F(FileSubscriptionWriting, The_seamless_name_follows_the_names_that_a_record_of_a_stub_was_given) {
    makeTemplates();
    const auto record = made();
    record->setPublisherName("Publisher");
    ASSERT_TRUE(write(record));
    EXPECT_EQ(*aliasOf(stub).string("Tavamor Name"), "Publisher#Word");
    const auto read = MOXFileSubscription::subscriptionWithPath(stub);
    read->setPublisherName("Another");
    read->setResourceName("Farm:Two: Words");
    EXPECT_TRUE(write(read));
    EXPECT_EQ(*aliasOf(stub).string("Tavamor Name"), "Another#Two: Words");
}

TEST_F(FileSubscriptionWriting, Each_refresh_appends_the_type_names_again) {
    makeTemplates();
    const auto record = made();
    record->setFileTypes({{{.group = "Text", .extensions = {".txt"}, .description = "A text"}}});
    const std::string block = "\n\n/* Type names */\n\n\"Text\" = \"A text\";\n";
    const std::string own = "\"Own type\" = \"Type of the template\";\n";
    ASSERT_TRUE(write(record));
    EXPECT_EQ(stringsOf(stub), own + block);
    ASSERT_TRUE(write(record));
    EXPECT_EQ(stringsOf(stub), own + block + block);
    ASSERT_TRUE(write(made()));
    EXPECT_EQ(stringsOf(stub), own + block + block);
}

TEST_F(FileSubscriptionWriting, A_refresh_needs_no_template) {
    makeTemplates();
    ASSERT_TRUE(write(made()));
    ASSERT_EQ(::rename(scratch.path("DockApplication.app").c_str(), scratch.path("Gone").c_str()), 0);
    EXPECT_TRUE(write(made()));
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionWriting, A_refresh_without_icon_and_types_leaves_those_of_the_stub) {
    makeTemplates();
    const auto first = made();
    first->setIcon(imageOfSides({16}));
    first->setFileTypes({{{.group = "Old", .extensions = {".old"}, .description = "Old"}}});
    ASSERT_TRUE(write(first));
    ASSERT_TRUE(write(made()));
    const auto read = MOXFileSubscription::subscriptionWithPath(stub);
    EXPECT_EQ(read->icon(), imageOfSides({16}));
    EXPECT_EQ(read->fileTypes(), first->fileTypes());
}

TEST_F(FileSubscriptionWriting, Any_package_with_an_alias_of_the_type_is_refreshed_whatever_it_was) {
    makeTemplates();
    makeBundle("Apps/Word.app", {.infoPlist = dictionaryOf({{"CFBundleIdentifier", "com.example.other"}}),
                                 .alias = dictionaryOf({{"Korvan Application Type", "Application"}})});
    EXPECT_TRUE(write(made()));
    EXPECT_EQ(*infoPlistOf(stub).string("CFBundleIdentifier"), "com.korvan.TarvioAlias-Farm-Word");
}

TEST_F(FileSubscriptionWriting, A_stub_elsewhere_is_refreshed_through_a_link) {
    makeTemplates();
    const std::string other = makeFolder("Other");
    ASSERT_TRUE(made()->writeToFolder(other, ""));
    ASSERT_EQ(::symlink("../Other/Word.app", stub.c_str()), 0);
    const auto record = MOXFileSubscription::subscriptionWithFileName(
        "Word.app", {.resourceName = "Farm:Other", .type = MOXSubscriptionType::Application});
    EXPECT_TRUE(write(record));
    EXPECT_EQ(record->path(), stub);
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(other + "/Word.app")->resourceName(), "Farm:Other");
}

TEST_F(FileSubscriptionWriting, A_quote_in_a_description_takes_all_descriptions_away) {
    makeTemplates();
    const auto record = made();
    record->setFileTypes({{{.group = "A", .extensions = {".a"}, .description = "Plain"},
                           {.group = "B", .extensions = {".b"}, .description = "The \"quoted\" one"}}});
    EXPECT_TRUE(write(record));
    EXPECT_EQ(logLines(), Lines());
    const auto types = MOXFileSubscription::subscriptionWithPath(stub)->fileTypes();
    EXPECT_EQ(types,
              (std::vector<MOXFileType>{{.group = "A", .extensions = {".a"}, .description = std::nullopt},
                                        {.group = "B", .extensions = {".b"}, .description = std::nullopt}}));
}

TEST_F(FileSubscriptionWriting, A_type_without_a_description_is_read_back_with_the_text_for_nil) {
    makeTemplates();
    const auto record = made();
    record->setFileTypes({{{.group = "A", .extensions = {".a"}, .description = std::nullopt}}});
    EXPECT_TRUE(write(record));
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(stub)->fileTypes()->front().description, "(null)");
}

TEST_F(FileSubscriptionWriting, A_stub_of_the_other_type_is_in_the_way_and_stays_untouched) {
    makeTemplates();
    ASSERT_TRUE(write(madeDesktop()));
    test.launchRegistration.calls.clear();
    const auto before = everything();
    const auto record = made();
    EXPECT_FALSE(write(record));
    EXPECT_TRUE(isStubError(error, 2004));
    EXPECT_EQ(logLines(), lineOfWriting("Can't update subscription because something else exists at path (" +
                                        stub + ")"));
    expectNothingDone(*record, before);
}

TEST_F(FileSubscriptionWriting, Whatever_is_no_stub_is_in_the_way_and_stays_untouched) {
    makeTemplates();
    makeFile("Apps/File", "bytes");
    makeFile("Apps/Folder/file", "bytes");
    makeBundle("Apps/Other.app", templateContent());
    const auto before = everything();
    for (const char* name : {"File", "Folder", "Other.app"}) {
        test.systemLog.clear();
        const auto record = made(name);
        EXPECT_FALSE(write(record));
        EXPECT_TRUE(isStubError(error, 2004)) << name;
        EXPECT_EQ(logLines(),
                  lineOfWriting("Can't update subscription because something else exists at path (" + apps +
                                "/" + name + ")"));
        expectNothingDone(*record, before);
    }
}

TEST_F(FileSubscriptionWriting, A_link_that_leads_nowhere_is_the_copys_failure_and_stays) {
    makeTemplates();
    ASSERT_EQ(::symlink("nowhere", stub.c_str()), 0);
    const auto before = everything();
    const auto record = made();
    EXPECT_FALSE(write(record));
    EXPECT_TRUE(isStubError(error, 2004));
    EXPECT_EQ(logLines(), lineOfWriting("Error copying subscription template"));
    expectNothingDone(*record, before);
}

TEST_F(FileSubscriptionWriting, Without_a_template_nothing_is_written) {
    const auto before = everything();
    const auto record = made();
    EXPECT_FALSE(write(record));
    EXPECT_TRUE(isStubError(error, 2002));
    EXPECT_EQ(logLines(), lineOfWriting("Error retrieving subscription template path"));
    expectNothingDone(*record, before);
}

TEST_F(FileSubscriptionWriting, A_missing_template_is_told_before_a_path_or_name_that_cannot_be_copied_to) {
    EXPECT_FALSE(made()->writeToFolder(makeFolder("Ca\xE9"), "", &error));
    EXPECT_TRUE(isStubError(error, 2002));
    EXPECT_FALSE(made("../Word.app")->writeToFolder(apps, "", &error));
    EXPECT_TRUE(isStubError(error, 2002));
}

TEST_F(FileSubscriptionWriting, A_record_of_another_type_has_no_template) {
    makeTemplates();
    const auto before = everything();
    const auto record =
        MOXFileSubscription::subscriptionWithFileName("Word.app", keywords(MOXSubscriptionType::Unknown));
    EXPECT_FALSE(write(record));
    EXPECT_TRUE(isStubError(error, 2002));
    EXPECT_EQ(logLines(), (Lines{"-[MOXFileSubscription templatePath] Unexpected subscription type (0)",
                                 std::string(writing) + "Error retrieving subscription template path"}));
    expectNothingDone(*record, before);
}

TEST_F(FileSubscriptionWriting, A_stub_without_a_type_is_refreshed_by_a_record_without_one) {
    makeBundle("Apps/Word.app", {.alias = Dictionary(), .files = {{std::string(stringsFile), ""}}});
    const auto record =
        MOXFileSubscription::subscriptionWithFileName("Word.app", keywords(MOXSubscriptionType::Unknown));
    record->setIcon(imageOfSides({16}));
    record->setFileTypes({{{.group = "Text", .extensions = {".txt"}, .description = "A text"}}});
    EXPECT_TRUE(write(record));
    EXPECT_EQ(infoPlistOf(stub),
              dictionaryOf({{"CFBundleName", "Word"},
                            {"CFBundleIdentifier", "(null)-Farm-Word"},
                            {"CFBundleDocumentTypes",
                             Array{dictionaryOf({{"CFBundleTypeName", "Text"},
                                                 {"CFBundleTypeRole", "Editor"},
                                                 {"CFBundleTypeExtensions", Array{"txt"}}})}}}));
    EXPECT_EQ(logLines(),
              (Lines{"-[MOXFileSubscription subscriptionBundleIDPrefix] Unexpected subscription type (0)",
                     "-[MOXFileSubscription templateIconName] Unexpected subscription type (0)",
                     "-[MOXFileSubscription templateIconName] Unexpected subscription type (0)",
                     std::string(writing) + "Error saving icon to path ((null))"}));
}

TEST_F(FileSubscriptionWriting, A_record_without_a_launch_alias_leaves_the_one_that_is_there) {
    makeBundle("Apps/Word.app", {.alias = Dictionary(), .files = {{std::string(applicationIcon), "old"}}});
    const std::string alias = bytesAt(stub + "/" + std::string(aliasFile));
    const auto record = MOXFileSubscription::subscriptionWithDictionary(std::nullopt);
    record->setPath("/Elsewhere/Word.app");
    EXPECT_FALSE(write(record));
    EXPECT_TRUE(isStubError(error, 2007));
    EXPECT_EQ(logLines().back(),
              lineOfWriting("Error writing launch alias for subscription at path (" + stub + ")").front());
    EXPECT_EQ(infoPlistOf(stub),
              dictionaryOf({{"CFBundleName", "Word"}, {"CFBundleIdentifier", "(null)-(null)"}}));
    EXPECT_EQ(bytesAt(stub + "/" + std::string(aliasFile)), alias);
    EXPECT_EQ(record->path(), "/Elsewhere/Word.app");
    EXPECT_EQ(test.launchRegistration.calls, Lines());
}

TEST_F(FileSubscriptionWriting, A_stub_in_a_folder_that_is_no_UTF_8_is_refreshed) {
    makeBundle("Ca\xE9/Word.app", {.alias = dictionaryOf({{"Korvan Application Type", "Application"}})});
    const auto record = made();
    EXPECT_TRUE(record->writeToFolder(scratch.path("Ca\xE9"), "", &error));
    EXPECT_EQ(error, std::nullopt);
    EXPECT_EQ(logLines(), Lines());
    EXPECT_EQ(record->path(), scratch.path("Ca\xE9/Word.app"));
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(*record->path())->resourceName(), "Farm:Word");
}

TEST_F(FileSubscriptionWriting, A_folder_that_is_no_UTF_8_is_refused_before_the_copy) {
    makeTemplates();
    const std::string folder = makeFolder("Ca\xE9");
    const auto before = everything();
    const auto record = made();
    EXPECT_FALSE(record->writeToFolder(folder, "", &error));
    EXPECT_TRUE(isStubError(error, 2004));
    EXPECT_EQ(logLines(),
              lineOfWriting("Can't copy subscription template because path cannot be converted to UTF-8"));
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::CopyItem), 0U);
    expectNothingDone(*record, before);
}

TEST_F(FileSubscriptionWriting, A_template_at_a_path_that_is_no_UTF_8_is_refused) {
    makeFolder("Ca\xE9/Client.app");
    makeBundle("Ca\xE9/DockApplication.app", templateContent());
    MovedMainBundle bundles(test.bundles, scratch.path("Ca\xE9/Client.app"));
    const Platform platform = test.platformWith(bundles);
    const ScopedPlatform inner(platform);
    const auto before = everything();
    const auto record = made();
    EXPECT_FALSE(write(record));
    EXPECT_TRUE(isStubError(error, 2004));
    EXPECT_EQ(logLines(),
              lineOfWriting("Can't copy subscription template because path cannot be converted to UTF-8"));
    expectNothingDone(*record, before);
}

TEST_F(FileSubscriptionWriting, A_missing_folder_is_the_copys_failure) {
    makeTemplates();
    const auto before = everything();
    const auto record = made();
    EXPECT_FALSE(record->writeToFolder(apps + "/Missing", "", &error));
    EXPECT_TRUE(isStubError(error, 2004));
    EXPECT_EQ(logLines(), lineOfWriting("Error copying subscription template"));
    expectNothingDone(*record, before);
}

TEST_F(FileSubscriptionWriting, A_file_name_that_is_not_one_component_is_refused) {
    makeTemplates();
    makeFolder("Apps/Sub");
    const auto before = everything();
    const std::vector<std::optional<std::string>> names = {std::nullopt,
                                                           "",
                                                           ".",
                                                           "..",
                                                           "/",
                                                           "../Word.app",
                                                           "Sub/Word.app",
                                                           "Sub/..",
                                                           "/Word.app",
                                                           "Word.app/",
                                                           std::string("a\0b", 3),
                                                           std::string(256, 'x'),
                                                           "../../home/Word.app"};
    for (const std::optional<std::string>& name : names) {
        test.systemLog.clear();
        const auto record = made(name);
        EXPECT_FALSE(write(record)) << name.value_or("nil");
        EXPECT_TRUE(isStubError(error, 2004)) << name.value_or("nil");
        EXPECT_EQ(logLines().size(), 1U);
        expectNothingDone(*record, before);
    }
}

TEST_F(FileSubscriptionWriting, A_file_name_reaches_no_stub_outside_the_folder) {
    makeTemplates();
    ASSERT_TRUE(write(made()));
    makeFolder("Apps/Sub");
    test.launchRegistration.calls.clear();
    const auto before = everything();
    const auto expectRefused = [&](const std::string& folder, const std::optional<std::string>& name) {
        test.systemLog.clear();
        const auto record = made(name);
        EXPECT_FALSE(record->writeToFolder(folder, "", &error));
        EXPECT_TRUE(isStubError(error, 2004));
        ASSERT_EQ(logLines().size(), 1U);
        EXPECT_TRUE(logLines().front().starts_with(
            std::string(writing) + "Can't update subscription because something else exists at path ("));
        expectNothingDone(*record, before);
    };
    expectRefused(apps + "/Sub", "../Word.app");
    expectRefused(scratch.path(), "Apps/Word.app");
    expectRefused(stub, "");
    expectRefused(stub, std::nullopt);
    expectRefused(stub, ".");
    expectRefused(stub + "/Contents", "..");
}

TEST_F(FileSubscriptionWriting, Hostile_file_names_of_one_component_make_and_refresh_a_stub_of_that_name) {
    makeTemplates();
    for (const std::string name : {"-rf", "%n%s%@", "$(x)", "a;b", "a\nb", "\x1b[2J", "\"'`", ".DS_Store",
                                   "\xE2\x80\xAE"
                                   "ppa",
                                   "e\xCC\x81", "\xC3\xA9", "...", "..a", "a\\b", " "}) {
        for (int times = 0; times < 2; ++times) {
            const auto record = made(name);
            EXPECT_TRUE(write(record)) << name;
            EXPECT_EQ(record->path(), apps + "/" + name);
            EXPECT_NE(MOXFileSubscription::subscriptionWithPath(apps + "/" + name), nullptr);
        }
    }
    EXPECT_EQ(namesIn(apps).size(), 15U);
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionWriting, Without_an_information_list_the_copy_stays_unfinished) {
    BundleContent content = templateContent();
    content.infoPlist = std::nullopt;
    const std::string source = makeBundle("DockApplication.app", content);
    const auto record = made();
    record->setFileTypes({{{.group = "Text", .extensions = {".txt"}, .description = "A text"}}});
    EXPECT_FALSE(write(record));
    EXPECT_TRUE(isStubError(error, 2005, stub + "/Contents/Info.plist"));
    EXPECT_EQ(logLines(), lineOfWriting("Error updating Info.plist for subscription at path (" + stub + ")"));
    EXPECT_EQ(contentsOfTree(stub), contentsOfTree(source));
    EXPECT_EQ(record->path(), std::nullopt);
    EXPECT_EQ(test.launchRegistration.calls, Lines());
}

TEST_F(FileSubscriptionWriting, An_information_list_that_is_no_dictionary_counts_as_missing) {
    BundleContent content = templateContent();
    content.infoPlist = std::nullopt;
    content.files["Contents/Info.plist"] = "( a, b )";
    makeBundle("DockApplication.app", content);
    EXPECT_FALSE(write(made()));
    EXPECT_TRUE(isStubError(error, 2005, stub + "/Contents/Info.plist"));
    EXPECT_EQ(bytesAt(stub + "/Contents/Info.plist"), "( a, b )");
}

TEST_F(FileSubscriptionWriting, Without_a_place_for_the_launch_alias_the_stub_stays_without_it) {
    makeBundle("DockApplication.app", {.infoPlist = dictionaryOf({{"KorvanVersionString", "1.0"}})});
    const auto record = made();
    EXPECT_FALSE(write(record));
    EXPECT_TRUE(isStubError(error, 2007));
    EXPECT_EQ(logLines(),
              lineOfWriting("Error writing launch alias for subscription at path (" + stub + ")"));
    EXPECT_EQ(*infoPlistOf(stub).string("CFBundleName"), "Word");
    EXPECT_FALSE(isThere(stub + "/" + std::string(aliasFile)));
    EXPECT_EQ(record->path(), std::nullopt);
    EXPECT_EQ(test.launchRegistration.calls, Lines());
}

TEST_F(FileSubscriptionWriting, A_record_that_lost_its_place_keeps_its_path_after_a_failure) {
    makeTemplates();
    const auto record = made();
    ASSERT_TRUE(write(record));
    EXPECT_FALSE(record->writeToFolder(apps + "/Missing", ""));
    EXPECT_EQ(record->path(), stub);
}

TEST_F(FileSubscriptionWriting, A_registration_that_fails_is_logged_and_no_failure) {
    makeTemplates();
    test.launchRegistration.status = -10810;
    const auto record = made();
    EXPECT_TRUE(write(record));
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(record->path(), stub);
    EXPECT_EQ(logLines(), lineOfWriting("Error registering subscription with launch services (-10810)"));
}

TEST_F(FileSubscriptionWriting, Failures_are_logged_also_when_no_error_is_asked_for) {
    EXPECT_FALSE(made()->writeToFolder(apps, ""));
    EXPECT_EQ(logLines(), lineOfWriting("Error retrieving subscription template path"));
    makeBundle("DockApplication.app", {.infoPlist = std::nullopt});
    test.systemLog.clear();
    EXPECT_FALSE(made()->writeToFolder(apps, ""));
    EXPECT_EQ(logLines(), lineOfWriting("Error updating Info.plist for subscription at path (" + stub + ")"));
    test.systemLog.clear();
    EXPECT_FALSE(made()->writeToFolder(apps, ""));
    EXPECT_EQ(logLines(), lineOfWriting("Can't update subscription because something else exists at path (" +
                                        stub + ")"));
}

/// A log that notes how many files had been read at each message.
class LogOfReads : public SystemLog {
public:
    explicit LogOfReads(const ForwardingFileSystem& fileSystem) : _fileSystem(fileSystem) {}
    void log(std::string_view) override {
        reads.push_back(_fileSystem.count(FileSystemOperation::ContentsOfFile));
    }
    std::vector<std::size_t> reads;

private:
    const ForwardingFileSystem& _fileSystem;
};

TEST_F(FileSubscriptionWriting, The_error_is_made_before_the_message_is_logged) {
    LogOfReads log(test.fileSystem);
    const Platform platform = test.platformWith(log);
    const ScopedPlatform inner(platform);
    const auto readsOfFailure = [&] {
        log.reads.clear();
        test.fileSystem.resetCounts();
        EXPECT_FALSE(write(made()));
        return test.fileSystem.count(FileSystemOperation::ContentsOfFile);
    };
    // Making an error reads its text, once.
    EXPECT_EQ(readsOfFailure(), 1U);
    EXPECT_EQ(log.reads, std::vector<std::size_t>{1});
    BundleContent content = templateContent();
    content.infoPlist = std::nullopt;
    makeBundle("DockApplication.app", content);
    EXPECT_EQ(readsOfFailure(), 2U);
    EXPECT_EQ(log.reads, std::vector<std::size_t>{2});
}

TEST_F(FileSubscriptionWriting, Text_that_XML_cannot_carry_is_written_all_the_same) {
    makeTemplates();
    const auto record = MOXFileSubscription::subscriptionWithFileName(
        "Word.app", {.resourceName = "Farm:\x01Word", .type = MOXSubscriptionType::Application});
    EXPECT_TRUE(write(record));
    EXPECT_EQ(*infoPlistOf(stub).string("CFBundleIdentifier"), "com.korvan.TarvioAlias-Farm-\x01Word");
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(stub)->resourceName(), "Farm:\x01Word");
}

TEST_F(FileSubscriptionWriting, Permissions_are_those_of_the_template) {
    makeTemplates();
    const std::string launcher = scratch.path("DockApplication.app/Contents/MacOS/Launcher");
    ASSERT_EQ(::chmod(launcher.c_str(), 0755), 0);
    ASSERT_EQ(::chmod(scratch.path("DockApplication.app/Contents/Info.plist").c_str(), 0600), 0);
    ASSERT_TRUE(write(made()));
    EXPECT_EQ(modeOf(stub + "/Contents/MacOS/Launcher"), 0755U);
    EXPECT_EQ(modeOf(stub + "/Contents/Info.plist"), 0600U);
}

} // namespace
} // namespace mox::test
