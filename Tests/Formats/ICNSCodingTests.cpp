#include "Formats/ICNSCoding.hpp"
#include "Formats/ImageCoding.hpp"
#include "Formats/ImageFiles.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mox {
namespace {

using ::testing::ElementsAre;
using testing::gradient;
using testing::pngFile;
using testing::pngHeader;

using Representations = std::vector<Image::Representation>;

Image::Representation square(std::uint32_t side) {
    return gradient(side, side);
}

/// A square for two pixels to the point.
Image::Representation retinaSquare(std::uint32_t side) {
    Image::Representation representation = square(side);
    representation.size = {side / 2.0, side / 2.0};
    return representation;
}

Bytes bigEndian(std::size_t value) {
    Bytes bytes;
    for (const int shift : {24, 16, 8, 0})
        bytes.push_back(static_cast<char>(value >> shift));
    return bytes;
}

Bytes element(std::string_view name, std::string_view content) {
    return Bytes(name) + bigEndian(content.size() + 8) + Bytes(content);
}

Bytes iconFile(std::string_view elements) {
    return element("icns", elements);
}

/// The elements of a file that is well-formed, with their contents.
std::vector<std::pair<std::string, Bytes>> elementsOf(const std::optional<Bytes>& file) {
    std::vector<std::pair<std::string, Bytes>> elements;
    if (!file || file->substr(0, 8) != "icns" + bigEndian(file->size())) return elements;
    for (std::size_t place = 8; place < file->size();) {
        std::size_t length = 0;
        for (int index = 4; index < 8; ++index)
            length =
                length * 256 + static_cast<std::uint8_t>(file->at(place + static_cast<std::size_t>(index)));
        if (length < 8 || place + length > file->size()) return {};
        elements.emplace_back(file->substr(place, 4), file->substr(place + 8, length - 8));
        place += length;
    }
    return elements;
}

/// The names of the elements that `representations` are written as.
std::vector<std::string> namesOf(const Representations& representations) {
    std::vector<std::string> names;
    for (const auto& [name, content] : elementsOf(icnsWithRepresentations(representations)))
        names.push_back(name);
    return names;
}

/// The representations of `file`; empty when there is no image.
Representations read(const Bytes& file) {
    const auto image = imageFromICNS(file);
    return image ? image->representations : Representations();
}

// Writing

TEST(ICNSWriting, Each_size_has_its_element) {
    EXPECT_THAT(namesOf({square(16)}), ElementsAre("is32", "s8mk"));
    EXPECT_THAT(namesOf({square(32)}), ElementsAre("il32", "l8mk"));
    EXPECT_THAT(namesOf({square(48)}), ElementsAre("ih32", "h8mk"));
    EXPECT_THAT(namesOf({square(64)}), ElementsAre("ic12"));
    EXPECT_THAT(namesOf({square(128)}), ElementsAre("it32", "t8mk"));
    EXPECT_THAT(namesOf({square(256)}), ElementsAre("ic08"));
    EXPECT_THAT(namesOf({square(512)}), ElementsAre("ic09"));
    EXPECT_THAT(namesOf({square(1024)}), ElementsAre("ic10"));
}

TEST(ICNSWriting, A_representation_of_two_pixels_to_the_point_has_another_element) {
    EXPECT_THAT(namesOf({retinaSquare(32)}), ElementsAre("ic11"));
    EXPECT_THAT(namesOf({retinaSquare(64)}), ElementsAre("ic12"));
    EXPECT_THAT(namesOf({retinaSquare(256)}), ElementsAre("ic13"));
    EXPECT_THAT(namesOf({retinaSquare(512)}), ElementsAre("ic14"));
}

TEST(ICNSWriting, Two_pixels_to_the_point_without_an_element_of_their_own_have_that_of_their_pixels) {
    EXPECT_THAT(namesOf({retinaSquare(16)}), ElementsAre("is32", "s8mk"));
    EXPECT_THAT(namesOf({retinaSquare(48)}), ElementsAre("ih32", "h8mk"));
    EXPECT_THAT(namesOf({retinaSquare(128)}), ElementsAre("it32", "t8mk"));
    EXPECT_THAT(namesOf({retinaSquare(1024)}), ElementsAre("ic10"));
}

TEST(ICNSWriting, Any_other_size_in_points_does_not_matter) {
    Image::Representation representation = square(256);
    for (const Image::Size size : {Image::Size{100, 100}, {128, 256}, {256, 128}, {0, 0}, {-128, -128}}) {
        representation.size = size;
        EXPECT_THAT(namesOf({representation}), ElementsAre("ic08")) << size.width << " by " << size.height;
    }
}

TEST(ICNSWriting, Elements_stand_in_the_order_of_the_representations) {
    EXPECT_THAT(namesOf({square(256), square(16), retinaSquare(256), square(128), square(32)}),
                ElementsAre("ic08", "is32", "s8mk", "ic13", "it32", "t8mk", "il32", "l8mk"));
}

TEST(ICNSWriting, A_size_without_an_element_is_left_out_and_not_stretched) {
    EXPECT_THAT(namesOf({square(17), square(16), square(100), gradient(16, 32), gradient(64, 63)}),
                ElementsAre("is32", "s8mk"));
    EXPECT_THAT(namesOf({square(18), square(24), square(36)}), ElementsAre());
}

TEST(ICNSWriting, A_second_representation_for_one_element_is_left_out) {
    Image::Representation second = square(16);
    second.pixels = std::vector<std::uint8_t>(second.pixels.size(), 9);
    EXPECT_EQ(icnsWithRepresentations({square(16), second}), icnsWithRepresentations({square(16)}));
    EXPECT_EQ(icnsWithRepresentations({square(64), retinaSquare(64)}), icnsWithRepresentations({square(64)}));
}

TEST(ICNSWriting, There_is_no_file_when_nothing_is_left) {
    EXPECT_EQ(icnsWithRepresentations({}), std::nullopt);
    EXPECT_EQ(icnsWithRepresentations({square(17), gradient(16, 15)}), std::nullopt);
}

TEST(ICNSWriting, Pixels_that_do_not_fit_their_size_are_left_out_and_make_room_for_others) {
    for (const std::uint32_t side : {16U, 256U}) {
        Image::Representation broken = square(side);
        std::vector<std::uint8_t> pixels = broken.pixels.bytes();
        pixels.pop_back();
        broken.pixels = pixels;
        EXPECT_EQ(icnsWithRepresentations({broken}), std::nullopt);
        EXPECT_EQ(icnsWithRepresentations({broken, square(side)}), icnsWithRepresentations({square(side)}));
    }
}

TEST(ICNSWriting, A_PNG_file_that_was_read_is_passed_on_byte_for_byte) {
    Bytes rows;
    for (int row = 0; row < 256; ++row)
        rows += Bytes(1 + 256, '\0');
    const Bytes file = pngFile(pngHeader(256, 256, 8, 0) + testing::pngChunk("tEXt", "kept"), rows);
    const auto image = imageFromBytes(file);
    ASSERT_TRUE(image);
    EXPECT_THAT(elementsOf(icnsWithRepresentations(image->representations)),
                ElementsAre(std::pair<std::string, Bytes>("ic08", file)));
}

TEST(ICNSWriting, A_PNG_file_is_not_passed_on_where_colours_are_packed) {
    const auto image = imageFromBytes(*pngFromRepresentation(square(48)));
    ASSERT_TRUE(image);
    ASSERT_TRUE(image->representations[0].png);
    EXPECT_EQ(icnsWithRepresentations(image->representations), icnsWithRepresentations({square(48)}));
}

TEST(ICNSWriting, Equal_bytes_are_packed_and_the_opacity_stands_apart) {
    Image::Representation representation = square(16);
    std::vector<std::uint8_t> pixels(representation.pixels.size());
    for (std::size_t index = 0; index < pixels.size(); index += 4) {
        pixels[index] = 1;
        pixels[index + 1] = static_cast<std::uint8_t>(index / 4);
        pixels[index + 2] = index / 4 < 255 ? 2 : 3;
        pixels[index + 3] = static_cast<std::uint8_t>(255 - index / 4);
    }
    representation.pixels = std::move(pixels);
    Bytes green;
    Bytes opacity;
    for (int value = 0; value < 256; ++value) {
        green.push_back(static_cast<char>(value));
        opacity.push_back(static_cast<char>(255 - value));
    }
    // 130 and 126 equal ones, two times 128 different ones, 130 and 125 equal ones and a single one.
    const Bytes packed =
        "\xFF\1\xFB\1\x7F" + green.substr(0, 128) + "\x7F" + green.substr(128) + Bytes("\xFF\2\xFA\2\0\3", 6);
    EXPECT_THAT(elementsOf(icnsWithRepresentations({representation})),
                ElementsAre(std::pair<std::string, Bytes>("is32", packed),
                            std::pair<std::string, Bytes>("s8mk", opacity)));
}

TEST(ICNSWriting, Two_equal_bytes_are_no_run) {
    Image::Representation representation = square(16);
    std::vector<std::uint8_t> pixels(representation.pixels.size());
    for (std::size_t index = 0; index < pixels.size(); ++index)
        pixels[index] = static_cast<std::uint8_t>(index / 8);
    representation.pixels = std::move(pixels);
    const auto elements = elementsOf(icnsWithRepresentations({representation}));
    ASSERT_EQ(elements.size(), 2U);
    EXPECT_EQ(elements[0].second.size(), 3U * (256 + 2));
}

TEST(ICNSWriting, Four_bytes_of_zero_stand_before_the_colours_of_128_pixels) {
    const auto elements = elementsOf(icnsWithRepresentations({square(128)}));
    ASSERT_EQ(elements.size(), 2U);
    EXPECT_EQ(elements[0].second.substr(0, 4), Bytes(4, '\0'));
    EXPECT_EQ(elements[1].second.size(), 128U * 128U);
}

/// A square each of whose channels is as long packed as it is unpacked.
Image::Representation squareThatPacksToItsOwnLength() {
    Image::Representation representation = square(16);
    std::vector<std::uint8_t> pixels = representation.pixels.bytes();
    for (std::size_t index = 0; index < 256; ++index) {
        std::uint8_t* pixel = &pixels[index * 4];
        pixel[0] = pixel[1] = pixel[2] = static_cast<std::uint8_t>(index);
        // A run of four, and two blocks: 2 + 129 + 125 bytes.
        if (index < 4) pixel[0] = pixel[1] = pixel[2] = 0;
    }
    representation.pixels = std::move(pixels);
    return representation;
}

TEST(ICNSWriting, Packed_colours_are_never_as_long_as_unpacked_ones) {
    const Image::Representation representation = squareThatPacksToItsOwnLength();
    const auto file = icnsWithRepresentations({representation});
    const auto elements = elementsOf(file);
    ASSERT_EQ(elements.size(), 2U);
    EXPECT_EQ(elements[0].second.size(), 3U * (256 + 2));
    EXPECT_THAT(read(*file), ElementsAre(representation));
}

// Round trip

TEST(ICNSReading, What_is_written_comes_back_with_its_pixels) {
    const Representations written = {square(16),        square(32),        square(48),
                                     square(128),       square(256),       square(512),
                                     retinaSquare(32),  retinaSquare(64),  retinaSquare(256),
                                     retinaSquare(512), retinaSquare(1024)};
    const auto file = icnsWithRepresentations(written);
    ASSERT_TRUE(file);
    EXPECT_EQ(elementsOf(file).size(), written.size() + 4);
    const auto image = imageFromICNS(*file);
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations, written);
    EXPECT_EQ(image->size, (Image::Size{16, 16}));
}

