#include <gtest/gtest.h>

#include "FileTypeOption.hpp"

namespace mox::tool {
namespace {

TEST(FileTypeOption, Group_extensions_and_description_are_read) {
    EXPECT_EQ(fileTypeFromOption("Text:.odt,.txt:Text document"),
              (MOXFileType{"Text", {".odt", ".txt"}, "Text document"}));
}

TEST(FileTypeOption, The_description_may_be_missing_empty_or_hold_a_colon) {
    EXPECT_EQ(fileTypeFromOption("Text:.odt"), (MOXFileType{"Text", {".odt"}, std::nullopt}));
    EXPECT_EQ(fileTypeFromOption("Text:.odt:"), (MOXFileType{"Text", {".odt"}, ""}));
    EXPECT_EQ(fileTypeFromOption("Text:.odt:a:b"), (MOXFileType{"Text", {".odt"}, "a:b"}));
}

TEST(FileTypeOption, What_lacks_a_group_an_extension_or_its_dot_is_refused) {
    for (const char* text :
         {"", "Text", ":.odt", "Text:", "Text::x", "Text:odt", "Text:.", "Text:.odt,,.txt"}) {
        EXPECT_EQ(fileTypeFromOption(text), std::nullopt) << text;
    }
}

} // namespace
} // namespace mox::tool
