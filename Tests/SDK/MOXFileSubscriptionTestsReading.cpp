#include "Formats/ImageCoding.hpp"
#include "SDK/StubBundles.hpp"

#include <gtest/gtest.h>

#include <ostream>
#include <unistd.h>

namespace mox::test {
namespace {

using FileTypes = std::vector<MOXFileType>;

const FileTypes oneType = {{.group = "Set", .extensions = {".set"}, .description = "Was set"}};

class FileSubscriptionReading : public StubBundleTest {
protected:
    /// The record of a stub of `type` that holds `content`.
    std::shared_ptr<MOXFileSubscription> opened(BundleContent content,
                                                std::string_view type = "Application") const {
        content.alias = dictionaryOf({{"Korvan Application Type", type}});
        const auto record = MOXFileSubscription::subscriptionWithPath(makeBundle(stub, content));
        EXPECT_NE(record, nullptr);
        return record;
    }
    std::shared_ptr<MOXFileSubscription> openedWithTypes(const Array& documentTypes,
                                                         std::string_view strings) const {
        return opened({.infoPlist = dictionaryOf({{"CFBundleDocumentTypes", documentTypes}}),
                       .files = {{std::string(stringsFile), std::string(strings)}}});
    }
    std::shared_ptr<MOXFileSubscription> openedWithInfoPlist(std::string_view bytes) const {
        return opened({.infoPlist = std::nullopt, .files = {{"Contents/Info.plist", std::string(bytes)}}});
    }
    std::shared_ptr<MOXFileSubscription> openedWithVersions(const Entries& versions) const {
        return opened({.infoPlist = dictionaryOf(versions)});
    }
    std::size_t filesRead() const { return test.fileSystem.count(FileSystemOperation::ContentsOfFile); }

