#include "Formats/TextEncoding.hpp"
#include "Platform/FileSystemErrors.hpp"
#include "SDK/StubBundles.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <ostream>
#include <unistd.h>

namespace mox::test {
namespace {

using FileTypes = std::vector<MOXFileType>;
using Type = MOXSubscriptionType;

constexpr std::string_view updatingStrings =
    "-[MOXFileSubscription updateFileTypesForInfoPlistStringsAtPath:] ";

class FileSubscriptionInfoPlist : public StubBundleTest {
protected:
    /// The information list after `record` has updated one that holds `before`.
    Dictionary updated(const OpenFileSubscription& record, const Dictionary& before = {}) const {
        const std::string path = makeBundle("Apps/Stub.app", {.infoPlist = before});
        std::optional<Error> error = staleError();
        EXPECT_TRUE(record.updateInfoPlistForSubscriptionAtPath(path, &error));
        EXPECT_TRUE(isStale(error));
        return infoPlistOf(path);
    }
    std::string identifierOf(std::optional<std::string> resource, Type type = Type::Application) const {
        const OpenFileSubscription record("Word", {.resourceName = std::move(resource), .type = type});
        return *updated(record).string("CFBundleIdentifier");
    }
    std::string nameOf(const std::string& fileName) const {
        return *updated(OpenFileSubscription(fileName, {.type = Type::Application})).string("CFBundleName");
    }
    /// The extensions of the only document type that a record with `extensions` declares.
    static Array declared(const std::vector<std::string>& extensions) {
        OpenFileSubscription record("Word", {.type = Type::Application});
        record.setFileTypes(FileTypes{{.group = "Type", .extensions = extensions, .description = "Text"}});
        Dictionary infoPlist;
        record.updateFileTypesForInfoPlist(infoPlist);
        return *infoPlist.array("CFBundleDocumentTypes")
                    ->front()
                    .dictionary()
                    ->array("CFBundleTypeExtensions");
    }
    /// The strings file with `before` in it after a record with `types` has appended their names.
    std::string appended(const std::string& before, const FileTypes& types) const {
        const std::string path = makeFile("InfoPlist.strings", before);
        OpenFileSubscription record("Word", {.type = Type::Application});
        record.setFileTypes(types);
        record.updateFileTypesForInfoPlistStringsAtPath(path);
        return bytesAt(path);
    }
};

TEST_F(FileSubscriptionInfoPlist, The_name_is_the_file_name_without_its_extension) {
    EXPECT_EQ(nameOf("Word.app"), "Word");
    EXPECT_EQ(nameOf("Word"), "Word");
    EXPECT_EQ(nameOf("Word 1.5.app"), "Word 1.5");
    EXPECT_EQ(nameOf(".app"), ".app");
    EXPECT_EQ(nameOf("W\xC3\xB6rter & Co.app"), "W\xC3\xB6rter & Co");
}

TEST_F(FileSubscriptionInfoPlist, Without_a_file_name_the_name_stays) {
    const OpenFileSubscription record(std::nullopt, {.type = Type::Application});
    EXPECT_EQ(*updated(record, dictionaryOf({{"CFBundleName", "Template"}})).string("CFBundleName"),
              "Template");
}

TEST_F(FileSubscriptionInfoPlist, The_identifier_is_prefix_and_resource_with_colons_and_blanks_replaced) {
    EXPECT_EQ(identifierOf("Word: Processor 2"), "com.korvan.TarvioAlias-Word-Processor2");
    EXPECT_EQ(identifierOf("Farm:Word", Type::Desktop), "com.korvan.BelcastraAlias-Farm-Word");
    EXPECT_EQ(identifierOf("::a  b: "), "com.korvan.TarvioAlias---ab-");
    EXPECT_EQ(identifierOf(""), "com.korvan.TarvioAlias-");
}

TEST_F(FileSubscriptionInfoPlist, Nothing_else_in_the_identifier_is_escaped) {
    EXPECT_EQ(identifierOf("a/b\t%@%s<\"\xC2\xA0\xEF\xBC\x9A_"),
              "com.korvan.TarvioAlias-a/b\t%@%s<\"\xC2\xA0\xEF\xBC\x9A_");
}

TEST_F(FileSubscriptionInfoPlist, A_missing_resource_name_prints_as_nil_in_the_identifier) {
    EXPECT_EQ(identifierOf(std::nullopt), "com.korvan.TarvioAlias-(null)");
}

TEST_F(FileSubscriptionInfoPlist, A_desktop_is_marked_and_other_types_keep_the_mark_as_it_is) {
    const OpenFileSubscription application("Word", {.type = Type::Application});
    const OpenFileSubscription desktop("Desk", {.type = Type::Desktop});
    EXPECT_EQ(updated(desktop).find("KVDesktopViewer")->boolean(), true);
    EXPECT_EQ(updated(desktop, dictionaryOf({{"KVDesktopViewer", "no"}})).find("KVDesktopViewer")->boolean(),
              true);
    EXPECT_EQ(updated(application).find("KVDesktopViewer"), nullptr);
    EXPECT_EQ(*updated(application, dictionaryOf({{"KVDesktopViewer", "mark"}})).string("KVDesktopViewer"),
              "mark");
}

TEST_F(FileSubscriptionInfoPlist, Everything_else_stays_the_versions_among_it) {
    const OpenFileSubscription record("Word", {.resourceName = "Word", .type = Type::Application});
    Dictionary expected = *templateContent().infoPlist;
    const Dictionary before = expected;
    expected.set("CFBundleName", "Word");
    expected.set("CFBundleIdentifier", "com.korvan.TarvioAlias-Word");
    EXPECT_EQ(updated(record, before), expected);
}

TEST_F(FileSubscriptionInfoPlist, Document_types_are_replaced_in_the_records_order) {
    for (const Type type : {Type::Application, Type::Desktop}) {
        OpenFileSubscription record("Word", {.type = type});
        record.setFileTypes(
            FileTypes{{.group = "Text", .extensions = {".txt", ".text"}, .description = "A text"},
                      {.group = "", .extensions = {}, .description = std::nullopt},
                      {.group = "Text", .extensions = {".t"}, .description = "Again"}});
        const std::string icon =
            type == Type::Application ? "DockApplication.icns" : "025_Apps_Combo_Mac.icns";
        const auto declaration = [&](const char* name, const Array& extensions) {
            return dictionaryOf({{"CFBundleTypeName", name},
                                 {"CFBundleTypeRole", "Editor"},
                                 {"CFBundleTypeExtensions", extensions},
                                 {"CFBundleTypeIconFile", icon}});
        };
        Dictionary infoPlist = *templateContent().infoPlist;
        Dictionary expected = infoPlist;
        expected.set("CFBundleDocumentTypes", Array{declaration("Text", {"txt", "text"}), declaration("", {}),
                                                    declaration("Text", {"t"})});
        record.updateFileTypesForInfoPlist(infoPlist);
        EXPECT_EQ(infoPlist, expected);
    }
}

TEST_F(FileSubscriptionInfoPlist, Document_types_that_were_not_asked_for_yet_are_those_of_the_stub) {
    const std::string path = makeBundle("Apps/Stub.app", templateContent());
    const Array own{dictionaryOf({{"CFBundleTypeName", "Own type"},
                                  {"CFBundleTypeRole", "Editor"},
                                  {"CFBundleTypeExtensions", Array{"own"}},
                                  {"CFBundleTypeIconFile", "DockApplication.icns"}})};
    OpenFileSubscription record("Word", {.type = Type::Application});
    record.setPath(path);
    Dictionary infoPlist;
    record.updateFileTypesForInfoPlist(infoPlist);
    EXPECT_EQ(infoPlist, dictionaryOf({{"CFBundleDocumentTypes", own}}));

    OpenFileSubscription other("Word", {.type = Type::Application});
    other.setPath(path);
    const std::string before = stringsOf(path);
    other.updateFileTypesForInfoPlistStringsAtPath(path + "/" + std::string(stringsFile));
    EXPECT_EQ(stringsOf(path), before + "\n\n/* Type names */\n\n\"Own type\" = \"Type of the template\";\n");
}

TEST_F(FileSubscriptionInfoPlist, The_first_character_of_an_extension_is_cut_off_whatever_it_is) {
    EXPECT_EQ(declared({".txt", "txt", "..dot", "."}), (Array{"txt", "xt", ".dot", ""}));
    EXPECT_EQ(declared({"\xC3\xA9t\xC3\xA9", "\xF0\x9F\x98\x80x", "\xE2\x82\xAC"}),
              (Array{"t\xC3\xA9", "x", ""}));
    EXPECT_EQ(declared({"e\xCC\x81x"}), (Array{"\xCC\x81x"}));
}

TEST_F(FileSubscriptionInfoPlist, An_empty_extension_stays_empty) {
    EXPECT_EQ(declared({""}), Array{""});
}

TEST_F(FileSubscriptionInfoPlist, An_extension_that_is_no_UTF_8_is_repaired_before_it_is_cut) {
    EXPECT_EQ(declared({"\xE9txt", ".t\xE9", "\x80\x80t"}), (Array{"txt", "t\xEF\xBF\xBD", "\xEF\xBF\xBDt"}));
}

TEST_F(FileSubscriptionInfoPlist, Without_document_types_those_of_the_template_and_its_strings_stay) {
    OpenFileSubscription record("Word", {.resourceName = "Word", .type = Type::Application});
    for (const std::optional<FileTypes>& types : {std::optional<FileTypes>(), std::optional(FileTypes())}) {
        record.setFileTypes(types);
        const std::string path = makeBundle("Apps/Stub.app", templateContent());
        EXPECT_TRUE(record.updateInfoPlistForSubscriptionAtPath(path));
        EXPECT_EQ(*infoPlistOf(path).array("CFBundleDocumentTypes"),
                  *templateContent().infoPlist->array("CFBundleDocumentTypes"));
        EXPECT_EQ(stringsOf(path), templateContent().files.at(std::string(stringsFile)));
    }
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionInfoPlist, Missing_strings_are_logged_and_no_failure) {
    OpenFileSubscription record("Word", {.type = Type::Application});
    record.setFileTypes(FileTypes{{.group = "Text", .extensions = {".txt"}, .description = "A text"}});
    const std::string path = makeBundle("Apps/Stub.app", {});
    EXPECT_TRUE(record.updateInfoPlistForSubscriptionAtPath(path));
    EXPECT_EQ(logLines(), Lines{"-[MOXFileSubscription updateInfoPlistForSubscriptionAtPath:error:] "
                                "Missing InfoPlist.strings file in subscription (" +
                                path + ")"});
    EXPECT_EQ(infoPlistOf(path).array("CFBundleDocumentTypes")->size(), 1U);
}

TEST_F(FileSubscriptionInfoPlist,
       A_folder_in_the_place_of_the_strings_counts_as_strings_that_cannot_be_read) {
    OpenFileSubscription record("Word", {.type = Type::Application});
    record.setFileTypes(FileTypes{{.group = "Text", .extensions = {".txt"}, .description = "A text"}});
    const std::string path = makeBundle("Apps/Stub.app", {});
    const std::string strings = makeFolder("Apps/Stub.app/Contents/Resources/InfoPlist.strings");
    EXPECT_TRUE(record.updateInfoPlistForSubscriptionAtPath(path));
    EXPECT_EQ(logLines(), Lines{std::string(updatingStrings) + "Unable to read InfoPlist.strings file: " +
                                readError(strings, EISDIR).description()});
}

TEST_F(FileSubscriptionInfoPlist, A_missing_or_damaged_list_is_error_2005_without_a_line) {
    OpenFileSubscription record("Word", {.type = Type::Application});
    const std::string path = makeBundle("Apps/Stub.app", {.infoPlist = std::nullopt});
    for (const char* bytes : {"", "<plist>", "( a )", "text"}) {
        std::optional<Error> error = staleError();
        EXPECT_FALSE(record.updateInfoPlistForSubscriptionAtPath(path, &error));
        EXPECT_TRUE(isStubError(error, 2005, path + "/Contents/Info.plist")) << bytes;
        EXPECT_FALSE(record.updateInfoPlistForSubscriptionAtPath(path));
        makeFile("Apps/Stub.app/Contents/Info.plist", bytes);
    }
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionInfoPlist, A_list_that_cannot_be_written_is_error_2006_without_a_line) {
    OpenFileSubscription record("Word", {.type = Type::Application});
    record.setFileTypes(FileTypes{{.group = "Text", .extensions = {".txt"}, .description = "A text"}});
    const std::string path = makeBundle("Apps/Stub.app", templateContent());
    const std::string before = bytesAt(path + "/Contents/Info.plist");
    for (const bool wantsError : {true, false}) {
        test.fileSystem.failCall(FileSystemOperation::WriteFileAtomically, 2, ENOSPC, FaultDuration::Once);
        std::optional<Error> error = staleError();
        EXPECT_FALSE(record.updateInfoPlistForSubscriptionAtPath(path, wantsError ? &error : nullptr));
        if (wantsError) {
            EXPECT_TRUE(isStubError(error, 2006, path + "/Contents/Info.plist"));
        }
    }
    EXPECT_EQ(test.fileSystem.faultsFired(), 2U);
    EXPECT_EQ(bytesAt(path + "/Contents/Info.plist"), before);
    EXPECT_NE(stringsOf(path).find("Type names"), std::string::npos);
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionInfoPlist, A_list_of_any_form_is_read_and_written_as_XML) {
    const OpenFileSubscription record("Word", {.resourceName = "Word", .type = Type::Application});
    const std::string path =
        makeBundle("Apps/Stub.app",
                   {.infoPlist = std::nullopt, .files = {{"Contents/Info.plist", "{ Kept = (1, 2); }"}}});
    EXPECT_TRUE(record.updateInfoPlistForSubscriptionAtPath(path));
    EXPECT_TRUE(bytesAt(path + "/Contents/Info.plist").starts_with("<?xml"));
    EXPECT_EQ(*infoPlistOf(path).array("Kept"), (Array{"1", "2"}));
}

TEST_F(FileSubscriptionInfoPlist, Type_names_are_appended_in_the_records_order) {
    EXPECT_EQ(appended("/* Old */", {{.group = "Text", .extensions = {}, .description = "A text"},
                                     {.group = "Drawing", .extensions = {}, .description = ""}}),
              "/* Old */\n\n/* Type names */\n\n\"Text\" = \"A text\";\n\"Drawing\" = \"\";\n");
    EXPECT_EQ(appended("", {}), "\n\n/* Type names */\n\n");
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionInfoPlist, Of_several_localisations_the_users_alone_gets_the_type_names) {
    const std::string german = "Contents/Resources/de.lproj/InfoPlist.strings";
    BundleContent content = templateContent();
    content.files[german] = "/* Deutsch */";
    OpenFileSubscription record("Word", {.type = Type::Application});
    record.setFileTypes(FileTypes{{.group = "Text", .extensions = {".txt"}, .description = "Ein Text"}});
    const std::string path = makeBundle("Apps/Stub.app", content);
    const TestPlatform germanUsers({.languages = {"fr_FR", "de_CH", "en"}, .folder = scratch.path()});
    const ScopedPlatform inner(germanUsers.platform);
    EXPECT_TRUE(record.updateInfoPlistForSubscriptionAtPath(path));
    EXPECT_EQ(bytesAt(path + "/" + german),
              "/* Deutsch */\n\n/* Type names */\n\n\"Text\" = \"Ein Text\";\n");
    EXPECT_EQ(stringsOf(path), content.files.at(std::string(stringsFile)));
}

TEST_F(FileSubscriptionInfoPlist, A_missing_description_prints_as_nil) {
    EXPECT_EQ(appended("", {{.group = "Text", .extensions = {}, .description = std::nullopt}}),
              "\n\n/* Type names */\n\n\"Text\" = \"(null)\";\n");
}

TEST_F(FileSubscriptionInfoPlist, Type_names_are_not_escaped_so_that_quotes_spoil_the_file) {
    const std::string text =
        appended("", {{.group = "A \"B\"", .extensions = {}, .description = "C\\D\n\"; \"x\" = \"y"}});
    EXPECT_EQ(text, "\n\n/* Type names */\n\n\"A \"B\"\" = \"C\\D\n\"; \"x\" = \"y\";\n");
}

TEST_F(FileSubscriptionInfoPlist, Type_names_that_are_no_UTF_8_are_repaired) {
    EXPECT_EQ(appended("", {{.group = "T\xE9", .extensions = {}, .description = "\xFF"}}),
              "\n\n/* Type names */\n\n\"T\xEF\xBF\xBD\" = \"\xEF\xBF\xBD\";\n");
}

struct EncodingCase {
    const char* name;
    TextEncoding encoding;
    bool hasByteOrderMark;
};

std::ostream& operator<<(std::ostream& stream, const EncodingCase& one) {
    return stream << one.name;
}

class FileSubscriptionStrings : public FileSubscriptionInfoPlist,
                                public testing::WithParamInterface<EncodingCase> {};

TEST_P(FileSubscriptionStrings, Keep_the_encoding_that_they_have) {
    const auto encoded = [](const std::string& text) {
        return encodedText(
            {.text = text, .encoding = GetParam().encoding, .hasByteOrderMark = GetParam().hasByteOrderMark});
    };
    const std::string before = "\"a\" = \"\xC3\xA4\xF0\x9F\x98\x80\";\n";
    EXPECT_EQ(appended(encoded(before),
                       {{.group = "Text", .extensions = {}, .description = "\xE6\x96\x87\xF0\x9F\x98\x80"}}),
              encoded(before + "\n\n/* Type names */\n\n\"Text\" = \"\xE6\x96\x87\xF0\x9F\x98\x80\";\n"));
    EXPECT_EQ(logLines(), Lines());
}

INSTANTIATE_TEST_SUITE_P(EachEncoding, FileSubscriptionStrings,
                         testing::Values(EncodingCase{"utf8", TextEncoding::UTF8, false},
                                         EncodingCase{"utf8_with_mark", TextEncoding::UTF8, true},
                                         EncodingCase{"utf16_little", TextEncoding::UTF16LittleEndian, true},
                                         EncodingCase{"utf16_big", TextEncoding::UTF16BigEndian, true},
                                         EncodingCase{"utf32_little", TextEncoding::UTF32LittleEndian, true},
                                         EncodingCase{"utf32_big", TextEncoding::UTF32BigEndian, true}),
                         [](const auto& one) { return one.param.name; });

TEST_F(FileSubscriptionInfoPlist, Strings_that_cannot_be_read_are_logged_with_the_reason) {
    const OpenFileSubscription record("Word", {.type = Type::Application});
    const std::string missing = scratch.path("Missing.strings");
    record.updateFileTypesForInfoPlistStringsAtPath(missing);
    EXPECT_EQ(logLines(), Lines{std::string(updatingStrings) + "Unable to read InfoPlist.strings file: " +
                                readError(missing, ENOENT).description()});
    EXPECT_FALSE(isThere(missing));
}

TEST_F(FileSubscriptionInfoPlist, Strings_of_an_unknown_encoding_are_logged_and_left_alone) {
    const std::string bytes = "\"a\" = \"\xE9\";";
    EXPECT_EQ(appended(bytes, {{.group = "Text", .extensions = {}, .description = "A text"}}), bytes);
    ASSERT_EQ(logLines().size(), 1U);
    EXPECT_TRUE(logLines().front().starts_with(
        std::string(updatingStrings) +
        "Unable to read InfoPlist.strings file: Error Domain=NSCocoaErrorDomain Code=264 \""));
}

TEST_F(FileSubscriptionInfoPlist, Strings_that_cannot_be_written_are_logged_and_left_alone) {
    test.fileSystem.failCall(FileSystemOperation::WriteFileAtomically, 1, EROFS, FaultDuration::Once);
    EXPECT_EQ(appended("old", {{.group = "Text", .extensions = {}, .description = "A text"}}), "old");
    EXPECT_EQ(logLines(), Lines{std::string(updatingStrings) + "Unable to write InfoPlist.strings file: " +
                                writeError(scratch.path("InfoPlist.strings"), EROFS).description()});
}

} // namespace
} // namespace mox::test
