#include "Foundation/LenientNumbers.hpp"
#include "Foundation/PropertyList.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace mox::test {
namespace {

constexpr auto highest = std::numeric_limits<std::intptr_t>::max();
constexpr auto lowest = std::numeric_limits<std::intptr_t>::min();
constexpr auto highestUnsigned = std::numeric_limits<std::uintptr_t>::max();

TEST(IntegerValue, Reads_digits_up_to_the_first_other_character) {
    EXPECT_EQ(integerValue("42"), 42);
    EXPECT_EQ(integerValue("7b"), 7);
    EXPECT_EQ(integerValue("3.9"), 3);
    EXPECT_EQ(integerValue("0x10"), 0);
    EXPECT_EQ(integerValue("007"), 7);
}

TEST(IntegerValue, Skips_leading_white_space_and_takes_one_sign) {
    EXPECT_EQ(integerValue(" \t\r\n\v\f5"), 5);
    EXPECT_EQ(integerValue("+5"), 5);
    EXPECT_EQ(integerValue("  -5"), -5);
    EXPECT_EQ(integerValue("+-5"), 0);
    EXPECT_EQ(integerValue("--5"), 0);
    EXPECT_EQ(integerValue("- 5"), 0);
}

TEST(IntegerValue, Is_zero_without_digits) {
    for (const std::string_view text : {"", " ", "x", "+", "-", "x5"})
        EXPECT_EQ(integerValue(text), 0) << text;
}

TEST(IntegerValue, Stops_at_the_limits_of_the_word) {
    EXPECT_EQ(integerValue(std::to_string(highest)), highest);
    EXPECT_EQ(integerValue(std::to_string(lowest)), lowest);
    EXPECT_EQ(integerValue(std::to_string(highestUnsigned)), highest);
    EXPECT_EQ(integerValue("-" + std::to_string(highestUnsigned)), lowest);
    EXPECT_EQ(integerValue(std::string(1000, '9')), highest);
    EXPECT_EQ(integerValue("-" + std::string(1000, '9')), lowest);
}

TEST(UnsignedIntegerValue, Is_the_number_itself) {
    EXPECT_EQ(unsignedIntegerValue(PropertyList::integer(0)), 0U);
    EXPECT_EQ(unsignedIntegerValue(PropertyList::integer(12)), 12U);
    EXPECT_EQ(unsignedIntegerValue(PropertyList::unsignedInteger(highestUnsigned)), highestUnsigned);
}

TEST(UnsignedIntegerValue, Wraps_a_negative_number_around) {
    EXPECT_EQ(unsignedIntegerValue(PropertyList::integer(-1)), highestUnsigned);
    EXPECT_EQ(unsignedIntegerValue(PropertyList::real(-2.5)), highestUnsigned - 1);
}

TEST(UnsignedIntegerValue, Cuts_a_real_s_fraction_off) {
    EXPECT_EQ(unsignedIntegerValue(PropertyList::real(2.9)), 2U);
    EXPECT_EQ(unsignedIntegerValue(PropertyList::real(-0.9)), 0U);
}

TEST(UnsignedIntegerValue, Is_exact_for_a_real_beyond_the_signed_integers) {
    const auto word = [](std::uint64_t number) { return static_cast<std::uintptr_t>(number); };
    EXPECT_EQ(unsignedIntegerValue(PropertyList::real(1e19)), word(10'000'000'000'000'000'000U));
    EXPECT_EQ(unsignedIntegerValue(PropertyList::real(9'223'372'036'854'775'808.0)),
              word(std::uint64_t{1} << 63));
}

TEST(UnsignedIntegerValue, Stops_at_the_nearest_64_bit_integer_for_a_real) {
    EXPECT_EQ(unsignedIntegerValue(PropertyList::real(1e300)), highestUnsigned);
    EXPECT_EQ(unsignedIntegerValue(PropertyList::real(std::numeric_limits<double>::infinity())),
              highestUnsigned);
    const auto lowest64 = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(unsignedIntegerValue(PropertyList::real(-1e300)), static_cast<std::uintptr_t>(lowest64));
    EXPECT_EQ(unsignedIntegerValue(PropertyList::real(std::numeric_limits<double>::quiet_NaN())), 0U);
}

TEST(UnsignedIntegerValue, Takes_a_boolean_for_zero_or_one) {
    EXPECT_EQ(unsignedIntegerValue(PropertyList::boolean(true)), 1U);
    EXPECT_EQ(unsignedIntegerValue(PropertyList::boolean(false)), 0U);
}

TEST(UnsignedIntegerValue, Is_zero_for_what_is_no_number) {
    EXPECT_EQ(unsignedIntegerValue("7"), 0U);
    EXPECT_EQ(unsignedIntegerValue(PropertyList::Data("7")), 0U);
    EXPECT_EQ(unsignedIntegerValue(PropertyList::Array{PropertyList::integer(7)}), 0U);
    EXPECT_EQ(unsignedIntegerValue(PropertyList::Dictionary()), 0U);
    EXPECT_EQ(unsignedIntegerValue(PropertyList::Date{7}), 0U);
}

} // namespace
} // namespace mox::test