    static constexpr std::string_view stub = "Apps/Word.app";
    const std::string stubPath = scratch.path(stub);
};

TEST_F(FileSubscriptionReading, The_document_types_are_read_in_order_with_dotted_extensions) {
    const auto record =
        openedWithTypes({documentType("Text", {"txt", "text"}), documentType("Drawing", {"drw"})},
                        "\"Text\" = \"A text\"; \"Drawing\" = \"A drawing\";");
    EXPECT_TRUE(record->loadFileTypes());
    EXPECT_EQ(record->fileTypes(),
              (FileTypes{{.group = "Text", .extensions = {".txt", ".text"}, .description = "A text"},
                         {.group = "Drawing", .extensions = {".drw"}, .description = "A drawing"}}));
}

TEST_F(FileSubscriptionReading, A_document_type_without_a_name_is_left_out) {
    const auto record = openedWithTypes(
        {documentType("", {"a"}), dictionaryOf({{"CFBundleTypeExtensions", Array{"b"}}}),
         dictionaryOf({{"CFBundleTypeName", Array{"Name"}}}), "text", Array(), documentType("Text", {"txt"})},
        "");
    EXPECT_EQ(record->fileTypes(),
              (FileTypes{{.group = "Text", .extensions = {".txt"}, .description = std::nullopt}}));
}

TEST_F(FileSubscriptionReading, A_document_type_without_extensions_has_an_empty_list_of_them) {
    const auto record = openedWithTypes(
        {dictionaryOf({{"CFBundleTypeName", "None"}}),
         dictionaryOf({{"CFBundleTypeName", "Wrong"}, {"CFBundleTypeExtensions", "txt"}}),
         dictionaryOf({{"CFBundleTypeName", "Some"},
                       {"CFBundleTypeExtensions", Array{PropertyList::integer(1), "txt", "", ".dot"}}})},
        "");
    EXPECT_EQ(
        record->fileTypes(),
        (FileTypes{{.group = "None", .extensions = {}, .description = std::nullopt},
                   {.group = "Wrong", .extensions = {}, .description = std::nullopt},
                   {.group = "Some", .extensions = {".txt", ".", "..dot"}, .description = std::nullopt}}));
}

TEST_F(FileSubscriptionReading, A_description_is_there_only_when_the_strings_have_one) {
    const Array types = {documentType("Known", {}), documentType("Unknown", {}), documentType("Empty", {})};
    EXPECT_EQ(openedWithTypes(types, "\"Known\" = \"Text\"; \"Empty\" = \"\";")->fileTypes(),
              (FileTypes{{.group = "Known", .extensions = {}, .description = "Text"},
                         {.group = "Unknown", .extensions = {}, .description = std::nullopt},
                         {.group = "Empty", .extensions = {}, .description = ""}}));
    // What does not read as strings has none of the descriptions.
    EXPECT_EQ(openedWithTypes({documentType("Known", {})}, "\"Known\" = \"A \"quoted\" text\";")->fileTypes(),
              (FileTypes{{.group = "Known", .extensions = {}, .description = std::nullopt}}));
    ASSERT_EQ(::unlink((stubPath + "/" + std::string(stringsFile)).c_str()), 0);
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(stubPath)->fileTypes(),
              (FileTypes{{.group = "Known", .extensions = {}, .description = std::nullopt}}));
}

TEST_F(FileSubscriptionReading, Of_two_descriptions_of_one_type_the_later_one_is_read) {
    EXPECT_EQ(openedWithTypes({documentType("Text", {})}, "\"Text\" = \"Old\";\n\"Text\" = \"New\";\n")
                  ->fileTypes()
                  ->front()
                  .description,
              "New");
}

TEST_F(FileSubscriptionReading, A_description_that_is_no_text_takes_none_of_the_others_away) {
    const Array types = {documentType("Known", {}), documentType("Wrong", {})};
    EXPECT_EQ(openedWithTypes(types, "\"Known\" = \"Text\"; \"Wrong\" = (\"a\", \"b\");")->fileTypes(),
              (FileTypes{{.group = "Known", .extensions = {}, .description = "Text"},
                         {.group = "Wrong", .extensions = {}, .description = std::nullopt}}));
}

TEST_F(FileSubscriptionReading, Strings_of_any_localisation_and_those_of_none_are_found) {
    const BundleContent content = {
        .infoPlist = dictionaryOf({{"CFBundleDocumentTypes", Array{documentType("Text", {})}}}),
        .files = {{"Contents/Resources/xx.lproj/InfoPlist.strings", "\"Text\" = \"Localised\";"}}};
    EXPECT_EQ(opened(content)->fileTypes()->front().description, "Localised");
    makeFile(std::string(stub) + "/Contents/Resources/InfoPlist.strings", "\"Text\" = \"Of none\";");
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(stubPath)->fileTypes()->front().description,
              "Of none");
}

TEST_F(FileSubscriptionReading, A_stub_without_document_types_has_an_empty_list) {
    const FileTypes none;
    EXPECT_EQ(opened({.infoPlist = dictionaryOf({{"Other", "key"}})})->fileTypes(), none);
    EXPECT_EQ(opened({.infoPlist = dictionaryOf({{"CFBundleDocumentTypes", Array()}})})->fileTypes(), none);
    EXPECT_EQ(opened({.infoPlist = dictionaryOf({{"CFBundleDocumentTypes", "text"}})})->fileTypes(), none);
    EXPECT_EQ(openedWithInfoPlist("( a )")->fileTypes(), none);
    const auto damaged = openedWithInfoPlist("<plist><dict>");
    EXPECT_TRUE(damaged->loadFileTypes());
    EXPECT_EQ(damaged->fileTypes(), none);
    ASSERT_EQ(::unlink((stubPath + "/Contents/Info.plist").c_str()), 0);
    const auto missing = MOXFileSubscription::subscriptionWithPath(stubPath);
    EXPECT_TRUE(missing->loadFileTypes());
    EXPECT_EQ(missing->fileTypes(), none);
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionReading, The_document_types_are_read_once_also_when_there_are_none) {
    const auto record = opened({.infoPlist = Dictionary()});
    EXPECT_EQ(record->fileTypes(), FileTypes());
    makeBundle(stub, templateContent());
    test.fileSystem.resetCounts();
    EXPECT_EQ(record->fileTypes(), FileTypes());
    EXPECT_TRUE(record->loadFileTypes());
    EXPECT_EQ(filesRead(), 0U);
}