TEST(ICNSReading, Elements_for_two_pixels_to_the_point_are_shown_at_half_the_size) {
    EXPECT_THAT(read(*icnsWithRepresentations({square(64)})), ElementsAre(retinaSquare(64)));
    EXPECT_THAT(read(*icnsWithRepresentations({square(1024)})), ElementsAre(retinaSquare(1024)));
}

TEST(ICNSReading, Runs_of_every_length_come_back) {
    std::mt19937 random(7);
    for (const std::uint32_t side : {16U, 32U, 48U, 128U}) {
        for (const unsigned longest : {1U, 2U, 3U, 5U, 129U, 130U, 131U, 300U}) {
            Image::Representation representation = square(side);
            std::vector<std::uint8_t> pixels(representation.pixels.size());
            for (std::size_t channel = 0; channel < 4; ++channel) {
                for (std::size_t place = channel; place < pixels.size();) {
                    const auto value = static_cast<std::uint8_t>(random());
                    for (auto count = 1 + random() % longest; count > 0 && place < pixels.size();
                         --count, place += 4)
                        pixels[place] = value;
                }
            }
            representation.pixels = std::move(pixels);
            EXPECT_THAT(read(*icnsWithRepresentations({representation})), ElementsAre(representation));
        }
    }
}

// Reading what others wrote

