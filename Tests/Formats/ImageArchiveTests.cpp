#include "Formats/ImageArchive.hpp"
#include "Formats/ImageCoding.hpp"
#include "Formats/ImageFiles.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <locale>
#include <string>
#include <utility>
#include <vector>

namespace mox {
namespace {

using testing::ByteOrder;
using ::testing::ElementsAre;
using testing::gradient;
using ::testing::IsEmpty;
using testing::pngFile;
using testing::pngHeader;
using testing::tiffFile;
using testing::TIFFPicture;

using Array = PropertyList::Array;
using Data = PropertyList::Data;
using Dictionary = PropertyList::Dictionary;
using UID = PropertyList::UID;

Image imageOf(std::vector<Image::Representation> representations) {
    Image image;
    image.size = representations.empty() ? Image::Size{1, 1} : representations.front().size;
    image.representations = std::move(representations);
    return image;
}

Dictionary dictionary(std::initializer_list<std::pair<const char*, PropertyList>> entries) {
    Dictionary made;
    for (const auto& [key, value] : entries)
        made.set(key, value);
    return made;
}

/// The sides of an image's representations, which tell them apart in these tests.
std::vector<std::uint32_t> widthsOf(const std::optional<Image>& image) {
    std::vector<std::uint32_t> widths;
    if (!image) return widths;
    for (const auto& representation : image->representations)
        widths.push_back(representation.pixelsWide);
    return widths;
}

/// A TIFF of one row of `width` pixels.
Bytes tiffOfWidth(std::uint32_t width, ByteOrder byteOrder = ByteOrder::Little) {
    return tiffFile({TIFFPicture{.width = width, .strip = Bytes(std::size_t{width} * 4, '\x7F')}}, byteOrder);
}

// Writing. The numbers of the objects are found by following the references, so that their order is free.

/// Follows the references of an archive that has been read back.
class Archive {
public:
    explicit Archive(const Bytes& bytes) : _contents(propertyListFromBinary(bytes).value()) {}

    const Dictionary& contents() const { return *_contents.dictionary(); }
    const Array& objects() const { return *contents().array("$objects"); }

    /// The object that the value under `key` refers to.
    const PropertyList& at(const PropertyList& object, std::string_view key) const {
        return objects().at(object.dictionary()->find(key)->uid().value().value);
    }

