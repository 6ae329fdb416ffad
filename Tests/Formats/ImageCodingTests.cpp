#include "Formats/ImageCoding.hpp"
#include "Formats/ImageFiles.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mox {
namespace {

using testing::ByteOrder;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using testing::gradient;
using testing::pngChunk;
using testing::pngFile;
using testing::pngHeader;
using testing::pngResolution;
using testing::tiffFile;
using testing::TIFFPicture;

/// Bytes from a literal that may hold zeros.
template<std::size_t Length>
ByteView bytes(const char (&literal)[Length]) {
    return ByteView(literal, Length - 1);
}

/// The pixels of the only picture of `file`; empty when there is none.
Pixels pixelsOf(const Bytes& file) {
    const auto image = imageFromBytes(file);
    return image && image->representations.size() == 1 ? image->representations[0].pixels : Pixels();
}

// PNG, by kind of colour

TEST(PNGDecoding, Colours_with_alpha_are_taken_as_they_are) {
    const Bytes file = pngFile(pngHeader(2, 1, 8, 6), bytes("\0\x01\x02\x03\x04\xFF\xFE\xFD\x00"));
    EXPECT_THAT(pixelsOf(file), ElementsAre(1, 2, 3, 4, 255, 254, 253, 0));
}

TEST(PNGDecoding, Colours_without_alpha_are_opaque) {
    EXPECT_THAT(pixelsOf(pngFile(pngHeader(1, 1, 8, 2), bytes("\0\x0A\x0B\x0C"))),
                ElementsAre(10, 11, 12, 255));
}

TEST(PNGDecoding, The_colour_that_is_named_as_transparent_is_transparent) {
    const Bytes chunks = pngHeader(2, 1, 8, 2) + pngChunk("tRNS", bytes("\0\x0A\0\x0B\0\x0C"));
    const Bytes file = pngFile(chunks, bytes("\0\x0A\x0B\x0C\x0A\x0B\x0D"));
    EXPECT_THAT(pixelsOf(file), ElementsAre(10, 11, 12, 0, 10, 11, 13, 255));
}

TEST(PNGDecoding, A_palette_is_looked_up_with_its_alpha) {
    const Bytes chunks = pngHeader(4, 1, 2, 3) +
                         pngChunk("PLTE", bytes("\x01\x02\x03\x04\x05\x06\x07\x08\x09")) +
                         pngChunk("tRNS", bytes("\x80\x00"));
    const Bytes file = pngFile(chunks, bytes("\0\x18")); // the indexes 0, 1, 2, 0
    EXPECT_THAT(pixelsOf(file), ElementsAre(1, 2, 3, 128, 4, 5, 6, 0, 7, 8, 9, 255, 1, 2, 3, 128));
}

TEST(PNGDecoding, Gray_of_one_bit_becomes_black_and_white) {
    const Bytes file = pngFile(pngHeader(2, 1, 1, 0), bytes("\0\x40"));
    EXPECT_THAT(pixelsOf(file), ElementsAre(0, 0, 0, 255, 255, 255, 255, 255));
}

TEST(PNGDecoding, The_gray_that_is_named_as_transparent_is_transparent) {
    const Bytes chunks = pngHeader(2, 1, 8, 0) + pngChunk("tRNS", bytes("\0\x21"));
    EXPECT_THAT(pixelsOf(pngFile(chunks, bytes("\0\x21\x22"))), ElementsAre(33, 33, 33, 0, 34, 34, 34, 255));
}

TEST(PNGDecoding, Gray_with_alpha_keeps_its_alpha) {
    EXPECT_THAT(pixelsOf(pngFile(pngHeader(1, 1, 8, 4), bytes("\0\x64\x32"))),
                ElementsAre(100, 100, 100, 50));
}

TEST(PNGDecoding, Sixteen_bits_are_rounded_to_eight) {
    const Bytes file = pngFile(pngHeader(1, 1, 16, 6), bytes("\0\xFF\xFF\x80\x80\x00\xFF\x40\x40"));
    EXPECT_THAT(pixelsOf(file), ElementsAre(255, 128, 1, 64));
}

TEST(PNGDecoding, Interlaced_pictures_are_put_together) {
    const Bytes rows(bytes("\0\x01\x01\x01\xFF"                    // the pass of every eighth pixel
                           "\0\x02\x02\x02\xFF"                    // the pass of the odd columns
                           "\0\x03\x03\x03\xFF\x04\x04\x04\xFF")); // the pass of the odd rows
    EXPECT_THAT(pixelsOf(pngFile(pngHeader(2, 2, 8, 6, 1), rows)),
                ElementsAre(1, 1, 1, 255, 2, 2, 2, 255, 3, 3, 3, 255, 4, 4, 4, 255));
}

TEST(PNGDecoding, Rows_run_from_the_top) {
    const Bytes file = pngFile(pngHeader(1, 2, 8, 0), bytes("\0\x01\0\x02"));
    EXPECT_THAT(pixelsOf(file), ElementsAre(1, 1, 1, 255, 2, 2, 2, 255));
}

TEST(PNGDecoding, A_declared_gamma_changes_no_colour) {
    const Bytes chunks = pngHeader(1, 1, 8, 2) + pngChunk("gAMA", bytes("\0\x01\x86\xA0"));
    EXPECT_THAT(pixelsOf(pngFile(chunks, bytes("\0\x40\x50\x60"))), ElementsAre(64, 80, 96, 255));
}

// PNG, other properties

TEST(PNGDecoding, Without_a_resolution_a_pixel_is_a_point) {
    const auto image = imageFromBytes(pngFile(pngHeader(2, 1, 8, 0), bytes("\0\x01\x02")));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations[0].pixelsWide, 2u);
    EXPECT_EQ(image->representations[0].pixelsHigh, 1u);
    EXPECT_EQ(image->representations[0].size, (Image::Size{2, 1}));
    EXPECT_EQ(image->size, (Image::Size{2, 1}));
}