constexpr std::size_t smallCount = 16 * 16;

/// 16 by 16 colours of one value each, packed.
Bytes packedSquare(char red, char green, char blue) {
    Bytes packed;
    for (const char value : {red, green, blue})
        packed += {'\xFF', value, '\xFB', value};
    return packed;
}

Pixels pixelsOf(std::size_t count, const std::vector<std::uint8_t>& pixel) {
    std::vector<std::uint8_t> pixels;
    for (std::size_t index = 0; index < count; ++index)
        pixels.insert(pixels.end(), pixel.begin(), pixel.end());
    return pixels;
}

/// The pixels of the only picture of a file of `elements`; empty when there is none.
Pixels pixelsOf(const Bytes& elements) {
    const Representations found = read(iconFile(elements));
    return found.size() == 1 ? found[0].pixels : Pixels();
}

TEST(ICNSReading, Colours_without_opacity_are_opaque) {
    const auto opaque = pixelsOf(smallCount, {1, 2, 3, 255});
    EXPECT_EQ(pixelsOf(element("is32", packedSquare(1, 2, 3))), opaque);
    EXPECT_EQ(pixelsOf(element("is32", packedSquare(1, 2, 3)) + element("s8mk", "short")), opaque);
    EXPECT_EQ(pixelsOf(element("is32", packedSquare(1, 2, 3)) + element("l8mk", Bytes(32 * 32, '\7'))),
              opaque);
}

