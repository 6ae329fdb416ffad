#include "Foundation/UnicodeText.hpp"

#include <gtest/gtest.h>

namespace mox {
namespace {

using namespace std::string_literals;

TEST(UnicodeText, Well_formed_text_is_told_from_the_rest) {
    for (const char* text : {"", "a", "é", "€", "\U0001F600", "\U0010FFFF", "\uFFFF", "\uD7FF", "\uE000",
                             "long enough for a block of eight é"}) {
        EXPECT_TRUE(isValidUTF8(text)) << text;
        EXPECT_EQ(repairedUTF8(text), text);
    }
    EXPECT_TRUE(isValidUTF8("a\0b"s));
    for (const char* text : {"\x80", "\xC3", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF",
                             "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80",
                             "\xF5\x80\x80\x80", "\xFF", "12345678\xFF", "\xE2\x82", "\xF0\x9F\x98"}) {
        EXPECT_FALSE(isValidUTF8(text)) << text;
    }
}

TEST(UnicodeText, Each_longest_ill_formed_part_becomes_one_replacement_character) {
    EXPECT_EQ(repairedUTF8("a\xFF"
                           "b"),
              "a\uFFFDb");
    EXPECT_EQ(repairedUTF8("\xFF\xFF"), "\uFFFD\uFFFD");
    EXPECT_EQ(repairedUTF8("\xE2\x82"
                           "a"),
              "\uFFFDa");
    EXPECT_EQ(repairedUTF8("\xF0\x9F\x98"), "\uFFFD");
    EXPECT_EQ(repairedUTF8("\xF0\x9F\x98é"), "\uFFFDé");
    EXPECT_EQ(repairedUTF8("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(repairedUTF8("\xC0\x80"), "\uFFFD\uFFFD");
    EXPECT_EQ(repairedUTF8("12345678\xC3"
                           "12345678"),
              "12345678\uFFFD"
              "12345678");
}

TEST(UnicodeText, The_order_is_that_of_UTF16_code_units) {
    const char* ascending[] = {"",       "A",          "AA",         "B",      "a",     "é",
                               "\uD7FF", "\U00010000", "\U0010FFFF", "\uE000", "\uFFFF"};
    for (std::size_t left = 0; left < std::size(ascending); ++left) {
        for (std::size_t right = 0; right < std::size(ascending); ++right) {
            EXPECT_EQ(precedesByUTF16(ascending[left], ascending[right]), left < right)
                << left << " " << right;
        }
    }
    EXPECT_TRUE(precedesByUTF16("x\U0001F600", "x\uFB01"));
    EXPECT_FALSE(precedesByUTF16("x\uFB01", "x\U0001F600"));
}

TEST(UnicodeText, Lengths_count_UTF16_code_units) {
    EXPECT_EQ(lengthInUTF16(""), 0u);
    EXPECT_EQ(lengthInUTF16("a"), 1u);
    EXPECT_EQ(lengthInUTF16("é"), 1u);
    EXPECT_EQ(lengthInUTF16("€"), 1u);
    EXPECT_EQ(lengthInUTF16("a\U0001F600"), 3u);
}

TEST(UnicodeText, Every_scalar_value_has_a_well_formed_form_and_nothing_else_has_one) {
    for (char32_t scalar = 0; scalar <= 0x10FFFF; ++scalar) {
        std::string text;
        appendUTF8(text, scalar);
        const bool isSurrogate = scalar >= 0xD800 && scalar <= 0xDFFF;
        ASSERT_TRUE(isValidUTF8(text));
        ASSERT_EQ(text == "\uFFFD", isSurrogate || scalar == 0xFFFD);
        ASSERT_EQ(lengthInUTF16(text), scalar > 0xFFFF ? 2u : 1u);
    }
    std::string text;
    appendUTF8(text, 0x110000);
    appendUTF8(text, 0xFFFFFFFF);
    EXPECT_EQ(text, "\uFFFD\uFFFD");
}

} // namespace
} // namespace mox
