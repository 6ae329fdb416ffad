#include "Foundation/PathRules.hpp"

#include <gtest/gtest.h>

namespace mox {
namespace {

using Components = std::vector<std::string>;

TEST(PathRules, A_leading_slash_is_the_first_component) {
    EXPECT_EQ(pathComponents("/a/b"), (Components{"/", "a", "b"}));
    EXPECT_EQ(pathComponents("a/b"), (Components{"a", "b"}));
    EXPECT_EQ(pathComponents("a"), (Components{"a"}));
    EXPECT_EQ(pathComponents(""), Components());
}

TEST(PathRules, Runs_of_slashes_count_once) {
    EXPECT_EQ(pathComponents("//a///b"), (Components{"/", "a", "b"}));
    EXPECT_EQ(pathComponents("/"), (Components{"/"}));
    EXPECT_EQ(pathComponents("///"), (Components{"/"}));
}

TEST(PathRules, A_slash_at_the_end_is_the_last_component) {
    EXPECT_EQ(pathComponents("/a/"), (Components{"/", "a", "/"}));
    EXPECT_EQ(pathComponents("a//"), (Components{"a", "/"}));
}

TEST(PathRules, Dots_are_ordinary_components) {
    EXPECT_EQ(pathComponents("/./../a"), (Components{"/", ".", "..", "a"}));
    EXPECT_EQ(lastPathComponent("a/.."), "..");
    EXPECT_EQ(stringByDeletingLastPathComponent("a/../b"), "a/..");
    EXPECT_EQ(stringByAppendingPathComponent("a", ".."), "a/..");
}

TEST(PathRules, The_last_component_leaves_a_slash_at_the_end_aside) {
    EXPECT_EQ(lastPathComponent("/a/b/"), "b");
    EXPECT_EQ(lastPathComponent("/a/b"), "b");
    EXPECT_EQ(lastPathComponent("a//"), "a");
    EXPECT_EQ(lastPathComponent("a"), "a");
    EXPECT_EQ(lastPathComponent("/"), "/");
    EXPECT_EQ(lastPathComponent("//"), "/");
    EXPECT_EQ(lastPathComponent(""), "");
}

TEST(PathRules, Without_the_last_component) {
    EXPECT_EQ(stringByDeletingLastPathComponent("/a/b/"), "/a");
    EXPECT_EQ(stringByDeletingLastPathComponent("/a/b"), "/a");
    EXPECT_EQ(stringByDeletingLastPathComponent("/a//b"), "/a");
    EXPECT_EQ(stringByDeletingLastPathComponent("/a"), "/");
    EXPECT_EQ(stringByDeletingLastPathComponent("a/b"), "a");
    EXPECT_EQ(stringByDeletingLastPathComponent("a"), "");
    EXPECT_EQ(stringByDeletingLastPathComponent("/"), "/");
    EXPECT_EQ(stringByDeletingLastPathComponent("//"), "/");
    EXPECT_EQ(stringByDeletingLastPathComponent("//a"), "/");
    EXPECT_EQ(stringByDeletingLastPathComponent("/a/"), "/");
    EXPECT_EQ(stringByDeletingLastPathComponent("a/"), "");
    EXPECT_EQ(stringByDeletingLastPathComponent(""), "");
}

TEST(PathRules, Appending_puts_exactly_one_slash_between) {
    EXPECT_EQ(stringByAppendingPathComponent("/a", "b"), "/a/b");
    EXPECT_EQ(stringByAppendingPathComponent("/a/", "b"), "/a/b");
    EXPECT_EQ(stringByAppendingPathComponent("/a", "/b"), "/a/b");
    EXPECT_EQ(stringByAppendingPathComponent("/a//", "//b//"), "/a/b");
    EXPECT_EQ(stringByAppendingPathComponent("/a", "b/c"), "/a/b/c");
    EXPECT_EQ(stringByAppendingPathComponent("http://x", "y"), "http:/x/y");
    EXPECT_EQ(stringByAppendingPathComponent("a", ""), "a");
}

TEST(PathRules, Appending_to_nothing_and_to_the_root_builds_the_paths_of_the_folder_list) {
    EXPECT_EQ(stringByAppendingPathComponent("", "/"), "/");
    EXPECT_EQ(stringByAppendingPathComponent("", "a"), "a");
    EXPECT_EQ(stringByAppendingPathComponent("/", "/"), "/");
    EXPECT_EQ(stringByAppendingPathComponent("/", "Users"), "/Users");
    EXPECT_EQ(stringByAppendingPathComponent("", ""), "");
}

TEST(PathRules, Extensions_are_added_found_and_removed) {
    EXPECT_EQ(stringByAppendingPathExtension("Word", "app"), "Word.app");
    EXPECT_EQ(stringByAppendingPathExtension("/a/Word/", "app"), "/a/Word.app");
    EXPECT_EQ(pathExtension("/a.b/Word.app"), "app");
    EXPECT_EQ(pathExtension("Word.app/"), "app");
    EXPECT_EQ(pathExtension("a.tar.gz"), "gz");
    EXPECT_EQ(stringByDeletingPathExtension("/a/Word.app"), "/a/Word");
    EXPECT_EQ(stringByDeletingPathExtension("/a/Word.app/"), "/a/Word");
    EXPECT_EQ(stringByDeletingPathExtension("a.tar.gz"), "a.tar");
}

TEST(PathRules, The_root_and_the_empty_path_have_no_extension) {
    for (const std::string_view path : {"/", ""}) {
        EXPECT_EQ(pathExtension(path), "");
        EXPECT_EQ(stringByDeletingPathExtension(path), path);
    }
}

TEST(PathRules, A_component_that_only_begins_with_a_dot_has_no_extension) {
    EXPECT_EQ(pathExtension(".app"), "");
    EXPECT_EQ(pathExtension("/a/.app"), "");
    EXPECT_EQ(stringByDeletingPathExtension(".app"), ".app");
    EXPECT_EQ(stringByDeletingPathExtension("/a/.app"), "/a/.app");
    EXPECT_EQ(pathExtension("a.b/c"), "");
    EXPECT_EQ(stringByDeletingPathExtension("a.b/c"), "a.b/c");
}

TEST(PathRules, A_dot_at_the_end_is_an_empty_extension_and_goes_with_it) {
    EXPECT_EQ(pathExtension("a."), "");
    EXPECT_EQ(stringByDeletingPathExtension("a."), "a");
}

TEST(PathRules, Components_are_kept_byte_by_byte) {
    EXPECT_EQ(pathComponents("/e\u0301/\u00E9"), (Components{"/", "e\u0301", "\u00E9"}));
}

} // namespace
} // namespace mox
