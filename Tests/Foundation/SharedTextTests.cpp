#include "Foundation/SharedText.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace mox {
namespace {

TEST(SharedText, Copies_share_one_text) {
    std::string source = "a text of more than a few characters";
    const SharedText text{source};
    source[0] = 'b';
    const SharedText copy = text; // NOLINT(performance-unnecessary-copy-initialization): this is the test.
    EXPECT_EQ(copy, "a text of more than a few characters");
    EXPECT_EQ(copy.view().data(), text.view().data());
}

TEST(SharedText, Equal_texts_are_equal_wherever_they_are) {
    EXPECT_EQ(SharedText("text"), SharedText("text"));
    EXPECT_NE(SharedText("text"), SharedText("texts"));
    EXPECT_NE(SharedText("text"), SharedText());
    EXPECT_EQ(SharedText("text"), "text");
    EXPECT_NE(SharedText("text"), "Text");
}

TEST(SharedText, No_text_is_empty) {
    EXPECT_EQ(SharedText().view(), "");
    EXPECT_EQ(SharedText(), SharedText(""));
    const SharedText copy = SharedText();
    EXPECT_TRUE(copy.view().empty());
}

TEST(SharedText, Bytes_of_any_value_stay) {
    const std::string bytes("\0a\xFF\0", 4);
    EXPECT_EQ(SharedText(bytes).view(), bytes);
}

TEST(SharedText, One_that_was_moved_from_has_no_text) {
    SharedText text("text");
    const SharedText moved = std::move(text);
    EXPECT_EQ(moved, "text");
    EXPECT_EQ(text, ""); // NOLINT(bugprone-use-after-move): this is the test.
    text = SharedText("new");
    EXPECT_EQ(text, "new");
    EXPECT_EQ(moved, "text");
}

TEST(SharedText, One_may_be_assigned_to_itself) {
    SharedText text("text");
    const SharedText& same = text;
    text = same;
    EXPECT_EQ(text, "text");
}

TEST(SharedText, Copies_share_their_text_and_equal_texts_and_none_do_not) {
    const SharedText text("text");
    const SharedText copy = text;
    EXPECT_TRUE(copy.isSharedWith(text));
    EXPECT_FALSE(text.isSharedWith(SharedText("text")));
    EXPECT_FALSE(text.isSharedWith(SharedText()));
    EXPECT_FALSE(SharedText().isSharedWith(SharedText()));
    EXPECT_FALSE(SharedText("").isSharedWith(SharedText("")));
}

TEST(SharedText, A_copy_keeps_the_text_when_the_others_are_gone) {
    SharedText copy;
    {
        const SharedText text("text");
        copy = text;
    }
    EXPECT_EQ(copy, "text");
}

} // namespace
} // namespace mox