TEST(ICNSReading, The_opacity_may_come_before_the_colours) {
    EXPECT_EQ(pixelsOf(element("s8mk", Bytes(smallCount, '\7')) + element("is32", packedSquare(1, 2, 3))),
              pixelsOf(smallCount, {1, 2, 3, 7}));
}

TEST(ICNSReading, Opacity_without_colours_is_no_picture) {
    EXPECT_TRUE(read(iconFile(element("s8mk", Bytes(smallCount, '\7')))).empty());
}

TEST(ICNSReading, Colours_that_are_not_packed_are_read_with_three_and_with_four_bytes) {
    Bytes three;
    Bytes four;
    for (std::size_t index = 0; index < smallCount; ++index) {
        three += "\x81\2\3";
        four += "\x09\x81\2\3";
    }
    const auto pixels = pixelsOf(smallCount, {0x81, 2, 3, 255});
    EXPECT_EQ(pixelsOf(element("is32", three)), pixels);
    EXPECT_EQ(pixelsOf(element("is32", four)), pixels);
    EXPECT_TRUE(pixelsOf(element("is32", three.substr(1))).empty());
    EXPECT_TRUE(pixelsOf(element("is32", four.substr(1))).empty());
}

TEST(ICNSReading, Packed_colours_that_are_as_long_as_unpacked_ones_are_unpacked) {
    // 4 equal ones, 128 and 124 different ones in each channel: 256 bytes three times.
    Bytes packed;
    for (int channel = 0; channel < 3; ++channel) {
        packed += Bytes("\x81\0\x7F", 3);
        for (int value = 4; value < 132; ++value)
            packed.push_back(static_cast<char>(value));
        packed += "\x7B";
        for (int value = 132; value < 256; ++value)
            packed.push_back(static_cast<char>(value));
    }
    ASSERT_EQ(packed.size(), 3 * smallCount);
    std::vector<std::uint8_t> pixels;
    for (unsigned index = 0; index < smallCount; ++index) {
        const auto value = static_cast<std::uint8_t>(index < 4 ? 0 : index);
        pixels.insert(pixels.end(), {value, value, value, 255});
    }
    EXPECT_EQ(pixelsOf(element("is32", packed)), pixels);
}

