#include "Foundation/Pixels.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace mox {
namespace {

TEST(Pixels, Are_none_at_first) {
    const Pixels pixels;
    EXPECT_TRUE(pixels.empty());
    EXPECT_EQ(pixels.size(), 0U);
    EXPECT_EQ(pixels.begin(), pixels.end());
    EXPECT_TRUE(pixels.bytes().empty());
}

TEST(Pixels, Are_the_bytes_that_they_were_made_of) {
    const Pixels pixels = {1, 2, 3, 255};
    EXPECT_EQ(pixels.size(), 4U);
    EXPECT_EQ(pixels[3], 255);
    EXPECT_EQ(pixels.data()[1], 2);
    EXPECT_EQ(std::count(pixels.begin(), pixels.end(), 3), 1);
    EXPECT_EQ(pixels.bytes(), (std::vector<std::uint8_t>{1, 2, 3, 255}));
}

TEST(Pixels, Are_taken_over_and_shared_by_copies_without_being_copied) {
    std::vector<std::uint8_t> bytes(100, 7);
    const std::uint8_t* const place = bytes.data();
    Pixels pixels = std::move(bytes);
    EXPECT_EQ(pixels.data(), place);
    const Pixels copy = pixels;
    pixels = Pixels();
    EXPECT_EQ(copy.data(), place);
    EXPECT_EQ(copy.size(), 100U);
}

TEST(Pixels, Stay_as_they_are_when_a_copy_of_their_bytes_changes) {
    const Pixels pixels = {1, 2, 3, 4};
    std::vector<std::uint8_t> bytes = pixels.bytes();
    bytes[0] = 9;
    EXPECT_EQ(pixels[0], 1);
}

TEST(Pixels, Are_equal_when_their_bytes_are) {
    const Pixels pixels = {1, 2, 3, 4};
    const Pixels copy = pixels;
    EXPECT_EQ(pixels, copy);
    EXPECT_EQ(pixels, (Pixels{1, 2, 3, 4}));
    EXPECT_NE(pixels, (Pixels{1, 2, 3, 5}));
    EXPECT_NE(pixels, (Pixels{1, 2, 3}));
    EXPECT_NE(pixels, Pixels());
    EXPECT_EQ(Pixels(), Pixels(std::vector<std::uint8_t>()));
}

} // namespace
} // namespace mox
