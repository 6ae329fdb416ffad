#include <gtest/gtest.h>

#include "PlainName.hpp"

namespace mox::tool {
namespace {

TEST(PlainName, Slashes_NUL_and_control_characters_become_hyphens) {
    EXPECT_EQ(plainName("Income/Expenses"), "Income-Expenses");
    EXPECT_EQ(plainName(std::string_view("a\0b\nc\x7F\u0085", 8)), "a-b-c--");
}

TEST(PlainName, The_names_of_a_folder_itself_and_its_parent_become_hyphens) {
    EXPECT_EQ(plainName("."), "-");
    EXPECT_EQ(plainName(".."), "--");
    EXPECT_EQ(plainName("..."), "...");
    EXPECT_EQ(plainName("../x"), "..-x");
}

TEST(PlainName, Other_text_stays) {
    EXPECT_EQ(plainName("-rf %n $(x) é"), "-rf %n $(x) é");
}

TEST(CutAtCharacter, A_character_is_never_cut_in_two) {
    EXPECT_EQ(cutAtCharacter("aé", 2), "a");
    EXPECT_EQ(cutAtCharacter("aé", 3), "aé");
    EXPECT_EQ(cutAtCharacter("\U0001F600", 3), "");
}

} // namespace
} // namespace mox::tool