TEST_F(FileSubscriptionReading, Document_types_that_were_set_are_not_read_until_they_are_set_to_nil) {
    const auto record = opened(templateContent());
    record->setFileTypes(oneType);
    EXPECT_EQ(record->fileTypes(), oneType);
    record->setFileTypes(FileTypes());
    EXPECT_EQ(record->fileTypes(), FileTypes());
    record->setFileTypes(std::nullopt);
    EXPECT_EQ(record->fileTypes()->front().group, "Own type");
    record->setFileTypes(oneType);
    EXPECT_EQ(record->fileTypes(), oneType);
}

TEST_F(FileSubscriptionReading, Without_a_path_document_types_are_what_was_set) {
    const auto record = MOXFileSubscription::subscription();
    EXPECT_FALSE(record->loadFileTypes());
    EXPECT_EQ(record->fileTypes(), std::nullopt);
    record->setFileTypes(oneType);
    EXPECT_TRUE(record->loadFileTypes());
    EXPECT_EQ(record->fileTypes(), oneType);
    record->setFileTypes(std::nullopt);
    EXPECT_FALSE(record->loadFileTypes());
}

TEST_F(FileSubscriptionReading, The_icon_is_the_resource_that_the_type_names) {
    const BundleContent content = {.files = {{std::string(applicationIcon), iconFileOfSides({16})},
                                             {std::string(desktopIcon), iconFileOfSides({32})}}};
    EXPECT_EQ(opened(content)->icon(), imageOfSides({16}));
    EXPECT_EQ(opened(content, "Desktop")->icon(), imageOfSides({32}));
}

TEST_F(FileSubscriptionReading, The_icon_is_found_in_a_localisation_and_read_by_what_it_holds) {
    const std::string png = *pngFromRepresentation(imageOfSides({24}).representations.front());
    const BundleContent content = {.files = {{"Contents/Resources/de.lproj/DockApplication.icns", png}}};
    EXPECT_EQ(opened(content)->icon(), imageOfSides({24}));
}

TEST_F(FileSubscriptionReading, A_stub_without_an_icon_file_has_no_icon) {
    EXPECT_EQ(opened({})->icon(), std::nullopt);
    EXPECT_FALSE(opened({})->loadIcon());
    EXPECT_EQ(opened({.files = {{std::string(desktopIcon), iconFileOfSides({16})}}})->icon(), std::nullopt);
    EXPECT_EQ(opened({.files = {{std::string(applicationIcon), "no image"}}})->icon(), std::nullopt);
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionReading, A_stub_of_another_type_has_no_icon_and_that_is_logged) {
    const auto record = opened({.files = {{std::string(applicationIcon), iconFileOfSides({16})}}}, "Other");
    EXPECT_EQ(record->icon(), std::nullopt);
    EXPECT_EQ(logLines(), Lines{"-[MOXFileSubscription templateIconName] Unexpected subscription type (0)"});
    EXPECT_FALSE(record->loadIcon());
    EXPECT_EQ(logLines().size(), 2U);
}

TEST_F(FileSubscriptionReading, The_icon_is_looked_for_until_it_was_found_and_then_kept) {
    const auto record = opened({});
    EXPECT_FALSE(record->loadIcon());
    const std::string file = std::string(stub) + "/" + std::string(applicationIcon);
    makeFile(file, iconFileOfSides({16}));
    EXPECT_TRUE(record->loadIcon());
    makeFile(file, iconFileOfSides({32}));
    test.fileSystem.resetCounts();
    EXPECT_EQ(record->icon(), imageOfSides({16}));
    EXPECT_EQ(filesRead(), 0U);
}

