#include "Formats/TextEncoding.hpp"

#include <gtest/gtest.h>

namespace mox {
namespace {

using namespace std::string_literals;

TEST(TextEncoding, A_text_comes_back_byte_for_byte_in_the_form_that_it_had) {
    const std::string files[] = {
        "a\xC3\xA9\xF0\x9F\x98\x80",
        "\xEF\xBB\xBF"
        "a\xC3\xA9\xF0\x9F\x98\x80",
        "\xFF\xFE"
        "a\0\xE9\0\x3D\xD8\0\xDE"s,
        "\xFE\xFF\0a\0\xE9\xD8\x3D\xDE\0"s,
        "\xFF\xFE\0\0a\0\0\0\xE9\0\0\0\0\xF6\x01\0"s,
        "\0\0\xFE\xFF\0\0\0a\0\0\0\xE9\0\x01\xF6\0"s,
    };
    const TextEncoding encodings[] = {TextEncoding::UTF8,
                                      TextEncoding::UTF8,
                                      TextEncoding::UTF16LittleEndian,
                                      TextEncoding::UTF16BigEndian,
                                      TextEncoding::UTF32LittleEndian,
                                      TextEncoding::UTF32BigEndian};
    for (std::size_t index = 0; index < std::size(files); ++index) {
        const auto decoded = decodedText(files[index]);
        ASSERT_TRUE(decoded) << index;
        EXPECT_EQ(decoded->text, "aé\U0001F600") << index;
        EXPECT_EQ(decoded->encoding, encodings[index]) << index;
        EXPECT_EQ(decoded->hasByteOrderMark, index > 0) << index;
        EXPECT_EQ(encodedText(*decoded), files[index]) << index;
    }
}

TEST(TextEncoding, What_does_not_follow_its_encoding_is_no_text) {
    EXPECT_FALSE(decodedText("\xFF"));
    EXPECT_FALSE(decodedText("\xEF\xBB\xBF\xFF"));
    EXPECT_FALSE(decodedText("\xC3"));
    EXPECT_FALSE(decodedText("\xFF\xFE"
                             "a"));
    EXPECT_FALSE(decodedText("\xFF\xFE\0\0a\0"s));
}

TEST(TextEncoding, Half_a_surrogate_pair_is_a_replacement_character) {
    EXPECT_EQ(decodedText("\xFE\xFF\xD8\x3D"s)->text, "\uFFFD");
    EXPECT_EQ(decodedText("\xFE\xFF\xD8\x3D\0a"s)->text, "\uFFFDa");
    EXPECT_EQ(decodedText("\xFE\xFF\xDE\0\0a"s)->text, "\uFFFDa");
    EXPECT_EQ(decodedText("\0\0\xFE\xFF\0\0\xD8\0"s)->text, "\uFFFD");
    EXPECT_EQ(decodedText("\0\0\xFE\xFF\0\x11\0\0"s)->text, "\uFFFD");
}

TEST(TextEncoding, Nothing_is_an_empty_text) {
    EXPECT_EQ(decodedText("")->text, "");
    EXPECT_EQ(decodedText("\xFF\xFE")->text, "");
}

} // namespace
} // namespace mox
