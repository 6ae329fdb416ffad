#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"

#include <gtest/gtest.h>

namespace mox {
namespace {

using namespace std::string_literals;

std::optional<PropertyList> read(std::string_view text) {
    return propertyListFromOldStyleText(text);
}

/// The text that a quoted word with `content` holds.
std::optional<PropertyList> quoted(const std::string& content) {
    return read("\"" + content + "\"");
}

TEST(OldStylePropertyListReading, Dictionaries_arrays_data_and_texts_are_read) {
    PropertyList::Dictionary inner;
    inner.set("x", "y");
    PropertyList::Dictionary expected;
    expected.set("bare", "word");
    expected.set("two words", "it's");
    expected.set("list", PropertyList::Array{"1", "two", PropertyList::Data("\x0A\xBC"), inner,
                                             PropertyList::Array()});
    expected.set("empty", PropertyList::Dictionary());
    EXPECT_EQ(
        read("{ bare = word; \"two words\" = \"it's\"; /* c */ list = (1, 'two', <0a Bc>, {x=y;}, ());\n"
             "// to the end\n empty = {}; }"),
        PropertyList(expected));
}

TEST(OldStylePropertyListReading, Each_kind_may_be_the_root) {
    EXPECT_EQ(read("( a, b, )"), PropertyList(PropertyList::Array{"a", "b"}));
    EXPECT_EQ(read("()"), PropertyList(PropertyList::Array()));
    EXPECT_EQ(read("<>"), PropertyList(PropertyList::Data("")));
    EXPECT_EQ(read("<0 1\n23>"), PropertyList(PropertyList::Data("\x01\x23")));
    EXPECT_EQ(read("word"), PropertyList("word"));
    EXPECT_EQ(read(" 'a b' "), PropertyList("a b"));
    EXPECT_EQ(read("http://a.b/_$:-"), PropertyList("http://a.b/_$:-"));
}

TEST(OldStylePropertyListReading, Entries_without_braces_are_a_dictionary) {
    PropertyList::Dictionary expected;
    expected.set("a", "b");
    expected.set("alone", "alone");
    expected.set("list", PropertyList::Array{"x"});
    EXPECT_EQ(read("a = b; \"alone\"; list = (x);"), PropertyList(expected));
    EXPECT_EQ(read("alone; a = b; list = (x); // end"), PropertyList(expected));
}

TEST(OldStylePropertyListReading, A_key_alone_is_an_entry_only_where_there_are_no_braces) {
    EXPECT_EQ(read("{ alone; }"), std::nullopt);
    EXPECT_EQ(read("a = { alone; };"), std::nullopt);
}

TEST(OldStylePropertyListReading, The_last_of_equal_keys_stays) {
    PropertyList::Dictionary expected;
    expected.set("a", "2");
    EXPECT_EQ(read("a = 1; a = 2;"), PropertyList(expected));
}

TEST(OldStylePropertyListReading, White_space_and_comments_alone_are_an_empty_dictionary) {
    for (const char* text : {" ", "\n\t\r\v\f", "/* */", "// end", "//", "\u2028\u2029", "\xEF\xBB\xBF"}) {
        EXPECT_EQ(read(text), PropertyList(PropertyList::Dictionary())) << text;
    }
    EXPECT_EQ(read(""), std::nullopt);
}

TEST(OldStylePropertyListReading, Escapes_are_understood) {
    EXPECT_EQ(quoted("\\n\\t\\r\\a\\b\\f\\v\\\"\\'\\\\"), PropertyList("\n\t\r\a\b\f\v\"'\\"));
    EXPECT_EQ(quoted("\\101\\60x\\0001"), PropertyList("A0x\0"
                                                       "1"s));
    EXPECT_EQ(quoted("\\U00e9\\u00E9"), PropertyList("éé"));
    EXPECT_EQ(quoted("\\Ue9z"), PropertyList("éz"));
    EXPECT_EQ(quoted("\\q\\%"), PropertyList("q%"));
    EXPECT_EQ(quoted("a\\\nb\nc"), PropertyList("a\nb\nc"));
    EXPECT_EQ(read("'a\"b\\'c'"), PropertyList("a\"b'c"));
}

TEST(OldStylePropertyListReading, Escaped_surrogates_combine_and_half_a_pair_is_a_replacement_character) {
    EXPECT_EQ(quoted("\\Ud83d\\Ude00"), PropertyList("\U0001F600"));
    EXPECT_EQ(quoted("\\Ud83d"), PropertyList("\uFFFD"));
    EXPECT_EQ(quoted("\\Ud83dx"), PropertyList("\uFFFDx"));
    EXPECT_EQ(quoted("\\Ud83d\\U0041"), PropertyList("\uFFFDA"));
    EXPECT_EQ(quoted("\\Ude00"), PropertyList("\uFFFD"));
}

TEST(OldStylePropertyListReading, Every_encoding_with_a_byte_order_mark_is_read) {
    PropertyList::Dictionary expected;
    expected.set("a", "é");
    EXPECT_EQ(read("\xEF\xBB\xBF{a=\"é\";}"), PropertyList(expected));
    EXPECT_EQ(read("\xFF\xFE{\0a\0=\0\"\0\xE9\0\"\0;\0}\0"s), PropertyList(expected));
    EXPECT_EQ(read("\xFE\xFF\0{\0a\0=\0\"\0\xE9\0\"\0;\0}"s), PropertyList(expected));
    EXPECT_EQ(read("\xFF\xFE\0\0a\0\0\0"s), PropertyList("a"));
    EXPECT_EQ(read("\0\0\xFE\xFF\0\0\0a"s), PropertyList("a"));
    EXPECT_EQ(read("\xFF\xFE"
                   "a\0b"s),
              std::nullopt)
        << "half a code unit";
    EXPECT_EQ(read("\"\xFF\""), std::nullopt) << "no UTF-8";
}

TEST(OldStylePropertyListReading, A_malformed_text_is_refused) {
    for (const char* text : {
             "{",        "}",          "(",
             ")",        "<",          ">",
             "\"",       "'",          "\"a",
             "\"a\\",    "\"a\\\"",    "'a\"",
             "{a",       "{a=",        "{a=b",
             "{a=b}",    "{a=b;",      "{a=b;;}",
             "{a b;}",   "{=b;}",      "{a=;}",
             "{(a)=b;}", "{<0a>=b;}",  "{a=b;} c",
             "(a b)",    "(,)",        "(a,,b)",
             "(,a)",     "(a",         "(a;)",
             "(a)b",     "<0>",        "<012>",
             "<0g>",     "<01",        "<01>x",
             "a b",      "a =",        "a = b",
             "a = b; c", "a = b; }",   "a = b;; c = d;",
             "= b;",     ";",          ",",
             "/* x",     "{ /* }",     "é",
             "a = é;",   "a=b,",       "\"\\U\"",
             "\"\\Ug\"", "\"a\"\"b\"", "{a=(};",
             "({)}",     "@",          "a = \"say \"hello\"\";",
         }) {
        EXPECT_EQ(read(text), std::nullopt) << text;
    }
}

TEST(OldStylePropertyListReading, Containers_are_read_down_to_the_greatest_depth_and_no_further) {
    const auto nested = [](std::size_t depth) { return std::string(depth, '(') + std::string(depth, ')'); };
    EXPECT_EQ(read(nested(maximumPropertyListDepth)), test::nestedArrays(maximumPropertyListDepth));
    EXPECT_EQ(read(nested(maximumPropertyListDepth + 1)), std::nullopt);
    EXPECT_EQ(read(nested(100'000)), std::nullopt);
    EXPECT_EQ(read(std::string(1'000'000, '(')), std::nullopt);
}

TEST(OldStylePropertyListReading, A_file_cut_short_anywhere_is_refused) {
    const std::string text =
        "{ a = b; \"c\\Ud83d\\Ude00\" = ( 1, 'two', <0aff>, {} ); /* x */ e = { f = (); }; }";
    ASSERT_TRUE(read(text));
    for (std::size_t size = 0; size < text.size(); ++size)
        EXPECT_EQ(read(text.substr(0, size)), std::nullopt) << size;
}

} // namespace
} // namespace mox
