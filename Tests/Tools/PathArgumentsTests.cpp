#include <gtest/gtest.h>

#include <sstream>

#include "PathArguments.hpp"
#include "Session.hpp"

namespace mox::tool {
namespace {

const std::string applications = "/home/user/Applications";

TEST(AbsoluteArgument, A_relative_path_lies_below_the_applications_folder) {
    EXPECT_EQ(absoluteArgument("Office/Writer", applications), "/home/user/Applications/Office/Writer");
}

TEST(AbsoluteArgument, An_absolute_path_stays) {
    EXPECT_EQ(absoluteArgument("/srv/Writer", applications), "/srv/Writer");
}

TEST(AbsoluteArgument, Slashes_at_the_end_and_runs_of_them_go) {
    EXPECT_EQ(absoluteArgument("Office//Old/", applications), "/home/user/Applications/Office/Old");
    EXPECT_EQ(absoluteArgument("//", applications), "/");
}

TEST(AbsoluteArgument, Dots_are_ordinary_components) {
    EXPECT_EQ(absoluteArgument("../x/.", applications), "/home/user/Applications/../x/.");
}

TEST(AbsoluteArgument, Bytes_that_are_no_UTF8_stay) {
    EXPECT_EQ(absoluteArgument("/a\xFF/\xE2\x82", applications), "/a\xFF/\xE2\x82");
}

TEST(SessionPath, Bytes_that_are_no_UTF8_are_repaired_as_the_file_of_the_dictionary_model_repairs_them) {
    std::ostringstream output;
    std::ostringstream errors;
    EXPECT_EQ(Session(SubscriptionModel::Dictionary, output, errors).path("/a\xFF/\xE2\x82"),
              "/a\uFFFD/\uFFFD");
    EXPECT_EQ(Session(SubscriptionModel::ApplicationBundle, output, errors).path("/a\xFF/\xE2\x82"),
              "/a\xFF/\xE2\x82");
}

TEST(AbsoluteArgument, The_empty_path_stays_empty) {
    EXPECT_EQ(absoluteArgument("", applications), "");
}

} // namespace
} // namespace mox::tool