TEST(ICNSReading, Bytes_after_the_last_channel_do_no_harm) {
    EXPECT_EQ(pixelsOf(element("is32", packedSquare(1, 2, 3) + "more")),
              pixelsOf(smallCount, {1, 2, 3, 255}));
}

TEST(ICNSReading, Channels_with_the_opacity_among_them_are_read) {
    for (const auto& [name, side] : {std::pair("ic04", 16U), {"ic05", 32U}, {"icsb", 18U}}) {
        const std::size_t count = std::size_t{side} * side;
        Bytes channels = "ARGB";
        for (const char value : {'\4', '\1', '\2', '\3'}) {
            std::size_t missing = count;
            for (; missing >= 130; missing -= 130)
                channels += {'\xFF', value};
            channels += static_cast<char>(missing - 1);
            channels += Bytes(missing, value);
        }
        const Representations found = read(iconFile(element(name, channels)));
        ASSERT_EQ(found.size(), 1U) << name;
        EXPECT_EQ(found[0].pixels, pixelsOf(count, {1, 2, 3, 4})) << name;
        EXPECT_EQ(found[0].size, (Image::Size{double(side), double(side)})) << name;
        EXPECT_TRUE(read(iconFile(element(name, channels.substr(0, channels.size() - 1)))).empty()) << name;
    }
}

struct PictureElement {
    std::string name;
    std::uint32_t side;
    double points;
};

TEST(ICNSReading, PNG_files_are_read_in_every_element_for_them) {
    const PictureElement elements[] = {
        {"icp4", 16, 16},    {"icp5", 32, 32},   {"icp6", 64, 64},   {"ic04", 16, 16},
        {"ic05", 32, 32},    {"ic07", 128, 128}, {"ic08", 256, 256}, {"ic09", 512, 512},
        {"ic10", 1024, 512}, {"ic11", 32, 16},   {"ic12", 64, 32},   {"ic13", 256, 128},
        {"ic14", 512, 256},  {"icsB", 36, 18},   {"sb24", 24, 24},   {"SB24", 48, 24},
    };
    for (const PictureElement& expected : elements) {
        const Bytes png = *pngFromRepresentation(square(expected.side));
        const Representations found = read(iconFile(element(expected.name, png)));
        ASSERT_EQ(found.size(), 1U) << expected.name;
        EXPECT_EQ(found[0].pixels, square(expected.side).pixels) << expected.name;
        EXPECT_EQ(found[0].size, (Image::Size{expected.points, expected.points})) << expected.name;
        ASSERT_TRUE(found[0].png) << expected.name;
        EXPECT_EQ(*found[0].png, png) << expected.name;
    }
}

TEST(ICNSReading, A_picture_of_another_size_than_its_element_names_keeps_it) {
    const Representations found = read(iconFile(element("icp6", *pngFromRepresentation(square(48)))));
    EXPECT_THAT(found, ElementsAre(square(48)));
}

TEST(ICNSReading, What_is_not_known_is_left_out) {
    const Bytes known = element("is32", packedSquare(1, 2, 3));
    const Bytes others = element("TOC ", "is32\0\0\0\x14") + element("icnV", "\1\2\3\4") +
                         element("ICN#", "") + element("\xFD\xD9\x2F\xA8", known);
    EXPECT_EQ(read(iconFile(others + known + others)), read(iconFile(known)));
    EXPECT_TRUE(read(iconFile(others)).empty());
}

TEST(ICNSReading, JPEG_2000_is_left_out) {
    const Bytes known = element("is32", packedSquare(1, 2, 3));
    for (const char* name : {"icp4", "ic07", "ic08", "ic09", "ic10"}) {
        for (const Bytes& start :
             {Bytes("\0\0\0\x0CjP  \r\n\x87\n", 12), Bytes("\xFF\x4F\xFF\x51\0\x2F", 6)}) {
            EXPECT_EQ(read(iconFile(element(name, start + Bytes(100, '\1')) + known)), read(iconFile(known)));
        }
    }
}

TEST(ICNSReading, A_TIFF_file_in_an_element_is_left_out) {
    EXPECT_TRUE(read(iconFile(element("ic08", *tiffFromRepresentation(square(256))))).empty());
}