Image::Size sizeAtResolution(std::uint32_t horizontal, std::uint32_t vertical, std::uint8_t unit = 1) {
    Bytes rows;
    for (int row = 0; row < 32; ++row)
        rows.append(33, '\0');
    const Bytes chunks = pngHeader(32, 32, 8, 0) + pngResolution(horizontal, vertical, unit);
    const auto image = imageFromBytes(pngFile(chunks, rows));
    return image ? image->size : Image::Size{};
}

TEST(PNGDecoding, The_resolution_makes_the_size_in_points) {
    EXPECT_EQ(sizeAtResolution(2835, 2835), (Image::Size{32, 32}));
    EXPECT_EQ(sizeAtResolution(5669, 5669), (Image::Size{16, 16}));
    EXPECT_EQ(sizeAtResolution(5670, 8504), (Image::Size{16, 32.0 / 3}));
}

TEST(PNGDecoding, A_length_that_was_whole_before_the_resolution_was_rounded_is_whole) {
    EXPECT_EQ(sizeAtResolution(4535, 4535), (Image::Size{20, 20}));
}

TEST(PNGDecoding, A_length_that_cannot_have_been_whole_is_not_made_whole) {
    const Image::Size size = sizeAtResolution(4560, 4560);
    EXPECT_NEAR(size.width, 19.8923, 0.0001);
}

TEST(PNGDecoding, A_resolution_of_zero_or_without_a_unit_is_none) {
    EXPECT_EQ(sizeAtResolution(0, 0), (Image::Size{32, 32}));
    EXPECT_EQ(sizeAtResolution(5669, 5669, 0), (Image::Size{32, 32}));
}

TEST(PNGDecoding, The_file_is_kept_so_that_it_can_be_passed_on_unchanged) {
    const Bytes file = pngFile(pngHeader(1, 1, 8, 0), bytes("\0\x01"));
    const auto image = imageFromBytes(file);
    ASSERT_TRUE(image);
    ASSERT_TRUE(image->representations[0].png);
    EXPECT_EQ(*image->representations[0].png, file);
    EXPECT_EQ(pngFromRepresentation(image->representations[0]), file);
}

TEST(PNGDecoding, An_optional_chunk_with_a_wrong_checksum_does_no_harm) {
    Bytes text = pngChunk("tEXt", "Title");
    text.back() = static_cast<char>(text.back() ^ 1);
    EXPECT_THAT(pixelsOf(pngFile(pngHeader(1, 1, 8, 0) + text, bytes("\0\x07"))), ElementsAre(7, 7, 7, 255));
}

