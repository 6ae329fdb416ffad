#include "Formats/PropertyListWriting.hpp"
#include "Formats/StringsFile.hpp"

#include <gtest/gtest.h>

namespace mox {
namespace {

using namespace std::string_literals;
using Strings = std::map<std::string, std::string, std::less<>>;

TEST(StringsFile, Entries_are_read_in_every_spelling) {
    EXPECT_EQ(
        stringsFromBytes("/* Comment */\n\"key\" = \"value\";\n'single' = \"it's\";\nbare = word;\nalone;\n"
                         "// another\n\"a\\\"b\" = \"1\\n2\\t\\101\\U00e9\";"),
        (Strings{{"key", "value"},
                 {"single", "it's"},
                 {"bare", "word"},
                 {"alone", "alone"},
                 {"a\"b", "1\n2\tAé"}}));
}

TEST(StringsFile, The_last_of_equal_keys_stays) {
    EXPECT_EQ(stringsFromBytes("a = 1; b = 2; a = 3;"), (Strings{{"a", "3"}, {"b", "2"}}));
}

TEST(StringsFile, Comments_alone_are_no_entries) {
    EXPECT_EQ(stringsFromBytes("/* nothing */\n"), Strings());
}

TEST(StringsFile, Every_encoding_is_read) {
    const Strings expected{{"k", "é"}};
    EXPECT_EQ(stringsFromBytes("\"k\"=\"é\";"), expected);
    EXPECT_EQ(stringsFromBytes("\xEF\xBB\xBF\"k\"=\"é\";"), expected);
    EXPECT_EQ(stringsFromBytes("\xFF\xFEk\0=\0\"\0\xE9\0\"\0;\0"s), expected);
    EXPECT_EQ(stringsFromBytes("\xFE\xFF\0k\0=\0\"\0\xE9\0\"\0;"s), expected);
    EXPECT_EQ(stringsFromBytes("\xFF\xFE\0\0k\0\0\0;\0\0\0"s), (Strings{{"k", "k"}}));
    EXPECT_EQ(stringsFromBytes("k = \"\xE9\";"), std::nullopt) << "neither marked nor UTF-8";
}

TEST(StringsFile, Property_lists_in_XML_and_binary_form_are_accepted) {
    PropertyList::Dictionary entries;
    entries.set("k", "v");
    EXPECT_EQ(stringsFromBytes(xmlFromPropertyList(entries).value()), (Strings{{"k", "v"}}));
    EXPECT_EQ(stringsFromBytes(binaryFromPropertyList(entries).value()), (Strings{{"k", "v"}}));
    EXPECT_EQ(stringsFromBytes("{ k = v; }"), (Strings{{"k", "v"}}));
}

TEST(StringsFile, A_single_malformed_entry_makes_the_whole_file_unreadable) {
    for (const char* text : {"", "a = b", "a = b; c = d", "a = b; c", "a b;", "a = \"say \"hello\"\"; b = c;",
                             "a = \"open;", "a = b; }", "/* open", "= b;"}) {
        EXPECT_EQ(stringsFromBytes(text), std::nullopt) << text;
    }
}

TEST(StringsFile, Values_that_are_no_texts_make_the_whole_file_unreadable) {
    for (const char* text : {"a = b; c = (d);", "c = {};", "c = <0a>;", "(a)", "a", "<0a>",
                             "<dict><key>k</key><integer>1</integer></dict>", "<array/>"}) {
        EXPECT_EQ(stringsFromBytes(text), std::nullopt) << text;
    }
}

} // namespace
} // namespace mox