TEST(ICNSReading, What_follows_the_end_of_the_file_does_not_belong_to_it) {
    const Bytes file = iconFile(element("is32", packedSquare(1, 2, 3)));
    EXPECT_EQ(read(file + "rest"), read(file));
    EXPECT_EQ(read(file + file).size(), 1U);
}

// Damage

TEST(ICNSReading, Another_file_is_refused) {
    for (const char* file : {"", "icns", "icnsicns", "GIF89a", "\x89PNG\r\n\x1a\n"})
        EXPECT_EQ(imageFromICNS(file), std::nullopt) << file;
    EXPECT_EQ(imageFromICNS(iconFile("")), std::nullopt);
    EXPECT_EQ(imageFromICNS(element("icnS", element("is32", packedSquare(1, 2, 3)))), std::nullopt);
}

TEST(ICNSReading, A_length_that_cannot_be_true_makes_the_file_damaged) {
    const Bytes good = element("is32", packedSquare(1, 2, 3));
    for (const std::size_t length : {std::size_t{0}, std::size_t{7}, good.size() + 1, std::size_t{0x7FFFFFFF},
                                     std::size_t{0x80000000}, std::size_t{0xFFFFFFFF}}) {
        Bytes bad = good;
        bad.replace(4, 4, bigEndian(length));
        EXPECT_EQ(imageFromICNS(iconFile(bad)), std::nullopt) << length;
        EXPECT_EQ(imageFromICNS(iconFile(good + bad)), std::nullopt) << length;
        Bytes file = iconFile(good);
        file.replace(4, 4, bigEndian(length < good.size() ? length : length + 8));
        EXPECT_EQ(imageFromICNS(file), std::nullopt) << length;
    }
    EXPECT_EQ(imageFromICNS(iconFile(good + "rest")), std::nullopt);
}

TEST(ICNSReading, A_file_that_was_cut_anywhere_is_refused) {
    const auto file = icnsWithRepresentations({square(16), square(64)});
    ASSERT_TRUE(imageFromICNS(*file));
    for (std::size_t length = 0; length < file->size(); ++length)
        EXPECT_EQ(imageFromICNS(ByteView(*file).substr(0, length)), std::nullopt) << length;
}

TEST(ICNSReading, Colours_that_end_too_early_are_left_out) {
    const Bytes packed = packedSquare(1, 2, 3);
    for (std::size_t length = 0; length < packed.size(); ++length)
        EXPECT_TRUE(read(iconFile(element("is32", packed.substr(0, length)))).empty()) << length;
    EXPECT_TRUE(read(iconFile(element("it32", ""))).empty());
    EXPECT_TRUE(read(iconFile(element("it32", Bytes(4, '\0')))).empty());
}

TEST(ICNSReading, A_block_that_goes_on_past_its_channel_makes_the_picture_damaged) {
    const Bytes good = packedSquare(1, 2, 3);
    for (const std::size_t block : {std::size_t{2}, std::size_t{6}, std::size_t{10}}) {
        Bytes bad = good;
        ++bad[block];
        EXPECT_TRUE(read(iconFile(element("is32", bad + Bytes(600, '\0')))).empty()) << block;
    }
    Bytes literals = good.substr(0, 2) + "\x7F" + Bytes(128, '\1') + Bytes(900, '\0');
    EXPECT_TRUE(read(iconFile(element("is32", literals))).empty());
}

TEST(ICNSReading, A_damaged_picture_leaves_the_others) {
    const Bytes good = element("is32", packedSquare(1, 2, 3));
    Bytes png = *pngFromRepresentation(square(64));
    png[png.size() / 2] = static_cast<char>(png[png.size() / 2] ^ 1);
    EXPECT_EQ(read(iconFile(element("ic12", png) + good + element("il32", "\xFF"))), read(iconFile(good)));
}

TEST(ICNSReading, PNG_files_are_passed_on_without_being_decoded) {
    const Bytes png = *pngFromRepresentation(square(256));
    const auto image =
        undecodedImageFromICNS(iconFile(element("ic13", png) + element("is32", packedSquare(1, 2, 3))));
    ASSERT_TRUE(image);
    ASSERT_EQ(image->representations.size(), 2U);
    const Image::Representation& passedOn = image->representations[0];
    EXPECT_EQ(passedOn.pixelsWide, 256U);
    EXPECT_EQ(passedOn.pixelsHigh, 256U);
    EXPECT_EQ(passedOn.size, (Image::Size{128, 128}));
    EXPECT_TRUE(passedOn.pixels.empty());
    EXPECT_EQ(pngFromRepresentation(passedOn), png);
    EXPECT_EQ(image->representations[1], read(iconFile(element("is32", packedSquare(1, 2, 3)))).at(0));
}

