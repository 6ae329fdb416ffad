#include "SDK/MOXVersionNumber.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <tuple>
#include <type_traits>

namespace mox::test {
namespace {

using Parts = std::tuple<MOXUInteger, MOXUInteger, MOXUInteger, MOXUInteger>;

Parts partsOf(const MOXVersionNumber& version) {
    return {version.majorVersion(), version.minorVersion(), version.fixVersion(), version.buildVersion()};
}

Parts parsed(std::optional<std::string_view> string) {
    return partsOf(MOXVersionNumber(string));
}

constexpr auto largestSigned = static_cast<MOXUInteger>(std::numeric_limits<MOXInteger>::max());
constexpr auto largestUnsigned = std::numeric_limits<MOXUInteger>::max();

TEST(VersionNumber, Is_all_zeros_when_it_is_made_without_arguments) {
    EXPECT_EQ(partsOf(MOXVersionNumber()), Parts(0, 0, 0, 0));
    EXPECT_EQ(partsOf(MOXVersionNumber::versionNumber()), Parts(0, 0, 0, 0));
}

TEST(VersionNumber, Has_the_four_parts_that_it_is_given_in_their_order) {
    EXPECT_EQ(partsOf(MOXVersionNumber(1, 2, 3, 4)), Parts(1, 2, 3, 4));
    EXPECT_EQ(partsOf(MOXVersionNumber::versionNumberWithMajorVersion(5, 6, 7, 8)), Parts(5, 6, 7, 8));
    EXPECT_EQ(partsOf(MOXVersionNumber(0, 0, 0, largestUnsigned)), Parts(0, 0, 0, largestUnsigned));
}

TEST(VersionNumber, Lets_each_part_be_changed_alone) {
    MOXVersionNumber version;
    version.setMajorVersion(9);
    EXPECT_EQ(partsOf(version), Parts(9, 0, 0, 0));
    version.setMinorVersion(8);
    EXPECT_EQ(partsOf(version), Parts(9, 8, 0, 0));
    version.setFixVersion(7);
    EXPECT_EQ(partsOf(version), Parts(9, 8, 7, 0));
    version.setBuildVersion(6);
    EXPECT_EQ(partsOf(version), Parts(9, 8, 7, 6));
}

TEST(VersionNumber, Has_unsigned_parts_as_wide_as_the_machine_s_word) {
    static_assert(std::is_unsigned_v<MOXUInteger> && sizeof(MOXUInteger) == sizeof(void*));
    static_assert(std::is_signed_v<MOXInteger> && sizeof(MOXInteger) == sizeof(void*));
    static_assert(std::is_same_v<decltype(MOXVersionNumber().majorVersion()), MOXUInteger>);
}

TEST(VersionNumberParsing, Reads_four_components) {
    EXPECT_EQ(parsed("1.2.3.4"), Parts(1, 2, 3, 4));
    EXPECT_EQ(partsOf(MOXVersionNumber::versionNumberWithString("1.2.3.4")), Parts(1, 2, 3, 4));
}

TEST(VersionNumberParsing, Takes_a_missing_component_for_zero) {
    EXPECT_EQ(parsed("10"), Parts(10, 0, 0, 0));
    EXPECT_EQ(parsed("6.2"), Parts(6, 2, 0, 0));
    EXPECT_EQ(parsed("6.2.1"), Parts(6, 2, 1, 0));
}

TEST(VersionNumberParsing, Takes_nothing_and_nil_for_zeros) {
    EXPECT_EQ(parsed(""), Parts(0, 0, 0, 0));
    EXPECT_EQ(parsed(std::nullopt), Parts(0, 0, 0, 0));
    EXPECT_EQ(partsOf(MOXVersionNumber::versionNumberWithString(std::nullopt)), Parts(0, 0, 0, 0));
}

TEST(VersionNumberParsing, Keeps_empty_components_in_their_place) {
    EXPECT_EQ(parsed("5..2"), Parts(5, 0, 2, 0));
    EXPECT_EQ(parsed(".5"), Parts(0, 5, 0, 0));
    EXPECT_EQ(parsed("5."), Parts(5, 0, 0, 0));
    EXPECT_EQ(parsed("..."), Parts(0, 0, 0, 0));
}

TEST(VersionNumberParsing, Takes_a_negative_or_textual_component_for_zero) {
    EXPECT_EQ(parsed("1.-2.3"), Parts(1, 0, 3, 0));
    EXPECT_EQ(parsed("1.x.3"), Parts(1, 0, 3, 0));
}

TEST(VersionNumberParsing, Skips_white_space_before_a_component_and_text_behind_it) {
    EXPECT_EQ(parsed("1. 5"), Parts(1, 5, 0, 0));
    EXPECT_EQ(parsed("7b.\t+3 .2 9"), Parts(7, 3, 2, 0));
}

TEST(VersionNumberParsing, Ignores_components_after_the_fourth) {
    const MOXVersionNumber version(std::string_view("1.2.3.4.5"));
    EXPECT_EQ(partsOf(version), Parts(1, 2, 3, 4));
    EXPECT_EQ(version.stringValue(), "1.2.3.4");
}

TEST(VersionNumberParsing, Takes_a_number_beyond_the_signed_word_for_the_largest_one) {
    EXPECT_EQ(parsed("99999999999999999999.1"), Parts(largestSigned, 1, 0, 0));
    EXPECT_EQ(parsed("-99999999999999999999.1"), Parts(0, 1, 0, 0));
    EXPECT_EQ(parsed(std::to_string(largestSigned)), Parts(largestSigned, 0, 0, 0));
}

TEST(VersionComponent, Is_zero_when_the_index_is_not_below_the_count) {
    EXPECT_EQ(MOXVersionNumber::versionFromComponents({}, 0), 0U);
    EXPECT_EQ(MOXVersionNumber::versionFromComponents({"1", "2"}, 2), 0U);
    EXPECT_EQ(MOXVersionNumber::versionFromComponents({"1", "2"}, largestUnsigned), 0U);
    EXPECT_EQ(MOXVersionNumber::versionFromComponents({"1", "2"}, 1), 2U);
}

TEST(VersionComponent, Is_zero_when_its_value_is_below_one) {
    EXPECT_EQ(MOXVersionNumber::versionFromComponents({"0"}, 0), 0U);
    EXPECT_EQ(MOXVersionNumber::versionFromComponents({"-1"}, 0), 0U);
    EXPECT_EQ(MOXVersionNumber::versionFromComponents({"1"}, 0), 1U);
}

TEST(VersionNumberComparison, Goes_by_number_and_not_by_text) {
    EXPECT_EQ(MOXVersionNumber(1, 10, 0, 0).compare(MOXVersionNumber(1, 9, 0, 0)), 1);
    EXPECT_EQ(MOXVersionNumber(1, 9, 0, 0).compare(MOXVersionNumber(1, 10, 0, 0)), -1);
}

TEST(VersionNumberComparison, Is_decided_by_the_first_part_that_differs) {
    EXPECT_EQ(MOXVersionNumber(2, 0, 0, 0).compare(MOXVersionNumber(1, 9, 9, 9)), 1);
    EXPECT_EQ(MOXVersionNumber(1, 2, 0, 0).compare(MOXVersionNumber(1, 1, 9, 9)), 1);
    EXPECT_EQ(MOXVersionNumber(1, 1, 2, 0).compare(MOXVersionNumber(1, 1, 1, 9)), 1);
    EXPECT_EQ(MOXVersionNumber(1, 1, 1, 2).compare(MOXVersionNumber(1, 1, 1, 1)), 1);
    EXPECT_EQ(MOXVersionNumber(1, 1, 1, 1).compare(MOXVersionNumber(1, 1, 1, 2)), -1);
    EXPECT_EQ(MOXVersionNumber(1, 1, 1, 1).compare(MOXVersionNumber(1, 1, 1, 1)), 0);
}

TEST(VersionNumberComparison, Treats_parts_as_unsigned) {
    EXPECT_EQ(MOXVersionNumber(largestUnsigned, 0, 0, 0).compare(MOXVersionNumber(1, 0, 0, 0)), 1);
}

TEST(VersionNumberComparison, Takes_nil_for_zeros) {
    EXPECT_EQ(MOXVersionNumber().compare(std::nullopt), 0);
    EXPECT_EQ(MOXVersionNumber(0, 0, 0, 1).compare(std::nullopt), 1);
    EXPECT_TRUE(MOXVersionNumber().isEqualToVersion(std::nullopt));
    EXPECT_FALSE(MOXVersionNumber(0, 0, 0, 1).isEqualToVersion(std::nullopt));
}

TEST(VersionNumberComparison, Finds_versions_equal_however_they_were_written) {
    const MOXVersionNumber two(std::string_view("2.0"));
    EXPECT_TRUE(two.isEqualToVersion(MOXVersionNumber(std::string_view("2.0.0.0"))));
    EXPECT_FALSE(two.isEqualToVersion(MOXVersionNumber(std::string_view("2.0.0.1"))));
}

TEST(VersionNumberPrinting, Always_shows_all_four_parts_without_leading_zeros) {
    EXPECT_EQ(MOXVersionNumber(std::string_view("6.2")).stringValue(), "6.2.0.0");
    EXPECT_EQ(MOXVersionNumber(std::string_view("007.08")).stringValue(), "7.8.0.0");
    EXPECT_EQ(MOXVersionNumber().stringValue(), "0.0.0.0");
    EXPECT_EQ(MOXVersionNumber(largestUnsigned, 0, 0, 0).stringValue(),
              std::to_string(largestUnsigned) + ".0.0.0");
}

TEST(VersionNumberPrinting, Describes_a_version_by_the_same_text) {
    EXPECT_EQ(MOXVersionNumber(1, 2, 3, 4).description(), "1.2.3.4");
}

TEST(VersionNumberFactories, Make_the_class_itself_also_on_a_derived_class_on_purpose) {
    struct Derived : MOXVersionNumber {};
    static_assert(std::is_same_v<decltype(Derived::versionNumber()), MOXVersionNumber>);
    static_assert(std::is_same_v<decltype(Derived::versionNumberWithString("")), MOXVersionNumber>);
    static_assert(
        std::is_same_v<decltype(Derived::versionNumberWithMajorVersion(0, 0, 0, 0)), MOXVersionNumber>);
}

} // namespace
} // namespace mox::test
