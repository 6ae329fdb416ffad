#include <gtest/gtest.h>

#include "AbsoluteURL.hpp"

namespace mox::tool {
namespace {

constexpr std::string_view base = "http://a/b/c/d;p?q";

struct Resolution {
    std::string_view reference;
    std::string_view url;
};

class URLResolution : public testing::TestWithParam<Resolution> {};

TEST_P(URLResolution, Gives_the_url_that_RFC_3986_lists) {
    EXPECT_EQ(absoluteURL(GetParam().reference, base), GetParam().url);
}

INSTANTIATE_TEST_SUITE_P(
    NormalAndAbnormalExamples, URLResolution,
    testing::Values(Resolution{"g:h", "g:h"}, Resolution{"g", "http://a/b/c/g"},
                    Resolution{"./g", "http://a/b/c/g"}, Resolution{"g/", "http://a/b/c/g/"},
                    Resolution{"/g", "http://a/g"}, Resolution{"//g", "http://g"},
                    Resolution{"?y", "http://a/b/c/d;p?y"}, Resolution{"g?y", "http://a/b/c/g?y"},
                    Resolution{"#s", "http://a/b/c/d;p?q#s"}, Resolution{"g#s", "http://a/b/c/g#s"},
                    Resolution{"g?y#s", "http://a/b/c/g?y#s"}, Resolution{";x", "http://a/b/c/;x"},
                    Resolution{"g;x", "http://a/b/c/g;x"}, Resolution{"g;x?y#s", "http://a/b/c/g;x?y#s"},
                    Resolution{"", "http://a/b/c/d;p?q"}, Resolution{".", "http://a/b/c/"},
                    Resolution{"./", "http://a/b/c/"}, Resolution{"..", "http://a/b/"},
                    Resolution{"../", "http://a/b/"}, Resolution{"../g", "http://a/b/g"},
                    Resolution{"../..", "http://a/"}, Resolution{"../../", "http://a/"},
                    Resolution{"../../g", "http://a/g"}, Resolution{"../../../g", "http://a/g"},
                    Resolution{"../../../../g", "http://a/g"}, Resolution{"/./g", "http://a/g"},
                    Resolution{"/../g", "http://a/g"}, Resolution{"g.", "http://a/b/c/g."},
                    Resolution{".g", "http://a/b/c/.g"}, Resolution{"g..", "http://a/b/c/g.."},
                    Resolution{"..g", "http://a/b/c/..g"}, Resolution{"./../g", "http://a/b/g"},
                    Resolution{"./g/.", "http://a/b/c/g/"}, Resolution{"g/./h", "http://a/b/c/g/h"},
                    Resolution{"g/../h", "http://a/b/c/h"}, Resolution{"g;x=1/./y", "http://a/b/c/g;x=1/y"},
                    Resolution{"g;x=1/../y", "http://a/b/c/y"}, Resolution{"g?y/./x", "http://a/b/c/g?y/./x"},
                    Resolution{"g?y/../x", "http://a/b/c/g?y/../x"},
                    Resolution{"g#s/./x", "http://a/b/c/g#s/./x"},
                    Resolution{"g#s/../x", "http://a/b/c/g#s/../x"}, Resolution{"http:g", "http:g"}));

TEST(AbsoluteURL, A_reference_from_the_root_of_a_server_without_a_path_gets_the_server) {
    EXPECT_EQ(absoluteURL("/RDWeb/x.rdp", "https://apps.example.com"),
              "https://apps.example.com/RDWeb/x.rdp");
    EXPECT_EQ(absoluteURL("x.rdp", "https://apps.example.com"), "https://apps.example.com/x.rdp");
}

TEST(AbsoluteURL, What_is_relative_against_a_path_stays_without_a_url) {
    EXPECT_EQ(absoluteURL("/RDWeb/x.rdp", "/home/user/feed.xml"), std::nullopt);
    EXPECT_EQ(absoluteURL("", ""), std::nullopt);
}

TEST(AbsoluteURL, An_absolute_reference_needs_no_base) {
    EXPECT_EQ(absoluteURL("https://a/x", "feed.xml"), "https://a/x");
}

TEST(AbsoluteURL, Blanks_and_letters_outside_ASCII_pass_through) {
    EXPECT_EQ(absoluteURL("/my apps/é.rdp", "https://a/feed"), "https://a/my apps/é.rdp");
}

TEST(AbsoluteURL, Only_a_letter_begins_a_scheme) {
    EXPECT_TRUE(isAbsoluteURL("h2:x"));
    EXPECT_FALSE(isAbsoluteURL("2h:x"));
    EXPECT_FALSE(isAbsoluteURL("a/b:c"));
    EXPECT_FALSE(isAbsoluteURL(""));
}

TEST(LastComponentOfURL, Query_and_fragment_are_cut_and_the_rest_is_decoded) {
    EXPECT_EQ(lastComponentOfURL("/RDWeb/Pages/calc_32x32.png?hash=a%2Fb/c#d/e"), "calc_32x32.png");
    EXPECT_EQ(lastComponentOfURL("https://a/my%20icon.png"), "my icon.png");
    EXPECT_EQ(lastComponentOfURL("icon.png"), "icon.png");
}

TEST(LastComponentOfURL, Is_empty_when_the_path_ends_in_a_slash_or_is_missing) {
    EXPECT_EQ(lastComponentOfURL("https://a/icons/"), "");
    EXPECT_EQ(lastComponentOfURL("https://icon.png"), "");
    EXPECT_EQ(lastComponentOfURL(""), "");
}

TEST(LastComponentOfURL, Damaged_escapes_stay_as_they_are) {
    EXPECT_EQ(lastComponentOfURL("a%2"), "a%2");
    EXPECT_EQ(lastComponentOfURL("a%zz%"), "a%zz%");
}

} // namespace
} // namespace mox::tool