    const PropertyList& root() const { return at(*contents().find("$top"), "root"); }

private:
    PropertyList _contents;
};

std::vector<std::string> keysOf(const PropertyList& value) {
    std::vector<std::string> keys;
    for (const auto& entry : *value.dictionary())
        keys.emplace_back(entry.key);
    return keys;
}

PropertyList classDescription(Array hierarchy) {
    PropertyList name = hierarchy.front();
    return dictionary({{"$classname", std::move(name)}, {"$classes", std::move(hierarchy)}});
}

TEST(ImageArchiving, The_archive_is_a_binary_property_list_with_the_archivers_envelope) {
    const auto bytes = archivedImage(imageOf({gradient(2, 2)}));
    ASSERT_TRUE(bytes);
    EXPECT_TRUE(bytes->starts_with("bplist00"));
    const Archive archive(*bytes);
    EXPECT_THAT(keysOf(archive.contents()), ElementsAre("$archiver", "$objects", "$top", "$version"));
    EXPECT_EQ(*archive.contents().find("$version"), PropertyList::integer(100'000));
    EXPECT_EQ(*archive.contents().find("$archiver"), PropertyList("NSKeyedArchiver"));
    EXPECT_EQ(*archive.contents().find("$top"), PropertyList(dictionary({{"root", UID{1}}})));
    EXPECT_EQ(archive.objects().front(), PropertyList("$null"));
}

TEST(ImageArchiving, The_root_object_is_an_image_with_flags_size_representations_and_colour) {
    const Archive archive(*archivedImage(imageOf({gradient(32, 32)})));
    const PropertyList& root = archive.root();
    EXPECT_THAT(keysOf(root), ElementsAre("$class", "NSColor", "NSImageFlags", "NSReps", "NSSize"));
    EXPECT_EQ(archive.at(root, "$class"), classDescription({"NSImage", "NSObject"}));
    EXPECT_EQ(*root.dictionary()->find("NSImageFlags"), PropertyList::integer(0x20C00000));
    EXPECT_EQ(archive.at(root, "NSSize"), PropertyList("{32, 32}"));
}

TEST(ImageArchiving, The_colour_is_white_without_opacity) {
    const Archive archive(*archivedImage(imageOf({gradient(1, 1)})));
    const PropertyList& color = archive.at(archive.root(), "NSColor");
    EXPECT_THAT(keysOf(color), ElementsAre("$class", "NSColorSpace", "NSWhite"));
    EXPECT_EQ(archive.at(color, "$class"), classDescription({"NSColor", "NSObject"}));
    EXPECT_EQ(*color.dictionary()->find("NSColorSpace"), PropertyList::integer(3));
    EXPECT_EQ(*color.dictionary()->find("NSWhite"), PropertyList(Data(Bytes("0 0\0", 4))));
}

TEST(ImageArchiving, Each_representation_is_a_pair_of_one_shared_zero_and_a_bitmap) {
    const Image image = imageOf({gradient(2, 2), gradient(4, 4)});
    const Archive archive(*archivedImage(image));
    const PropertyList& pairs = archive.at(archive.root(), "NSReps");
    EXPECT_THAT(keysOf(pairs), ElementsAre("$class", "NS.objects"));
    EXPECT_EQ(archive.at(pairs, "$class"), classDescription({"NSMutableArray", "NSArray", "NSObject"}));
    const Array& pairReferences = *pairs.dictionary()->array("NS.objects");
    ASSERT_EQ(pairReferences.size(), 2u);
    std::vector<PropertyList> zeros;
    for (std::size_t index = 0; index < 2; ++index) {
        const PropertyList& pair = archive.objects().at(pairReferences[index].uid().value().value);
        EXPECT_THAT(keysOf(pair), ElementsAre("$class", "NS.objects"));
        EXPECT_EQ(archive.at(pair, "$class"), classDescription({"NSArray", "NSObject"}));
        const Array& elements = *pair.dictionary()->array("NS.objects");
        ASSERT_EQ(elements.size(), 2u);
        zeros.push_back(elements[0]);
        EXPECT_EQ(archive.objects().at(elements[0].uid().value().value), PropertyList::integer(0));

        const PropertyList& bitmap = archive.objects().at(elements[1].uid().value().value);
        EXPECT_THAT(keysOf(bitmap), ElementsAre("$class", "NSTIFFRepresentation"));
        EXPECT_EQ(archive.at(bitmap, "$class"),
                  classDescription({"NSBitmapImageRep", "NSImageRep", "NSObject"}));
        const PropertyList& tiff = archive.at(bitmap, "NSTIFFRepresentation");
        ASSERT_TRUE(tiff.data());
        EXPECT_EQ(tiff.data()->bytes(), tiffFromRepresentation(image.representations[index]));
    }
    EXPECT_EQ(zeros[0], zeros[1]);
}

TEST(ImageArchiving, A_class_is_described_once) {
    const Archive archive(*archivedImage(imageOf({gradient(1, 1), gradient(2, 2), gradient(3, 3)})));
    std::size_t descriptions = 0;
    for (const PropertyList& object : archive.objects()) {
        if (object.dictionary() && object.dictionary()->find("$classname")) ++descriptions;
    }
    EXPECT_EQ(descriptions, 5u);
}

std::string archivedSize(Image::Size size) {
    Image image = imageOf({gradient(1, 1)});
    image.size = size;
    const Archive archive(*archivedImage(image));
    return *archive.at(archive.root(), "NSSize").string();
}

TEST(ImageArchiving, The_size_is_written_as_short_as_it_can_be) {
    EXPECT_EQ(archivedSize({128, 64}), "{128, 64}");
    EXPECT_EQ(archivedSize({10.5, 0.25}), "{10.5, 0.25}");
    EXPECT_EQ(archivedSize({0.1, 1234567}), "{0.1, 1234567}");
}

TEST(ImageArchiving, The_size_is_written_and_read_the_same_in_every_locale) {
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new Comma));
    Image image = imageOf({gradient(1, 1)});
    image.size = {1234.5, 2};
    const std::string written = archivedSize(image.size);
    const auto read = imageFromArchive(*archivedImage(image));
    std::locale::global(previous);
    EXPECT_EQ(written, "{1234.5, 2}");
    ASSERT_TRUE(read);
    EXPECT_EQ(read->size, image.size);
}

TEST(ImageArchiving, Another_languages_reader_of_archives_finds_the_same_structure) {
    if (std::string_view(MOX_PYTHON).empty()) GTEST_SKIP() << "There is no Python here";
    const auto bytes = archivedImage(imageOf({gradient(16, 16), gradient(32, 32)}));
    ASSERT_TRUE(bytes);
    std::FILE* checker = popen(MOX_PYTHON " " MOX_ARCHIVE_CHECKER " 16 32", "w");
    ASSERT_TRUE(checker);
    EXPECT_EQ(std::fwrite(bytes->data(), 1, bytes->size(), checker), bytes->size());
    EXPECT_EQ(pclose(checker), 0);
}

TEST(ImageArchiving, What_is_archived_is_read_back) {
    Image image = imageOf({gradient(16, 16), gradient(33, 7), gradient(1, 1)});
    image.representations[1].size = {16.5, 3.5};
    image.size = {40, 30.5};
    const auto bytes = archivedImage(image);
    ASSERT_TRUE(bytes);
    EXPECT_EQ(imageFromArchive(*bytes), image);
}

TEST(ImageArchiving, Pixels_that_do_not_fit_their_size_are_refused) {
    Image image = imageOf({gradient(2, 2), gradient(2, 2)});
    std::vector<std::uint8_t> pixels = image.representations[1].pixels.bytes();
    pixels.pop_back();
    image.representations[1].pixels = pixels;
    EXPECT_FALSE(archivedImage(image));
}

TEST(ImageArchiving, An_image_without_representations_is_archived_but_reads_back_as_none) {
    const auto bytes = archivedImage(imageOf({}));
    ASSERT_TRUE(bytes);
    const Archive archive(*bytes);
    EXPECT_THAT(*archive.at(archive.root(), "NSReps").dictionary()->array("NS.objects"), IsEmpty());
    EXPECT_FALSE(imageFromArchive(*bytes));
}

// Reading what others wrote

/// An archive whose objects are `objects`, the first of them the root object with the number 1.
PropertyList archiveOf(Array objects) {
    objects.insert(objects.begin(), "$null");
    return dictionary({{"$archiver", "NSKeyedArchiver"},
                       {"$objects", std::move(objects)},
                       {"$top", dictionary({{"root", UID{1}}})},
                       {"$version", PropertyList::integer(100'000)}});
}

std::optional<Image> unarchived(const PropertyList& archive) {
    return imageFromArchive(binaryFromPropertyList(archive).value());
}

PropertyList imageObject(PropertyList representations) {
    return dictionary({{"NSReps", std::move(representations)}});
}

PropertyList arrayObject(Array elements) {
    return dictionary({{"NS.objects", std::move(elements)}});
}

PropertyList bitmapObject(PropertyList data) {
    return dictionary({{"NSTIFFRepresentation", std::move(data)}});
}

PropertyList bitmapOfWidth(std::uint32_t width) {
    return bitmapObject(Data(tiffOfWidth(width)));
}

TEST(ImageUnarchiving, One_array_with_a_zero_and_all_representations_is_read_in_order) {
    const PropertyList archive = archiveOf({
        imageObject(UID{2}),
        arrayObject({UID{3}}),
        arrayObject({UID{4}, UID{5}, UID{6}, UID{7}}),
        PropertyList::integer(0),
        bitmapOfWidth(1),
        bitmapOfWidth(2),
        bitmapOfWidth(3),
    });
    EXPECT_THAT(widthsOf(unarchived(archive)), ElementsAre(1, 2, 3));
}

TEST(ImageUnarchiving, Arrays_nested_in_any_way_are_read_in_order) {
    const PropertyList archive = archiveOf({
        imageObject(arrayObject({bitmapOfWidth(1), UID{2}, Array{Array{bitmapOfWidth(4)}, "text"}, UID{4}})),
        Array{UID{3}, bitmapOfWidth(3)},
        arrayObject({arrayObject({bitmapOfWidth(2)})}),
        bitmapOfWidth(5),
    });
    EXPECT_THAT(widthsOf(unarchived(archive)), ElementsAre(1, 2, 3, 4, 5));
}

TEST(ImageUnarchiving, A_single_representation_without_any_array_is_read) {
    EXPECT_THAT(widthsOf(unarchived(archiveOf({imageObject(UID{2}), bitmapOfWidth(6)}))), ElementsAre(6));
}

TEST(ImageUnarchiving, Data_objects_are_read_like_plain_data) {
    const PropertyList archive = archiveOf({
        imageObject(Array{bitmapObject(UID{2}), bitmapObject(UID{3}), bitmapObject(UID{4})}),
        dictionary({{"$class", UID{5}}, {"NS.data", Data(tiffOfWidth(1))}}),
        dictionary({{"$class", UID{5}}, {"NS.data", UID{6}}}),
        Data(tiffOfWidth(3)),
        classDescription({"NSMutableData", "NSData", "NSObject"}),
        Data(tiffOfWidth(2)),
    });
    EXPECT_THAT(widthsOf(unarchived(archive)), ElementsAre(1, 2, 3));
}

TEST(ImageUnarchiving, Bitmaps_of_both_byte_orders_and_PNG_files_are_read) {
    const Bytes png = pngFile(pngHeader(3, 1, 8, 0), ByteView("\0\1\2\3", 4));
    const PropertyList archive = archiveOf(
        {imageObject(Array{bitmapObject(Data(tiffOfWidth(1))),
                           bitmapObject(Data(tiffOfWidth(2, ByteOrder::Big))), bitmapObject(Data(png))})});
    const auto image = unarchived(archive);
    EXPECT_THAT(widthsOf(image), ElementsAre(1, 2, 3));
    ASSERT_TRUE(image && image->representations[2].png);
    EXPECT_EQ(*image->representations[2].png, png);
}

TEST(ImageUnarchiving, Of_a_bitmap_with_several_pictures_the_first_is_the_representation) {
    const Bytes tiff = tiffFile({{.strip = "\1\2\3\4"}, {.width = 2, .strip = "\1\2\3\4\5\6\7\10"}});
    EXPECT_THAT(widthsOf(unarchived(archiveOf({imageObject(bitmapObject(Data(tiff)))}))), ElementsAre(1));
}

TEST(ImageUnarchiving, What_is_no_bitmap_is_left_out) {
    const PropertyList archive = archiveOf({
        imageObject(arrayObject({UID{2}, UID{3}, UID{4}, UID{5}, UID{0}, bitmapOfWidth(2), UID{6}})),
        dictionary({{"NS.base", UID{0}}, {"NS.relative", "http://www.example.com/icon.png"}}),
        bitmapObject(Data("GIF89a")),
        bitmapObject("text"),
        dictionary({{"NSImageRepSize", "{1, 1}"}}),
        bitmapObject(Data(tiffOfWidth(3).substr(0, 40))),
    });
    EXPECT_THAT(widthsOf(unarchived(archive)), ElementsAre(2));
}

TEST(ImageUnarchiving, Unknown_keys_and_a_different_version_are_passed_over) {
    PropertyList archive = archiveOf({
        dictionary({{"$class", UID{2}},
                    {"NSReps", bitmapOfWidth(2)},
                    {"NSResizingMode", PropertyList::integer(0)},
                    {"NSTintColor", UID{99}}}),
        classDescription({"NSImage", "NSObject"}),
    });
    archive.dictionary()->set("$version", PropertyList::integer(7));
    archive.dictionary()->set("$extra", PropertyList::boolean(true));
    EXPECT_THAT(widthsOf(unarchived(archive)), ElementsAre(2));
}

TEST(ImageUnarchiving, Missing_version_and_archiver_do_not_matter) {
    PropertyList archive = archiveOf({imageObject(bitmapOfWidth(2))});
    archive.dictionary()->remove("$version");
    archive.dictionary()->remove("$archiver");
    EXPECT_THAT(widthsOf(unarchived(archive)), ElementsAre(2));
}

TEST(ImageUnarchiving, The_XML_form_is_read) {
    const auto reference = [](std::int64_t number) {
        return PropertyList(dictionary({{"CF$UID", PropertyList::integer(number)}}));
    };
    PropertyList archive = archiveOf({
        dictionary({{"$class", reference(5)}, {"NSReps", reference(2)}, {"NSSize", reference(6)}}),
        arrayObject({reference(3)}),
        bitmapObject(reference(4)),
        Data(tiffOfWidth(5)),
        classDescription({"NSImage", "NSObject"}),
        "{20, 4}",
    });
    archive.dictionary()->set("$top", dictionary({{"root", reference(1)}}));
    const auto bytes = xmlFromPropertyList(archive);
    ASSERT_TRUE(bytes);
    const auto image = imageFromArchive(*bytes);
    EXPECT_THAT(widthsOf(image), ElementsAre(5));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->size, (Image::Size{20, 4}));
}

TEST(ImageUnarchiving, A_class_derived_from_that_of_images_is_an_image_and_another_is_not) {
    const auto archiveOfClass = [](Array hierarchy) {
        return archiveOf({dictionary({{"$class", UID{2}}, {"NSReps", bitmapOfWidth(1)}}),
                          classDescription(std::move(hierarchy))});
    };
    EXPECT_TRUE(unarchived(archiveOfClass({"NSImage", "NSObject"})));
    EXPECT_TRUE(unarchived(archiveOfClass({"MYImage", "NSImage", "NSObject"})));
    EXPECT_FALSE(unarchived(archiveOfClass({"NSDictionary", "NSObject"})));
}

Image::Size sizeOfArchive(PropertyList size) {
    const auto image = unarchived(
        archiveOf({dictionary({{"NSReps", bitmapOfWidth(3)}, {"NSSize", UID{2}}}), std::move(size)}));
    return image ? image->size : Image::Size{};
}

TEST(ImageUnarchiving, The_size_of_the_whole_is_read_in_its_usual_spellings) {
    EXPECT_EQ(sizeOfArchive("{32, 16.5}"), (Image::Size{32, 16.5}));
    EXPECT_EQ(sizeOfArchive("{32,16}"), (Image::Size{32, 16}));
    EXPECT_EQ(sizeOfArchive(" { 3.2e1 , 16 } "), (Image::Size{32, 16}));
}

TEST(ImageUnarchiving, A_size_that_is_none_gives_way_to_that_of_the_first_representation) {
    for (const char* text : {"", "{", "{1", "{1, 2", "{0, 0}", "{-1, 2}", "{nan, 2}", "{inf, 2}",
                             "{1e999, 2}", "[1, 2]", "32, 32"}) {
        EXPECT_EQ(sizeOfArchive(text), (Image::Size{3, 1})) << text;
    }
    EXPECT_EQ(sizeOfArchive(PropertyList::integer(5)), (Image::Size{3, 1}));
    EXPECT_EQ(unarchived(archiveOf({imageObject(bitmapOfWidth(3))}))->size, (Image::Size{3, 1}));
}

// Reading what is damaged or hostile

TEST(ImageUnarchiving, What_is_no_archive_of_an_image_is_refused) {
    EXPECT_FALSE(imageFromArchive(""));
    EXPECT_FALSE(imageFromArchive("bplist00"));
    EXPECT_FALSE(imageFromArchive(tiffOfWidth(1)));
    EXPECT_FALSE(unarchived("text"));
    EXPECT_FALSE(unarchived(Dictionary()));
    EXPECT_FALSE(unarchived(archiveOf({})));
    EXPECT_FALSE(unarchived(archiveOf({"text"})));
    EXPECT_FALSE(unarchived(archiveOf({Dictionary()})));
    EXPECT_FALSE(unarchived(archiveOf({imageObject(Array())})));
    EXPECT_FALSE(unarchived(archiveOf({imageObject("text")})));
    for (const char* key : {"$top", "$objects"}) {
        PropertyList archive = archiveOf({imageObject(bitmapOfWidth(2))});
        ASSERT_TRUE(unarchived(archive));
        archive.dictionary()->set(key, "text");
        EXPECT_FALSE(unarchived(archive)) << key;
        archive.dictionary()->remove(key);
        EXPECT_FALSE(unarchived(archive)) << key;
    }
}

TEST(ImageUnarchiving, References_to_objects_that_are_not_there_lead_nowhere) {
    for (const std::uint64_t number : {std::uint64_t{2}, std::uint64_t{0xFFFFFFFF}, ~std::uint64_t{0}}) {
        EXPECT_FALSE(unarchived(archiveOf({imageObject(UID{number})})));
        EXPECT_FALSE(unarchived(archiveOf({imageObject(bitmapObject(UID{number}))})));
        PropertyList archive = archiveOf({imageObject(bitmapOfWidth(1))});
        archive.dictionary()->set("$top", dictionary({{"root", UID{number}}}));
        EXPECT_FALSE(unarchived(archive));
    }
}

TEST(ImageUnarchiving, Objects_that_name_each_other_in_a_circle_are_visited_once) {
    EXPECT_FALSE(unarchived(archiveOf({imageObject(UID{1})})));
    EXPECT_FALSE(unarchived(archiveOf({imageObject(UID{2}), UID{2}})));
    EXPECT_FALSE(unarchived(archiveOf({imageObject(bitmapObject(UID{2})), UID{2}})));
    EXPECT_FALSE(
        unarchived(archiveOf({imageObject(bitmapObject(UID{2})), dictionary({{"NS.data", UID{2}}})})));
    const PropertyList archive = archiveOf({
        imageObject(UID{2}),
        arrayObject({UID{2}, UID{3}, UID{4}, UID{4}}),
        arrayObject({UID{2}, UID{3}, UID{4}}),
        bitmapOfWidth(7),
    });
    EXPECT_THAT(widthsOf(unarchived(archive)), ElementsAre(7));
}

TEST(ImageUnarchiving, Arrays_that_each_name_the_next_twice_do_not_multiply) {
    Array objects{imageObject(UID{2})};
    for (std::uint64_t number = 3; number < 200; ++number) {
        objects.push_back(arrayObject({UID{number}, UID{number}}));
    }
    objects.push_back(bitmapOfWidth(2));
    EXPECT_THAT(widthsOf(unarchived(archiveOf(std::move(objects)))), ElementsAre(2));
}

TEST(ImageUnarchiving, A_very_long_chain_of_arrays_is_followed_without_recursion) {
    Array objects{imageObject(UID{2})};
    for (std::uint64_t number = 3; number < 100'000; ++number)
        objects.push_back(arrayObject({UID{number}}));
    objects.push_back(bitmapOfWidth(2));
    EXPECT_THAT(widthsOf(unarchived(archiveOf(std::move(objects)))), ElementsAre(2));
}

TEST(ImageUnarchiving, Of_very_many_representations_the_first_are_taken) {
    Array elements;
    for (int count = 0; count < 1000; ++count)
        elements.push_back(bitmapObject(UID{2}));
    const auto image = unarchived(archiveOf({imageObject(std::move(elements)), Data(tiffOfWidth(1))}));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations.size(), 64u);
}

TEST(ImageUnarchiving, Representations_with_too_many_pixels_in_all_are_left_out) {
    TIFFPicture large{.width = maximumImageSide,
                      .height = maximumImageSide / 2 + 1,
                      .bitsPerSample = 1,
                      .samplesPerPixel = 1,
                      .photometric = 1,
                      .extraSample = {}};
    large.strip.assign(std::size_t{large.width} / 8 * large.height, '\0');
    const PropertyList archive =
        archiveOf({imageObject(Array{bitmapObject(UID{2}), bitmapObject(UID{2}), bitmapOfWidth(3)}),
                   Data(tiffFile({large}))});
    EXPECT_THAT(widthsOf(unarchived(archive)), ElementsAre(maximumImageSide, 3));
}

TEST(ImageUnarchiving, Bitmaps_that_announce_huge_sides_are_left_out) {
    const PropertyList archive = archiveOf({imageObject(Array{
        bitmapObject(Data(pngFile(pngHeader(100'000, 100'000, 8, 6), Bytes(10, '\0')))),
        bitmapObject(Data(tiffFile({{.width = 0xFFFFFFFF, .height = 0xFFFFFFFF, .strip = "\1\2\3\4"}}))),
        bitmapOfWidth(2),
    })});
    EXPECT_THAT(widthsOf(unarchived(archive)), ElementsAre(2));
}

TEST(ImageUnarchiving, An_archive_that_was_cut_anywhere_is_refused) {
    const Bytes bytes = *archivedImage(imageOf({gradient(2, 1)}));
    ASSERT_TRUE(imageFromArchive(bytes));
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        EXPECT_FALSE(imageFromArchive(ByteView(bytes).substr(0, length))) << length;
    }
}

TEST(ImageUnarchiving, A_changed_byte_anywhere_does_no_harm) {
    const Bytes bytes = *archivedImage(imageOf({gradient(2, 1)}));
    for (std::size_t place = 0; place < bytes.size(); ++place) {
        for (const int change : {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0xFF}) {
            Bytes changed = bytes;
            changed[place] = static_cast<char>(changed[place] ^ change);
            const auto image = imageFromArchive(changed);
            if (!image) continue;
            ASSERT_FALSE(image->representations.empty());
            for (const auto& representation : image->representations) {
                ASSERT_EQ(representation.pixels.size(),
                          std::size_t{representation.pixelsWide} * representation.pixelsHigh * 4);
            }
        }
    }
}

} // namespace
} // namespace mox
