#include <gtest/gtest.h>

#include "PathArguments.hpp"

namespace mox::tool {
namespace {

const std::string applications = "/home/user/Applications";

TEST(StorePath, A_relative_path_lies_below_the_applications_folder) {
    EXPECT_EQ(storePath("Office/Writer", applications), "/home/user/Applications/Office/Writer");
}

TEST(StorePath, An_absolute_path_stays) {
    EXPECT_EQ(storePath("/srv/Writer", applications), "/srv/Writer");
}

TEST(StorePath, Slashes_at_the_end_and_runs_of_them_go) {
    EXPECT_EQ(storePath("Office//Old/", applications), "/home/user/Applications/Office/Old");
    EXPECT_EQ(storePath("//", applications), "/");
}

TEST(StorePath, Dots_are_ordinary_components) {
    EXPECT_EQ(storePath("../x/.", applications), "/home/user/Applications/../x/.");
}

TEST(StorePath, Bytes_that_are_no_UTF8_are_repaired_as_the_store_repairs_them) {
    EXPECT_EQ(storePath("/a\xFF/\xE2\x82", applications), "/a\uFFFD/\uFFFD");
}

TEST(StorePath, The_empty_path_stays_empty) {
    EXPECT_EQ(storePath("", applications), "");
}

} // namespace
} // namespace mox::tool