TEST(ICNSReading, PNG_files_that_are_passed_on_are_undamaged) {
    const Bytes png = *pngFromRepresentation(square(64));
    const auto isLeftOut = [](const Bytes& damaged) {
        return !undecodedImageFromICNS(iconFile(element("ic12", damaged)));
    };
    EXPECT_FALSE(isLeftOut(png));
    for (std::size_t position = 0; position < png.size(); ++position) {
        Bytes damaged = png;
        damaged[position] = static_cast<char>(damaged[position] ^ 1);
        EXPECT_TRUE(isLeftOut(damaged)) << position;
        EXPECT_TRUE(isLeftOut(png.substr(0, position))) << position;
    }
    EXPECT_FALSE(isLeftOut(png + "what follows the end"));
    EXPECT_TRUE(isLeftOut(pngFile(pngHeader(maximumImageSide + 1, 1, 8, 6), "")));
}

TEST(ICNSReading, A_chunk_of_a_PNG_file_that_a_reader_may_leave_out_may_be_damaged) {
    Bytes png = *pngFromRepresentation(square(64));
    const std::size_t behindTheHeader = 8 + 4 + 4 + 13 + 4;
    png.insert(behindTheHeader, bigEndian(4) + "teXt" + "text" + "none");
    EXPECT_TRUE(imageFromICNS(iconFile(element("ic12", png))));
    EXPECT_TRUE(undecodedImageFromICNS(iconFile(element("ic12", png))));
}

TEST(ICNSReading, Pictures_that_announce_huge_sides_are_left_out) {
    for (const auto& [wide, high] : {std::pair(100'000U, 100'000U), {maximumImageSide + 1, 1U}}) {
        const Bytes png = pngFile(pngHeader(wide, high, 8, 6), Bytes(10, '\0'));
        EXPECT_TRUE(read(iconFile(element("ic10", png))).empty());
    }
}

TEST(ICNSReading, Of_very_many_pictures_the_first_are_taken) {
    Bytes elements;
    for (int count = 0; count < 1000; ++count)
        elements += element("is32", packedSquare(1, 2, 3));
    EXPECT_EQ(read(iconFile(elements)).size(), 64U);
}

TEST(ICNSReading, Pictures_with_too_many_pixels_in_all_are_left_out) {
    const Bytes large =
        pngFile(pngHeader(maximumImageSide, maximumImageSide / 2 + 1, 1, 0),
                Bytes((maximumImageSide / 8 + 1) * std::size_t{maximumImageSide / 2 + 1}, '\0'));
    const Bytes elements =
        element("ic10", large) + element("ic10", large) + element("is32", packedSquare(1, 2, 3));
    const Representations found = read(iconFile(elements));
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].pixelsWide, maximumImageSide);
    EXPECT_EQ(found[1].pixelsWide, 16U);
}

TEST(ICNSReading, A_changed_byte_anywhere_does_no_harm) {
    Image::Representation plain = square(16);
    plain.pixels = std::vector<std::uint8_t>(plain.pixels.size(), 5);
    const auto file = icnsWithRepresentations({plain, square(64)});
    ASSERT_TRUE(file);
    for (std::size_t place = 0; place < file->size(); ++place) {
        for (const int change : {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0xFF}) {
            Bytes changed = *file;
            changed[place] = static_cast<char>(changed[place] ^ change);
            for (const auto& representation : read(changed)) {
                ASSERT_EQ(representation.pixels.size(),
                          std::size_t{representation.pixelsWide} * representation.pixelsHigh * 4);
            }
        }
    }
}

TEST(ICNSReading, An_icon_file_is_an_image_like_any_other) {
    const auto file = icnsWithRepresentations({square(16), square(256)});
    EXPECT_EQ(imageFromBytes(*file), imageFromICNS(*file));
}

} // namespace
} // namespace mox