TEST(PNGDecoding, A_file_that_was_cut_anywhere_is_refused) {
    const Bytes file = pngFile(pngHeader(3, 3, 8, 4) + pngResolution(2835, 2835),
                               bytes("\0\1\2\3\4\5\6\0\1\2\3\4\5\6\0\1\2\3\4\5\6"));
    ASSERT_TRUE(imageFromBytes(file));
    for (std::size_t length = 0; length < file.size(); ++length) {
        EXPECT_FALSE(imageFromBytes(ByteView(file).substr(0, length))) << length;
    }
}

TEST(PNGDecoding, A_wrong_checksum_of_the_pixels_is_refused) {
    Bytes file = pngFile(pngHeader(1, 1, 8, 0), bytes("\0\x01"));
    const std::size_t checksum = file.size() - pngChunk("IEND", {}).size() - 1;
    file[checksum] = static_cast<char>(file[checksum] ^ 1);
    EXPECT_FALSE(imageFromBytes(file));
}

TEST(PNGDecoding, Sides_of_no_length_or_beyond_the_limit_are_refused) {
    EXPECT_FALSE(imageFromBytes(pngFile(pngHeader(0, 1, 8, 0), bytes("\0"))));
    EXPECT_FALSE(imageFromBytes(pngFile(pngHeader(100'000, 100'000, 8, 6), bytes("\0"))));
    EXPECT_FALSE(imageFromBytes(pngFile(pngHeader(maximumImageSide + 1, 1, 1, 0), Bytes(514, '\0'))));
    EXPECT_FALSE(imageFromBytes(pngFile(pngHeader(1, maximumImageSide + 1, 1, 0), Bytes(8194, '\0'))));
}

TEST(PNGDecoding, A_side_at_the_limit_is_accepted) {
    const auto image = imageFromBytes(pngFile(pngHeader(maximumImageSide, 1, 1, 0), Bytes(513, '\0')));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations[0].pixelsWide, maximumImageSide);
}

// PNG, writing

TEST(PNGEncoding, Pixels_and_size_survive) {
    Image::Representation representation = gradient(13, 7);
    representation.size = {6.5, 3.5};
    const auto file = pngFromRepresentation(representation);
    ASSERT_TRUE(file);
    const auto image = imageFromBytes(*file);
    ASSERT_TRUE(image);
    EXPECT_THAT(image->representations, ElementsAre(representation));
}

TEST(PNGEncoding, Pixels_survive_whichever_filter_suits_their_rows_best) {
    Image::Representation representation = gradient(40, 60);
    std::mt19937 random(3);
    std::vector<std::uint8_t> pixels(representation.pixels.size());
    for (std::size_t index = 0; index < pixels.size(); ++index) {
        const std::size_t row = index / 160;
        const std::size_t column = index % 160;
        // Noise, equal columns, slopes to the right, to both sides, and bends, in turns.
        const std::size_t values[] = {random(), row / 5, column * 9, column * column + row * 31,
                                      std::max(row * 40, column * 3)};
        pixels[index] = static_cast<std::uint8_t>(values[row / 2 % 5]);
    }
    representation.pixels = std::move(pixels);
    const auto image = imageFromBytes(*pngFromRepresentation(representation));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations.front().pixels, representation.pixels);
}

TEST(PNGEncoding, The_smallest_and_the_longest_rows_survive) {
    for (const auto& [wide, high] : {std::pair(1U, 1U), {1U, 50U}, {maximumImageSide, 2U}}) {
        const auto image = imageFromBytes(*pngFromRepresentation(gradient(wide, high)));
        ASSERT_TRUE(image);
        EXPECT_THAT(image->representations, ElementsAre(gradient(wide, high)));
    }
}

TEST(PNGEncoding, A_resolution_is_written_only_when_a_pixel_is_no_point) {
    Image::Representation representation = gradient(2, 2);
    EXPECT_EQ(pngFromRepresentation(representation)->find("pHYs"), Bytes::npos);
    representation.size = {1, 1};
    EXPECT_NE(pngFromRepresentation(representation)->find(pngResolution(5669, 5669)), Bytes::npos);
}

