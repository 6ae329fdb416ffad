#include "SDK/StubBundles.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

namespace mox::test {
namespace {

class FileSubscription : public StubBundleTest {
protected:
    static Dictionary alias() {
        return dictionaryOf({{"cloneName", "Stored name"},
                             {"Korvan Application Type", "Application"},
                             {"Korvan Server Unique Application Name", "Farm:Word"},
                             {"Some Other Key", "kept"}});
    }
    std::string stub(const BundleContent& content) const { return makeBundle("Apps/Word.app", content); }
};

TEST_F(FileSubscription, An_empty_record_has_schema_version_1_and_nothing_of_a_stub) {
    const auto record = MOXFileSubscription::subscription();
    EXPECT_EQ(record->dictionaryRepresentation(),
              dictionaryOf({{"SchemaVersion", PropertyList::integer(1)}}));
    EXPECT_EQ(record->path(), std::nullopt);
    EXPECT_EQ(record->fileName(), std::nullopt);
    EXPECT_EQ(record->fileTypes(), std::nullopt);
    EXPECT_EQ(record->icon(), std::nullopt);
    EXPECT_EQ(record->internalVersion(), std::nullopt);
    EXPECT_EQ(record->subscriptionVersion(), "");
    EXPECT_FALSE(record->needsUpdate());
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscription, A_record_of_a_dictionary_keeps_it_as_it_is) {
    const auto record = MOXFileSubscription::subscriptionWithDictionary(alias());
    EXPECT_EQ(record->dictionaryRepresentation(), alias());
    EXPECT_EQ(record->schemaVersion(), 0U);
    EXPECT_EQ(record->fileName(), "Stored name");
}

TEST_F(FileSubscription, A_record_without_a_launch_alias_has_no_file_name_and_setting_one_does_nothing) {
    const auto record = MOXFileSubscription::subscriptionWithDictionary(std::nullopt);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->fileName(), std::nullopt);
    record->setFileName("Word");
    EXPECT_EQ(record->fileName(), std::nullopt);
    EXPECT_EQ(record->dictionaryRepresentation(), std::nullopt);
}

TEST_F(FileSubscription, A_record_is_filled_from_its_arguments) {
    const auto record =
        MOXFileSubscription::subscriptionWithFileName("Word", {.resourceName = "Farm:Word",
                                                               .type = MOXSubscriptionType::Desktop,
                                                               .storeName = "Store",
                                                               .internalStoreURL = "in",
                                                               .externalStoreURL = "out",
                                                               .norvikType = MOXNorvikType::Enterprise,
                                                               .norvikAuthType = MOXNorvikAuthType::SMS});
    EXPECT_EQ(record->dictionaryRepresentation(),
              dictionaryOf({{"cloneName", "Word"},
                            {"Korvan Server Unique Application Name", "Farm:Word"},
                            {"Korvan Application Type", "Desktop"},
                            {"Store Name", "Store"},
                            {"Internal Store URL", "in"},
                            {"External Store URL", "out"},
                            {"Norvik Type", "enterprise"},
                            {"Norvik Auth Type", "sms"},
                            {"SchemaVersion", PropertyList::integer(1)}}));
    EXPECT_EQ(record->fileName(), "Word");
    EXPECT_EQ(record->path(), std::nullopt);
}

TEST_F(FileSubscription, The_record_of_a_stub_has_its_alias_its_path_and_its_file_name) {
    const std::string path = stub({.alias = alias()});
    std::optional<Error> error = staleError();
    const auto record = MOXFileSubscription::subscriptionWithPath(path, &error);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->dictionaryRepresentation(), alias());
    EXPECT_EQ(record->path(), path);
    EXPECT_EQ(record->fileName(), "Word.app");
    EXPECT_EQ(record->type(), MOXSubscriptionType::Application);
    EXPECT_TRUE(isStale(error));
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscription, Opening_a_stub_reads_nothing_but_its_launch_alias) {
    const std::string path = stub({.alias = alias()});
    test.fileSystem.resetCounts();
    ASSERT_NE(MOXFileSubscription::subscriptionWithPath(path), nullptr);
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::ContentsOfFile), 1U);
}

TEST_F(FileSubscription, Any_folder_with_a_launch_alias_is_a_stub) {
    makeFile("Apps/Plain folder/Contents/Resources/Korvalias.plist", "{ cloneName = Word; }");
    const auto record = MOXFileSubscription::subscriptionWithPath(apps + "/Plain folder");
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->fileName(), "Plain folder");
    EXPECT_EQ(record->type(), MOXSubscriptionType::Unknown);
}

TEST_F(FileSubscription, The_path_is_kept_as_it_was_given) {
    stub({.alias = alias()});
    const auto record = MOXFileSubscription::subscriptionWithPath(apps + "//Word.app/");
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->path(), apps + "//Word.app/");
    EXPECT_EQ(record->fileName(), "Word.app");
}

