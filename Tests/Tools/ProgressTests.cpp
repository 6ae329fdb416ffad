#include <gtest/gtest.h>

#include <sstream>

#include "Progress.hpp"

namespace mox::tool {
namespace {

TEST(Progress, Without_a_terminal_each_step_is_a_line) {
    std::ostringstream output;
    {
        Progress progress(output, 2, 0);
        progress.step("Writer", "done");
        progress.step("Bad\nname", "skipped");
    }
    EXPECT_EQ(output.str(), "[1/2] Writer: done\n[2/2] Bad\\u{0A}name: skipped\n");
}

TEST(Progress, On_a_terminal_a_bar_is_drawn_anew_and_wiped_at_the_end) {
    std::ostringstream output;
    {
        Progress progress(output, 2, 40);
        progress.step("Writer", "done");
        EXPECT_EQ(output.str(), "\r[############            ] 1/2 Writer\x1B[K");
    }
    EXPECT_TRUE(output.str().ends_with("\r\x1B[K"));
}

TEST(Progress, On_a_terminal_a_long_subject_is_cut_at_its_width) {
    std::ostringstream output;
    Progress progress(output, 1, 40);
    progress.step("éééééééééééééééé", "done");
    EXPECT_EQ(output.str(), "\r[########################] 1/1 éééééééé\x1B[K");
}

TEST(Progress, A_narrow_terminal_shows_no_subject) {
    std::ostringstream output;
    Progress progress(output, 1, 10);
    progress.step("Writer", "done");
    EXPECT_EQ(output.str(), "\r[########################] 1/1 \x1B[K");
}

} // namespace
} // namespace mox::tool
