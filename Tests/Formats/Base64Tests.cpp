#include "Formats/Base64.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <random>

namespace mox {
namespace {

std::string encoded(std::string_view bytes) {
    std::string text = "before ";
    appendBase64(text, bytes);
    return text.substr(7);
}

TEST(Base64, The_vectors_of_RFC_4648_hold) {
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded("f"), "Zg==");
    EXPECT_EQ(encoded("fo"), "Zm8=");
    EXPECT_EQ(encoded("foo"), "Zm9v");
    EXPECT_EQ(encoded("foob"), "Zm9vYg==");
    EXPECT_EQ(encoded("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encoded("foobar"), "Zm9vYmFy");
    EXPECT_EQ(encoded("\xFB\xFF\xFE"), "+//+");
}

TEST(Base64, Bytes_survive_in_whatever_pieces_their_text_arrives) {
    std::mt19937 random(64);
    Base64Decoder decoder;
    for (std::size_t size = 0; size < 300; ++size) {
        std::string bytes;
        while (bytes.size() < size)
            bytes.push_back(static_cast<char>(random() & 0xFF));
        const std::string text = encoded(bytes);
        for (std::string_view rest = text; !rest.empty();) {
            const std::string_view piece = rest.substr(0, 1 + random() % 9);
            decoder.append(piece);
            decoder.append("\n\t");
            rest.remove_prefix(piece.size());
        }
        EXPECT_EQ(decoder.take(), bytes);
    }
}

TEST(Base64, Padding_ends_a_group_wherever_it_stands_and_takes_no_quadratic_time) {
    constexpr std::size_t count = 300'000;
    std::string text(count, '=');
    for (std::size_t group = 0; group < count; ++group)
        text += "Zg==Zm8=";
    const auto start = std::chrono::steady_clock::now();
    Base64Decoder decoder;
    decoder.append("Zm9vYg");
    decoder.append(text);
    const Bytes bytes = decoder.take();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    ASSERT_EQ(bytes.size(), 4 + 3 * count);
    EXPECT_EQ(bytes.substr(0, 10), "foobffoffo");
    EXPECT_EQ(bytes.substr(bytes.size() - 3), "ffo");
}

} // namespace
} // namespace mox