TEST(PNGEncoding, A_size_that_is_none_is_left_out) {
    Image::Representation representation = gradient(2, 2);
    representation.size = {0, -1};
    const auto file = pngFromRepresentation(representation);
    ASSERT_TRUE(file);
    EXPECT_EQ(file->find("pHYs"), Bytes::npos);
    representation.size = {1e300, 1e-300};
    ASSERT_TRUE(pngFromRepresentation(representation));
}

TEST(PNGEncoding, Pixels_that_do_not_fit_their_size_are_refused) {
    Image::Representation representation = gradient(2, 2);
    std::vector<std::uint8_t> pixels = representation.pixels.bytes();
    pixels.pop_back();
    representation.pixels = pixels;
    EXPECT_FALSE(pngFromRepresentation(representation));
    EXPECT_FALSE(pngFromRepresentation(Image::Representation()));
}

// TIFF, reading

TEST(TIFFDecoding, Both_byte_orders_are_read) {
    const TIFFPicture picture{.width = 2, .strip = Bytes(bytes("\x01\x02\x03\x04\xFF\xFE\xFD\x00"))};
    for (const ByteOrder byteOrder : {ByteOrder::Little, ByteOrder::Big}) {
        EXPECT_THAT(pixelsOf(tiffFile({picture}, byteOrder)), ElementsAre(1, 2, 3, 4, 255, 254, 253, 0));
    }
}

TEST(TIFFDecoding, Colours_multiplied_with_alpha_are_divided_by_it) {
    const TIFFPicture picture{
        .width = 4,
        .extraSample = 1,
        .strip = Bytes(bytes("\x40\x20\x00\x80\x00\x00\x00\x00\x0A\x14\x1E\xFF\x90\x00\x00\x80")),
    };
    EXPECT_THAT(pixelsOf(tiffFile({picture})),
                ElementsAre(128, 64, 0, 128, 0, 0, 0, 0, 10, 20, 30, 255, 255, 0, 0, 128));
}

TEST(TIFFDecoding, Colours_without_alpha_are_opaque) {
    const TIFFPicture picture{.samplesPerPixel = 3, .extraSample = {}, .strip = "\x0A\x0B\x0C"};
    EXPECT_THAT(pixelsOf(tiffFile({picture})), ElementsAre(10, 11, 12, 255));
}

TEST(TIFFDecoding, Gray_is_read_with_and_without_alpha) {
    const TIFFPicture gray{.samplesPerPixel = 1, .photometric = 1, .extraSample = {}, .strip = "\x64"};
    EXPECT_THAT(pixelsOf(tiffFile({gray})), ElementsAre(100, 100, 100, 255));
    const TIFFPicture withAlpha{
        .samplesPerPixel = 2, .photometric = 1, .extraSample = 2, .strip = "\x64\x32"};
    EXPECT_THAT(pixelsOf(tiffFile({withAlpha})), ElementsAre(100, 100, 100, 50));
}

TEST(TIFFDecoding, Sixteen_bits_are_reduced_to_eight_in_both_byte_orders) {
    TIFFPicture picture{.bitsPerSample = 16, .strip = Bytes(bytes("\xFF\xFF\x80\x80\x01\x01\x40\x40"))};
    EXPECT_THAT(pixelsOf(tiffFile({picture}, ByteOrder::Little)), ElementsAre(255, 128, 1, 64));
    EXPECT_THAT(pixelsOf(tiffFile({picture}, ByteOrder::Big)), ElementsAre(255, 128, 1, 64));
}

TEST(TIFFDecoding, A_palette_is_looked_up) {
    std::vector<std::uint16_t> colorMap(3 * 256);
    colorMap[7] = 0x1000;
    colorMap[256 + 7] = 0x2000;
    colorMap[512 + 7] = 0x3000;
    const TIFFPicture picture{
        .samplesPerPixel = 1, .photometric = 3, .extraSample = {}, .colorMap = colorMap, .strip = "\x07"};
    EXPECT_THAT(pixelsOf(tiffFile({picture})), ElementsAre(0x10, 0x20, 0x30, 255));
}

TEST(TIFFDecoding, PackBits_is_unpacked) {
    const TIFFPicture picture{.width = 2, .compression = 32773, .strip = "\xFD\x05\x03\x01\x02\x03\x04"};
    EXPECT_THAT(pixelsOf(tiffFile({picture})), ElementsAre(5, 5, 5, 5, 1, 2, 3, 4));
}

