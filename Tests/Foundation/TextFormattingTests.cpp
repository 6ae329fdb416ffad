#include "Foundation/TextFormatting.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace mox {
namespace {

TEST(TextFormatting, Each_place_prints_its_argument) {
    EXPECT_EQ(formatted("%s Error (%@): %d, %ld, %lu", {"-[A b]", "text", -1, -2L, 3UL}),
              "-[A b] Error (text): -1, -2, 3");
    EXPECT_EQ(formatted("%@/%@", {"a", std::string("b")}), "a/b");
    EXPECT_EQ(formatted("%lu", {std::numeric_limits<std::uint64_t>::max()}), "18446744073709551615");
    EXPECT_EQ(formatted("%ld", {std::numeric_limits<std::int64_t>::min()}), "-9223372036854775808");
}

TEST(TextFormatting, Nil_prints_the_null_marker) {
    EXPECT_EQ(formatted("(%@)", {std::nullopt}), "((null))");
    EXPECT_EQ(formatted("%@", {std::optional<std::string>()}), "(null)");
    EXPECT_EQ(formatted("%@", {std::optional<std::string>("x")}), "x");
}

TEST(TextFormatting, An_error_prints_its_form_for_logs) {
    EXPECT_EQ(formatted("%@", {Error("D", 5, {{"NSLocalizedDescription", "text"}})}),
              "Error Domain=D Code=5 \"text\"");
}

TEST(TextFormatting, A_place_prints_by_its_arguments_own_type) {
    EXPECT_EQ(formatted("%s %d", {5, "text"}), "5 text");
}

TEST(TextFormatting, A_place_without_an_argument_prints_the_null_marker_and_one_too_many_is_left_out) {
    EXPECT_EQ(formatted("%s %@", {"a"}), "a (null)");
    EXPECT_EQ(formatted("%s", {"a", "b"}), "a");
}

TEST(TextFormatting, Percent_signs_that_are_no_place_stay) {
    EXPECT_EQ(formatted("100%% %n % %", {}), "100% %n % %");
    EXPECT_EQ(formatted("%%s", {"a"}), "%s");
    EXPECT_EQ(formatted("", {}), "");
}

TEST(TextFormatting, Places_in_an_argument_are_text) {
    EXPECT_EQ(formatted("%@ %@", {"%s%n%@", "b"}), "%s%n%@ b");
}

} // namespace
} // namespace mox
