#include "Foundation/PathRules.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace mox::test {
namespace {

std::vector<std::string> componentsRead(std::string_view path) {
    std::vector<std::string> components;
    PathComponentReader reader(path);
    while (const auto component = reader.next())
        components.emplace_back(*component);
    return components;
}

using Components = std::vector<std::string>;

TEST(PathComponentReader, Reads_a_leading_slash_as_a_component) {
    EXPECT_EQ(componentsRead("/a/bc"), (Components{"/", "a", "bc"}));
    EXPECT_EQ(componentsRead("a/bc"), (Components{"a", "bc"}));
    EXPECT_EQ(componentsRead("/"), (Components{"/"}));
}

TEST(PathComponentReader, Reads_a_slash_at_the_end_as_a_component) {
    EXPECT_EQ(componentsRead("/a/"), (Components{"/", "a", "/"}));
    EXPECT_EQ(componentsRead("a//"), (Components{"a", "/"}));
}

TEST(PathComponentReader, Counts_a_run_of_slashes_once) {
    EXPECT_EQ(componentsRead("//a///b"), (Components{"/", "a", "b"}));
    EXPECT_EQ(componentsRead("///"), (Components{"/"}));
}

TEST(PathComponentReader, Finds_nothing_in_the_empty_path_however_often_it_is_asked) {
    PathComponentReader reader("");
    EXPECT_EQ(reader.next(), std::nullopt);
    EXPECT_EQ(reader.next(), std::nullopt);
}

TEST(PathComponentReader, Takes_points_for_ordinary_components) {
    EXPECT_EQ(componentsRead("./../a"), (Components{".", "..", "a"}));
}

TEST(ViewByDeletingLastPathComponent, Is_a_beginning_of_the_path_itself) {
    const std::string path = "/a/b//c/";
    const std::string_view parent = viewByDeletingLastPathComponent(path);
    EXPECT_EQ(parent, "/a/b");
    EXPECT_EQ(parent.data(), path.data());
}

TEST(ViewOfPathExtension, Is_a_part_of_the_path_itself) {
    const std::string path = "/a.b/Word.app/";
    const std::string_view extension = viewOfPathExtension(path);
    EXPECT_EQ(extension, "app");
    EXPECT_EQ(extension.data(), path.data() + path.find("app"));
}

} // namespace
} // namespace mox::test