TEST(TIFFDecoding, Deflate_is_unpacked) {
    // A stored block with its checksum.
    const Bytes strip(bytes("\x78\x01\x01\x04\x00\xFB\xFF\x01\x02\x03\x04\x00\x18\x00\x0B"));
    EXPECT_THAT(pixelsOf(tiffFile({{.compression = 8, .strip = strip}})), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(pixelsOf(tiffFile({{.compression = 32946, .strip = strip}})), ElementsAre(1, 2, 3, 4));
}

TEST(TIFFDecoding, A_compression_that_no_icon_comes_in_is_refused) {
    constexpr std::uint16_t others[] = {2, 3, 4, 6, 7, 34661, 34712, 34887, 34925, 50000, 50001};
    for (const std::uint16_t compression : others) {
        EXPECT_FALSE(imageFromBytes(tiffFile({{.compression = compression, .strip = "\1\2\3\4"}})))
            << compression;
    }
}

TEST(TIFFDecoding, The_resolution_makes_the_size_in_points) {
    TIFFPicture picture{.width = 2, .height = 1, .resolution = 144, .strip = "\1\2\3\4\5\6\7\10"};
    EXPECT_EQ(imageFromBytes(tiffFile({picture}))->size, (Image::Size{1, 0.5}));
    picture.resolution = 72;
    EXPECT_EQ(imageFromBytes(tiffFile({picture}))->size, (Image::Size{2, 1}));
    picture.resolution = 0;
    EXPECT_EQ(imageFromBytes(tiffFile({picture}))->size, (Image::Size{2, 1}));
    picture.resolution = 36;
    picture.resolutionUnit = 3;
    EXPECT_NEAR(imageFromBytes(tiffFile({picture}))->size.width, 2 * 72 / (36 * 2.54), 1e-6);
    picture.resolutionUnit = 1;
    EXPECT_EQ(imageFromBytes(tiffFile({picture}))->size, (Image::Size{2, 1}));
}

TEST(TIFFDecoding, Each_picture_of_a_file_is_a_representation_and_the_first_gives_the_size) {
    const TIFFPicture small{.strip = "\1\2\3\4"};
    const TIFFPicture large{.width = 2, .strip = "\1\2\3\4\5\6\7\10"};
    const auto image = imageFromBytes(tiffFile({small, large}, ByteOrder::Big));
    ASSERT_TRUE(image);
    ASSERT_EQ(image->representations.size(), 2u);
    EXPECT_EQ(image->size, (Image::Size{1, 1}));
    EXPECT_THAT(image->representations[0].pixels, ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(image->representations[1].pixels, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
    EXPECT_FALSE(image->representations[0].png);
}

TEST(TIFFDecoding, Of_very_many_pictures_the_first_are_taken) {
    const auto image = imageFromBytes(tiffFile(std::vector<TIFFPicture>(100, {.strip = "\1\2\3\4"})));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations.size(), 64u);
}

TEST(TIFFDecoding, Of_pictures_with_very_many_pixels_in_all_the_first_are_taken) {
    const TIFFPicture small{.strip = "\1\2\3\4"};
    TIFFPicture large{.width = maximumImageSide,
                      .height = maximumImageSide,
                      .bitsPerSample = 1,
                      .samplesPerPixel = 1,
                      .photometric = 1,
                      .extraSample = {},
                      .strip = Bytes(std::size_t{maximumImageSide} * maximumImageSide / 8, '\x55')};
    const auto image = imageFromBytes(tiffFile({small, large}));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations.size(), 1u);
}

TEST(TIFFDecoding, Sides_beyond_the_limit_are_refused) {
    for (const std::uint32_t side : {maximumImageSide + 1, 100'000u, 0xFFFFFFFFu}) {
        EXPECT_FALSE(imageFromBytes(tiffFile({{.width = side, .strip = "\1\2\3\4"}})));
        EXPECT_FALSE(imageFromBytes(tiffFile({{.height = side, .strip = "\1\2\3\4"}})));
    }
}

TEST(TIFFDecoding, A_file_that_was_cut_within_a_picture_is_refused) {
    for (const ByteOrder byteOrder : {ByteOrder::Little, ByteOrder::Big}) {
        const TIFFPicture first{.resolution = 144, .strip = "\1\2\3\4"};
        const Bytes file = tiffFile({first, {.strip = "\1\2\3\4"}}, byteOrder);
        ASSERT_TRUE(imageFromBytes(file));
        // The link at a picture's end says where the next one is; without it there is no next one.
        const std::size_t linkLength = 4;
        const std::size_t linkEnd = tiffFile({first}, byteOrder).size();
        for (std::size_t length = 0; length < file.size() - linkLength; ++length) {
            const bool onlyLinkIsCut = length >= linkEnd - linkLength && length < linkEnd;
            EXPECT_EQ(imageFromBytes(ByteView(file).substr(0, length)).has_value(), onlyLinkIsCut) << length;
        }
    }
}

TEST(TIFFDecoding, A_file_whose_pictures_name_each_other_in_a_circle_is_refused) {
    Bytes file = tiffFile({{.strip = "\1\2\3\4"}});
    // The place of the next directory names the first one.
    file.replace(file.size() - 4, 4, file, 4, 4);
    EXPECT_FALSE(imageFromBytes(file));
}

// TIFF, writing

TEST(TIFFEncoding, Pixels_survive_exactly_even_where_they_are_nearly_transparent) {
    Image::Representation representation = gradient(61, 43);
    std::vector<std::uint8_t> pixels = representation.pixels.bytes();
    for (std::size_t index = 3; index < pixels.size(); index += 8)
        pixels[index] = static_cast<std::uint8_t>(index / 8 % 3);
    representation.pixels = pixels;
    const auto file = tiffFromRepresentation(representation);
    ASSERT_TRUE(file);
    const auto image = imageFromBytes(*file);
    ASSERT_TRUE(image);
    EXPECT_THAT(image->representations, ElementsAre(representation));
}

TEST(TIFFEncoding, The_largest_icons_survive) {
    const Image::Representation representation = gradient(1024, 1024);
    const auto file = tiffFromRepresentation(representation);
    ASSERT_TRUE(file);
    const auto image = imageFromBytes(*file);
    ASSERT_TRUE(image);
    EXPECT_THAT(image->representations, ElementsAre(representation));
}

TEST(TIFFEncoding, The_size_in_points_survives) {
    for (const Image::Size size : {Image::Size{16, 16}, {8, 8}, {32.0 / 3, 32}, {1000, 3}, {12.5, 20}}) {
        Image::Representation representation = gradient(16, 32);
        representation.size = size;
        const auto image = imageFromBytes(*tiffFromRepresentation(representation));
        ASSERT_TRUE(image);
        EXPECT_NEAR(image->size.width, size.width, size.width * 1e-6);
        EXPECT_NEAR(image->size.height, size.height, size.height * 1e-6);
    }
}

TEST(TIFFEncoding, A_whole_size_in_points_survives_exactly) {
    for (int points = 1; points <= 1024; ++points) {
        Image::Representation representation = gradient(512, 1);
        representation.size = {static_cast<double>(points), static_cast<double>(points)};
        const auto image = imageFromBytes(*tiffFromRepresentation(representation));
        ASSERT_TRUE(image);
        EXPECT_EQ(image->size, representation.size);
    }
}

TEST(TIFFEncoding, A_size_that_is_none_is_left_out) {
    Image::Representation representation = gradient(2, 2);
    for (const Image::Size size : {Image::Size{0, 0}, {-1, -1}, {1e300, 1e-300}}) {
        representation.size = size;
        const auto file = tiffFromRepresentation(representation);
        ASSERT_TRUE(file);
        EXPECT_TRUE(imageFromBytes(*file));
    }
}

TEST(TIFFEncoding, The_file_is_little_endian_on_every_machine) {
    EXPECT_TRUE(tiffFromRepresentation(gradient(1, 1))->starts_with(bytes("II*\0")));
}

TEST(TIFFEncoding, Pixels_that_do_not_fit_their_size_are_refused) {
    Image::Representation representation = gradient(2, 2);
    std::vector<std::uint8_t> pixels = representation.pixels.bytes();
    pixels.push_back(0);
    representation.pixels = pixels;
    EXPECT_FALSE(tiffFromRepresentation(representation));
    EXPECT_FALSE(tiffFromRepresentation(Image::Representation()));
}

TEST(TIFFEncoding, A_picture_that_no_reader_accepts_is_refused) {
    EXPECT_FALSE(tiffFromRepresentation(gradient(maximumImageSide + 1, 1)));
}

// Anything else

TEST(ImageDecoding, What_is_neither_of_the_two_kinds_is_refused) {
    for (const std::string_view file : {"", "GIF89a", "BM", "icns", "\x89PNG", "II", "MM\0", "bplist00"}) {
        EXPECT_FALSE(imageFromBytes(file)) << file;
    }
}

TEST(ImageDecoding, A_changed_byte_anywhere_does_no_harm) {
    const Bytes chunks =
        pngHeader(2, 2, 8, 3, 1) + pngChunk("PLTE", "\1\2\3\4\5\6") + pngResolution(5669, 5669);
    const Bytes files[] = {
        pngFile(chunks, bytes("\0\0\0\1\0\0\1")),
        tiffFile({{.width = 2, .resolution = 72, .strip = "\1\2\3\4\5\6\7\10"}}, ByteOrder::Big),
        *tiffFromRepresentation(gradient(3, 3)),
    };
    for (const Bytes& file : files) {
        ASSERT_TRUE(imageFromBytes(file));
        for (std::size_t place = 0; place < file.size(); ++place) {
            for (int value = 0; value < 256; ++value) {
                Bytes changed = file;
                changed[place] = static_cast<char>(value);
                const auto image = imageFromBytes(changed);
                for (const auto& representation : image.value_or(Image()).representations) {
                    ASSERT_EQ(representation.pixels.size(),
                              std::size_t{representation.pixelsWide} * representation.pixelsHigh * 4);
                }
            }
        }
    }
}

TEST(ImageDecoding, Damage_is_reported_to_nobody_but_the_caller) {
    static int messages = 0;
    const auto count = [](const char*, const char*, std::va_list) { ++messages; };
    const TIFFErrorHandler previousErrorHandler = TIFFSetErrorHandler(count);
    const TIFFErrorHandler previousWarningHandler = TIFFSetWarningHandler(count);
    const Bytes files[] = {pngFile(pngHeader(1, 1, 8, 0) + pngChunk("tRNS", "\1\2\3"), bytes("\0\x01")),
                           tiffFile({{.resolution = 72, .colorMap = {1}, .strip = "\1\2\3\4"}})};
    ::testing::internal::CaptureStderr();
    for (const Bytes& file : files) {
        for (std::size_t length = 0; length <= file.size(); ++length) {
            imageFromBytes(ByteView(file).substr(0, length));
        }
    }
    const std::string output = ::testing::internal::GetCapturedStderr();
    const TIFFErrorHandler errorHandler = TIFFSetErrorHandler(previousErrorHandler);
    const TIFFErrorHandler warningHandler = TIFFSetWarningHandler(previousWarningHandler);
    EXPECT_EQ(output, "");
    EXPECT_EQ(messages, 0);
    EXPECT_EQ(errorHandler, +count);
    EXPECT_EQ(warningHandler, +count);
}

TEST(SampleIcons, Each_has_the_size_that_its_name_says_and_places_that_can_be_seen_through) {
    for (const std::string name : {"brush", "calculator", "chart", "desktop", "mail", "notepad"}) {
        for (const std::uint32_t side : {16u, 32u, 48u, 64u, 128u, 256u}) {
            const std::string length = std::to_string(side);
            const std::string path = MOX_SAMPLE_ICONS "/" + name + "_" + length + "x" + length + ".png";
            std::ifstream file(path, std::ios::binary);
            const Bytes content(std::istreambuf_iterator<char>(file), {});
            const auto image = imageFromBytes(content);
            ASSERT_TRUE(image) << path;
            const Image::Representation& picture = image->representations.front();
            EXPECT_EQ(picture.pixelsWide, side) << path;
            EXPECT_EQ(picture.pixelsHigh, side) << path;
            EXPECT_EQ(picture.pixels[3], 0) << path;
            EXPECT_THAT(picture.pixels, ::testing::Contains(255)) << path;
        }
    }
}

} // namespace
} // namespace mox
