#include <gtest/gtest.h>

#include "PrintableText.hpp"

namespace mox::tool {
namespace {

TEST(PrintableText, Ordinary_text_and_backslashes_stay) {
    EXPECT_EQ(printable("Écran \\ 日本 \U0001F600"), "Écran \\ 日本 \U0001F600");
}

TEST(PrintableText, Control_characters_of_both_ranges_are_written_out) {
    EXPECT_EQ(printable("a\nb\x1B[2J\x7F"), "a\\u{0A}b\\u{1B}[2J\\u{7F}");
    EXPECT_EQ(printable("\u0085\u009B"), "\\u{85}\\u{9B}");
    EXPECT_EQ(printable(std::string_view("\0", 1)), "\\u{00}");
}

TEST(PrintableText, Characters_that_turn_the_reading_direction_are_written_out) {
    EXPECT_EQ(printable("\u202Egpj.exe"), "\\u{202E}gpj.exe");
    EXPECT_EQ(printable("\u2066\u2069\u200F\u061C\u2028"), "\\u{2066}\\u{2069}\\u{200F}\\u{61C}\\u{2028}");
}

TEST(PrintableText, Each_byte_that_is_no_UTF8_is_written_out) {
    EXPECT_EQ(printable("\xFF"), "\\xFF");
    EXPECT_EQ(printable("\xC3("), "\\xC3(");
    EXPECT_EQ(printable("\xED\xA0\x80"), "\\xED\\xA0\\x80");
    EXPECT_EQ(printable("\xC0\xAF"), "\\xC0\\xAF");
    EXPECT_EQ(printable("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80");
    EXPECT_EQ(printable("a\xE2\x82"), "a\\xE2\\x82");
}

} // namespace
} // namespace mox::tool
