#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LaunchURL.hpp"

namespace mox::launcher {
namespace {

using testing::HasSubstr;
using testing::Optional;

TEST(LaunchURL, Addresses_of_the_web_pass_whatever_their_case) {
    for (const char* url : {"http://a", "https://apps.example.com/x?y=1&z=%20#f", "HTTPS://A",
                            "https://a b/c d", "https://[::1]/x", "https://a/é", "https://a/$(x)`y`;'\""})
        EXPECT_EQ(objectionToLaunchURL(url, {}), std::nullopt) << url;
}

TEST(LaunchURL, Other_schemes_pass_only_when_they_are_allowed_whatever_their_case) {
    EXPECT_THAT(objectionToLaunchURL("Fleet+1.x-y:start", {}), Optional(HasSubstr("fleet+1.x-y")));
    EXPECT_THAT(objectionToLaunchURL("fleet:start", {"fleets", "flee", ""}), Optional(HasSubstr("scheme")));
    EXPECT_EQ(objectionToLaunchURL("Fleet+1.x-y:start", {"other", "fLEET+1.X-Y"}), std::nullopt);
}

TEST(LaunchURL, Files_data_and_scripts_never_pass_even_when_they_are_allowed) {
    for (const char* url : {"file:///etc/passwd", "FILE:///etc/passwd", "data:text/html,x", "dAtA:,",
                            "javascript:alert(1)", "JavaScript:alert(1)"})
        EXPECT_THAT(objectionToLaunchURL(url, {"file", "File", "data", "javascript", "FILE"}),
                    Optional(HasSubstr("scheme")))
            << url;
}

TEST(LaunchURL, What_is_relative_a_path_or_an_option_is_refused) {
    for (const char* url :
         {"/usr/bin/true", "x.rdp", "a/b:c", "//a/b", "-x", "--help", "--url=https://a", "-http://a",
          " http://a", ":x", "1http://a", "http", "é:x", "%68ttp://a", "?http://a"})
        EXPECT_THAT(objectionToLaunchURL(url, {"x"}), Optional(HasSubstr("not an absolute URL"))) << url;
}

TEST(LaunchURL, Control_characters_are_refused) {
    using namespace std::string_view_literals;
    for (const std::string_view url :
         {"https://a/\n-x"sv, "https://a/\0b"sv, "\thttps://a"sv, "java\nscript:x"sv, "https://a\x1b[2J"sv,
          "https://a/\x7f"sv, "https://a/\xc2\x9b"sv, "https://a\r"sv})
        EXPECT_THAT(objectionToLaunchURL(url, {}), Optional(HasSubstr("control characters")));
}

TEST(LaunchURL, What_leads_nowhere_is_refused) {
    EXPECT_THAT(objectionToLaunchURL("", {}), Optional(HasSubstr("empty")));
    for (const char* url : {"http:", "https://", "https:///x", "https:a", "https:/a", "https://?x",
                            "http://#x", "https://\\x", "fleet:"})
        EXPECT_THAT(objectionToLaunchURL(url, {"fleet"}), Optional(HasSubstr("nowhere"))) << url;
}

} // namespace
} // namespace mox::launcher