TEST_F(FileSubscriptionReading, An_icon_that_was_set_is_not_read_until_it_is_set_to_nil) {
    const auto record = opened({.files = {{std::string(applicationIcon), iconFileOfSides({16})}}});
    record->setIcon(imageOfSides({48}));
    EXPECT_TRUE(record->loadIcon());
    EXPECT_EQ(record->icon(), imageOfSides({48}));
    record->setIcon(std::nullopt);
    EXPECT_EQ(record->icon(), imageOfSides({16}));
}

TEST_F(FileSubscriptionReading, Without_a_path_the_icon_is_what_was_set) {
    const auto record = MOXFileSubscription::subscription();
    EXPECT_FALSE(record->loadIcon());
    record->setIcon(imageOfSides({48}));
    EXPECT_EQ(record->icon(), imageOfSides({48}));
    record->setIcon(std::nullopt);
    EXPECT_EQ(record->icon(), std::nullopt);
    EXPECT_EQ(logLines(), Lines());
}

struct VersionCase {
    const char* name;
    Entries infoPlist;
    const char* version;
};

std::ostream& operator<<(std::ostream& stream, const VersionCase& one) {
    return stream << one.name;
}

class FileSubscriptionVersions : public FileSubscriptionReading,
                                 public testing::WithParamInterface<VersionCase> {};

TEST_P(FileSubscriptionVersions, Are_read_from_the_information_list) {
    const auto record = openedWithVersions(GetParam().infoPlist);
    EXPECT_EQ(record->subscriptionVersion(), GetParam().version);
    EXPECT_EQ(record->internalVersion().has_value(), *GetParam().version != '\0');
    EXPECT_EQ(MOXFileSubscription::versionForBundleAtPath(stubPath).has_value(), *GetParam().version != '\0');
}

INSTANTIATE_TEST_SUITE_P(
    EachKey, FileSubscriptionVersions,
    testing::Values(VersionCase{"own_key_wins",
                                {{"KorvanVersionString", "1.2"}, {"CFBundleShortVersionString", "3.0"}},
                                "1.2.0.0"},
                    VersionCase{"short_version", {{"CFBundleShortVersionString", "3.0.1.7"}}, "3.0.1.7"},
                    VersionCase{"neither", {{"CFBundleVersion", "3.0"}}, ""},
                    VersionCase{"empty_text_is_a_version",
                                {{"KorvanVersionString", ""}, {"CFBundleShortVersionString", "3.0"}},
                                "0.0.0.0"},
                    VersionCase{"no_text_counts_as_missing",
                                {{"KorvanVersionString", PropertyList::real(1.2)},
                                 {"CFBundleShortVersionString", "3.0"}},
                                "3.0.0.0"},
                    VersionCase{"no_text_in_either",
                                {{"KorvanVersionString", Array{"1.2"}},
                                 {"CFBundleShortVersionString", PropertyList::integer(3)}},
                                ""}),
    [](const auto& one) { return one.param.name; });

TEST_F(FileSubscriptionReading, A_bundle_without_a_readable_information_list_has_no_version) {
    EXPECT_EQ(MOXFileSubscription::versionForBundleAtPath(apps + "/None.app"), std::nullopt);
    EXPECT_EQ(openedWithInfoPlist("( KorvanVersionString )")->internalVersion(), std::nullopt);
    EXPECT_EQ(openedWithInfoPlist("<plist>")->subscriptionVersion(), "");
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionReading, The_version_is_looked_for_until_it_was_found_and_then_kept) {
    const auto record = openedWithVersions({});
    EXPECT_EQ(record->internalVersion(), std::nullopt);
    openedWithVersions({{"KorvanVersionString", "1.0"}});
    EXPECT_EQ(record->subscriptionVersion(), "1.0.0.0");
    openedWithVersions({{"KorvanVersionString", "2.0"}});
    test.fileSystem.resetCounts();
    EXPECT_EQ(record->subscriptionVersion(), "1.0.0.0");
    EXPECT_EQ(record->internalVersion()->stringValue(), "1.0.0.0");
    EXPECT_EQ(filesRead(), 0U);
}

