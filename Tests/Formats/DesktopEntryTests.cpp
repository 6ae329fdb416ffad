#include "Formats/DesktopEntry.hpp"
#include "Formats/DesktopEntryReading.hpp"
#include "Foundation/UnicodeText.hpp"
#include "Support/HostileTexts.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mox {
namespace {

using test::carriedText;
using test::strictArguments;
using test::strictDesktopEntry;
using testing::ElementsAre;
using namespace std::string_literals;

DesktopEntry entryAt(const std::string& bundle) {
    return {.bundle = bundle,
            .program = bundle + "/Contents/MacOS/launcher",
            .name = "Word",
            .comment = "Writes",
            .icon = "icon",
            .documentTypes = {}};
}

DesktopEntry entryNamed(const std::string& name) {
    DesktopEntry entry = entryAt("/a/Word.app");
    entry.name = name;
    return entry;
}

std::string valueIn(const DesktopEntry& entry, const std::string& key) {
    const std::optional<Bytes> text = desktopEntryText(entry);
    const auto values = text ? strictDesktopEntry(*text) : std::nullopt;
    return values && values->contains(key) ? values->at(key) : "none";
}

TEST(DesktopEntry, Its_values_are_those_that_were_given) {
    for (const std::string& text : test::hostileTexts()) {
        DesktopEntry entry = entryNamed(text);
        entry.comment = text + ".";
        EXPECT_EQ(valueIn(entry, "Name"), carriedText(repairedUTF8(text)));
        EXPECT_EQ(valueIn(entry, "Comment"), carriedText(repairedUTF8(text + ".")));
        EXPECT_EQ(valueIn(entry, "Exec"), "\"/a/Word.app/Contents/MacOS/launcher\" %F");
    }
}

TEST(DesktopEntry, What_a_file_cannot_carry_in_a_text_becomes_the_replacement_character) {
    EXPECT_EQ(valueIn(entryNamed("a\033[31mb\0c\x7f"s), "Name"), "a\uFFFD[31mb\uFFFDc\uFFFD");
    EXPECT_EQ(valueIn(entryNamed("a\xFF\xED\xA0\x80z"), "Name"), "a\uFFFD\uFFFD\uFFFD\uFFFDz");
}

TEST(DesktopEntry, The_command_line_starts_the_program_at_whatever_path) {
    for (const std::string& text : test::hostileTexts()) {
        if (text.find('=') != text.npos || carriedText(repairedUTF8(text)) != text) continue;
        const DesktopEntry entry = entryAt("/x " + text + "/y.app");
        const auto arguments = strictArguments(valueIn(entry, "Exec"), {"/f 1", "/%f"});
        ASSERT_TRUE(arguments) << text;
        const bool hasRunner = arguments->front() == "/usr/bin/env";
        EXPECT_EQ(hasRunner, text.find('%') != text.npos);
        EXPECT_THAT(std::vector<std::string>(arguments->begin() + (hasRunner ? 1 : 0), arguments->end()),
                    ElementsAre(entry.program, "/f 1", "/%f"));
        EXPECT_EQ(valueIn(entry, "TryExec"), entry.program);
        EXPECT_EQ(bundleOfDesktopEntry(desktopEntryText(entry).value()), entry.bundle);
    }
}

TEST(DesktopEntry,
     A_program_behind_a_percent_sign_is_started_through_env_since_readers_look_for_it_unexpanded) {
    EXPECT_EQ(valueIn(entryAt("/a/100%.app"), "Exec"),
              "\"/usr/bin/env\" \"/a/100%%.app/Contents/MacOS/launcher\" %F");
}

TEST(DesktopEntry, The_escapes_of_the_command_line_are_escaped_for_the_file_once_more) {
    EXPECT_THAT(desktopEntryText(entryAt("/a\\$b")).value(),
                testing::HasSubstr("Exec=\"/a\\\\\\\\\\\\$b/Contents/MacOS/launcher\" %F\n"));
}

TEST(DesktopEntry, A_path_that_the_format_cannot_carry_makes_no_entry) {
    for (const std::string& path : {"/a=b"s, "/a\0b"s, "/a\033b"s, "/a\x7f"s, "/a\xFF"s, "/a\xED\xA0\x80"s})
        EXPECT_EQ(desktopEntryText(entryAt(path)), std::nullopt) << path;
    DesktopEntry entry = entryAt("/a");
    entry.bundle = "/a\x01";
    EXPECT_EQ(desktopEntryText(entry), std::nullopt);
}

TEST(DesktopEntry, An_equals_sign_is_forbidden_in_the_program_only) {
    DesktopEntry entry = entryAt("/a");
    entry.bundle = "/b=c";
    EXPECT_EQ(bundleOfDesktopEntry(desktopEntryText(entry).value()), "/b=c");
}

TEST(DesktopEntry, Empty_texts_and_lists_have_no_line) {
    const DesktopEntry entry = {
        .bundle = "/a", .program = "/a/b", .name = "", .comment = "", .icon = "", .documentTypes = {}};
    EXPECT_EQ(valueIn(entry, "Comment"), "none");
    EXPECT_EQ(valueIn(entry, "Icon"), "none");
    EXPECT_EQ(valueIn(entry, "MimeType"), "none");
    EXPECT_EQ(valueIn(entry, "Name"), "");
}

TEST(DesktopEntry, Types_of_documents_are_a_list_each_with_its_end) {
    DesktopEntry entry = entryAt("/a");
    entry.documentTypes = {"text/plain", "application/x-a"};
    EXPECT_EQ(valueIn(entry, "MimeType"), "text/plain;application/x-a;");
}

TEST(DesktopEntryOwner, Is_only_read_from_the_entry_s_own_group) {
    EXPECT_EQ(bundleOfDesktopEntry("# c\n\n[Desktop Entry]\nName=x\nX-MOXSubscribe-Bundle=/a\\sb\n"), "/a b");
    EXPECT_EQ(bundleOfDesktopEntry("[Desktop Entry]\nX-MOXSubscribe-Bundle=/a"), "/a");
    EXPECT_EQ(bundleOfDesktopEntry("[Other]\nX-MOXSubscribe-Bundle=/a\n"), std::nullopt);
    EXPECT_EQ(bundleOfDesktopEntry("[Desktop Entry]\n[Other]\nX-MOXSubscribe-Bundle=/a\n"), std::nullopt);
    EXPECT_EQ(bundleOfDesktopEntry("X-MOXSubscribe-Bundle=/a\n"), std::nullopt);
}

TEST(DesktopEntryOwner, Is_nobody_of_ours_where_the_key_or_its_value_is_another) {
    for (const std::string line :
         {"X-MOXSubscribe-Bundle2=/a", "X-MOXSubscribe-Bundle[de]=/a", "X-MOXSubscribe-Bundle",
          "x-moxsubscribe-bundle=/a", "X-MOXSubscribe-Bundle=/a\\x", "X-MOXSubscribe-Bundle=/a\\"}) {
        EXPECT_EQ(bundleOfDesktopEntry("[Desktop Entry]\n" + line + "\n"), std::nullopt) << line;
    }
    EXPECT_EQ(bundleOfDesktopEntry(""), std::nullopt);
    EXPECT_EQ(bundleOfDesktopEntry("\n\n["), std::nullopt);
}

} // namespace
} // namespace mox