TEST_F(FileSubscription, A_launch_alias_anywhere_else_in_a_bundle_makes_no_stub) {
    const std::string path = makeFolder("Apps/Word.app");
    for (const char* place : {"Contents/Resources/en.lproj/", "Resources/", "Contents/", ""}) {
        makeFile("Apps/Word.app/" + std::string(place) + "Korvalias.plist", "{ cloneName = Word; }");
        std::optional<Error> error;
        EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(path, &error), nullptr) << place;
        EXPECT_TRUE(isStubError(error, 2009, path)) << place;
    }
}

TEST_F(FileSubscription, Where_nothing_is_there_is_no_subscription) {
    std::optional<Error> error;
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(apps + "/None.app", &error), nullptr);
    EXPECT_TRUE(isStubError(error, 2008, apps + "/None.app"));
    EXPECT_NE(error->localizedDescription(), "MOXSubscribeNoSubscriptionAtPathError");
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(apps + "/None.app"), nullptr);
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath("", &error), nullptr);
    EXPECT_TRUE(isStubError(error, 2008, ""));
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscription, What_has_no_readable_launch_alias_is_no_subscription) {
    makeFolder("Apps/Folder");
    makeFile("Apps/File", "bytes");
    makeBundle("Apps/Other.app", templateContent());
    makeFile("Apps/Damaged.app/Contents/Resources/Korvalias.plist", "<plist><dict>");
    makeFile("Apps/Array.app/Contents/Resources/Korvalias.plist", "( a, b )");
    makeFile("Apps/Empty.app/Contents/Resources/Korvalias.plist", "");
    makeFolder("Apps/Directory.app/Contents/Resources/Korvalias.plist");
    for (const char* name :
         {"Folder", "File", "Other.app", "Damaged.app", "Array.app", "Empty.app", "Directory.app"}) {
        const std::string path = apps + "/" + name;
        std::optional<Error> error;
        EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(path, &error), nullptr) << name;
        EXPECT_TRUE(isStubError(error, 2009, path)) << name;
        EXPECT_NE(error->localizedDescription(), "MOXSubscribeBadSubscriptionAtPathError");
        EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(path), nullptr) << name;
    }
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscription, What_cannot_be_looked_at_counts_as_not_there) {
    const std::string path = apps + "/Loop.app";
    ASSERT_EQ(::symlink("Loop.app", path.c_str()), 0);
    std::optional<Error> error;
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(path, &error), nullptr);
    EXPECT_TRUE(isStubError(error, 2008, path));
}

TEST_F(FileSubscription, A_stub_is_found_through_a_link) {
    stub({.alias = alias()});
    const std::string path = apps + "/Link.app";
    ASSERT_EQ(::symlink("Word.app", path.c_str()), 0);
    const auto record = MOXFileSubscription::subscriptionWithPath(path);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->path(), path);
}

TEST_F(FileSubscription, The_file_name_is_the_paths_and_without_a_path_the_clone_name) {
    const auto record = MOXFileSubscription::subscriptionWithFileName("Clone", {});
    EXPECT_EQ(record->fileName(), "Clone");
    record->setPath("/Apps/Word.app");
    EXPECT_EQ(record->path(), "/Apps/Word.app");
    EXPECT_EQ(record->fileName(), "Word.app");
    record->setPath("/Apps/Word.app/");
    EXPECT_EQ(record->fileName(), "Word.app");
    record->setPath("");
    EXPECT_EQ(record->fileName(), "");
    record->setPath(std::nullopt);
    EXPECT_EQ(record->path(), std::nullopt);
    EXPECT_EQ(record->fileName(), "Clone");
}

TEST_F(FileSubscription, Setting_the_file_name_stores_the_clone_name_which_a_path_hides) {
    const auto record = MOXFileSubscription::subscription();
    record->setFileName("First");
    EXPECT_EQ(record->fileName(), "First");
    record->setPath("/Apps/Word.app");
    record->setFileName("Second");
    EXPECT_EQ(record->fileName(), "Word.app");
    EXPECT_EQ(*record->dictionaryRepresentation()->string("cloneName"), "Second");
    record->setPath(std::nullopt);
    record->setFileName("");
    EXPECT_EQ(record->fileName(), "");
    record->setFileName(std::nullopt);
    EXPECT_EQ(record->fileName(), std::nullopt);
}

TEST_F(FileSubscription, Setting_the_path_keeps_what_was_read_from_the_old_one) {
    BundleContent content = templateContent("1.0");
    content.alias = alias();
    const auto record = MOXFileSubscription::subscriptionWithPath(stub(content));
    ASSERT_EQ(record->fileTypes()->size(), 1U);
    ASSERT_EQ(record->subscriptionVersion(), "1.0.0.0");
    ASSERT_TRUE(record->loadIcon());
    record->setPath(apps + "/Elsewhere.app");
    EXPECT_EQ(record->fileTypes()->size(), 1U);
    EXPECT_EQ(record->subscriptionVersion(), "1.0.0.0");
    EXPECT_NE(record->icon(), std::nullopt);
}

} // namespace
} // namespace mox::test