TEST_F(FileSubscriptionReading, The_version_stays_when_the_record_is_written_anew) {
    const auto record = openedWithVersions({{"KorvanVersionString", "1.0"}});
    EXPECT_EQ(record->subscriptionVersion(), "1.0.0.0");
    makeTemplates();
    const std::string other = makeFolder("Other");
    ASSERT_TRUE(record->writeToFolder(other, ""));
    EXPECT_EQ(record->path(), other + "/Word.app");
    EXPECT_EQ(record->subscriptionVersion(), "1.0.0.0");
    EXPECT_EQ(MOXFileSubscription::subscriptionWithPath(other + "/Word.app")->subscriptionVersion(),
              "2.0.0.0");
}

TEST_F(FileSubscriptionReading, A_stub_needs_an_update_when_it_is_older_than_its_template) {
    const auto needsUpdate = [&](const char* version) {
        return openedWithVersions({{"KorvanVersionString", version}})->needsUpdate();
    };
    makeBundle("DockApplication.app", {.infoPlist = dictionaryOf({{"KorvanVersionString", "1.1"}})});
    EXPECT_TRUE(needsUpdate("1.0"));
    EXPECT_TRUE(needsUpdate("1.0.9.9"));
    EXPECT_FALSE(needsUpdate("1.1"));
    EXPECT_FALSE(needsUpdate("1.1.0.0"));
    EXPECT_FALSE(needsUpdate("1.10"));
    makeBundle("DockApplication.app", {.infoPlist = dictionaryOf({{"KorvanVersionString", "1.0"}})});
    EXPECT_FALSE(needsUpdate("1.0"));
}

TEST_F(FileSubscriptionReading, Each_type_has_its_own_template_to_be_older_than) {
    makeBundle("DockApplication.app", {.infoPlist = dictionaryOf({{"KorvanVersionString", "1.0"}})});
    makeBundle("Korvan Viewer.app", {.infoPlist = dictionaryOf({{"CFBundleShortVersionString", "2.0"}})});
    const BundleContent content = {.infoPlist = dictionaryOf({{"KorvanVersionString", "1.5"}})};
    EXPECT_FALSE(opened(content)->needsUpdate());
    EXPECT_TRUE(opened(content, "Desktop")->needsUpdate());
}

TEST_F(FileSubscriptionReading, Without_a_template_or_its_version_no_update_is_needed) {
    const auto record = openedWithVersions({{"KorvanVersionString", "1.0"}});
    EXPECT_FALSE(record->needsUpdate());
    makeBundle("DockApplication.app", {.infoPlist = std::nullopt});
    EXPECT_FALSE(record->needsUpdate());
    makeBundle("DockApplication.app", {});
    EXPECT_FALSE(record->needsUpdate());
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionReading, A_stub_without_a_version_needs_an_update_whatever_the_template) {
    EXPECT_TRUE(openedWithVersions({})->needsUpdate());
    makeTemplates();
    EXPECT_TRUE(openedWithVersions({})->needsUpdate());
    const auto unreadable = opened({.infoPlist = std::nullopt, .files = {{"Contents/Info.plist", ""}}});
    EXPECT_TRUE(unreadable->needsUpdate());
    // The template is not even looked for.
    EXPECT_TRUE(opened({.infoPlist = Dictionary()}, "Other")->needsUpdate());
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionReading, A_record_without_a_path_needs_no_update) {
    makeTemplates();
    EXPECT_FALSE(
        MOXFileSubscription::subscriptionWithFileName("Word", {.type = MOXSubscriptionType::Application})
            ->needsUpdate());
}

TEST_F(FileSubscriptionReading, A_stub_of_another_type_with_a_version_needs_no_update) {
    const auto record = opened({.infoPlist = dictionaryOf({{"KorvanVersionString", "1.0"}})}, "Other");
    EXPECT_FALSE(record->needsUpdate());
    EXPECT_EQ(logLines(), Lines{"-[MOXFileSubscription templatePath] Unexpected subscription type (0)"});
}

} // namespace
} // namespace mox::test
