#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"
#include "Formats/PropertyListWriting.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <vector>

namespace mox {
namespace {

using namespace std::string_literals;

std::string bigEndian(std::uint64_t number, std::size_t size) {
    std::string bytes;
    while (size-- > 0)
        bytes.push_back(static_cast<char>(size < 8 ? number >> (8 * size) & 0xFF : 0));
    return bytes;
}

/// A binary property list of the given objects, the first of which is the root.
struct BinaryFile {
    std::vector<std::string> objects;
    std::size_t offsetSize = 1;
    std::size_t referenceSize = 1;
    std::uint64_t root = 0;

    std::string bytes() const {
        std::string file = "bplist00";
        std::string table;
        for (const std::string& object : objects) {
            table += bigEndian(file.size(), offsetSize);
            file += object;
        }
        const std::size_t tableStart = file.size();
        return file + table + std::string(6, '\0') + bigEndian(offsetSize, 1) + bigEndian(referenceSize, 1) +
               bigEndian(objects.size(), 8) + bigEndian(root, 8) + bigEndian(tableStart, 8);
    }
};

std::optional<PropertyList> read(std::vector<std::string> objects) {
    return propertyListFromBinary(BinaryFile{std::move(objects)}.bytes());
}

TEST(BinaryPropertyListReading, Integers_of_every_size_are_read) {
    EXPECT_EQ(read({"\x10\xFF"}), PropertyList::integer(255));
    EXPECT_EQ(read({"\x11\xFF\xFE"}), PropertyList::integer(0xFFFE));
    EXPECT_EQ(read({"\x12\xFF\xFF\xFF\xFE"}), PropertyList::integer(0xFFFFFFFE));
    EXPECT_EQ(read({"\x13" + std::string(8, '\xFF')}), PropertyList::integer(-1));
    EXPECT_EQ(read({"\x14" + std::string(8, '\0') + std::string(8, '\xFF')}),
              PropertyList::unsignedInteger(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_EQ(read({"\x14" + std::string(7, '\0') + "\x01" + std::string(8, '\0')}), std::nullopt);
    EXPECT_EQ(read({"\x15" + std::string(32, '\0')}), std::nullopt);
}

TEST(BinaryPropertyListReading, Reals_dates_booleans_and_UIDs_are_read) {
    EXPECT_EQ(read({"\x22\x3F\xC0\0\0"s}), PropertyList::real(1.5));
    EXPECT_EQ(read({"\x23\x3F\xF8\0\0\0\0\0\0"s}), PropertyList::real(1.5));
    EXPECT_EQ(read({"\x33\x3F\xF8\0\0\0\0\0\0"s}), PropertyList(PropertyList::Date{1.5}));
    EXPECT_EQ(read({"\x08"}), PropertyList::boolean(false));
    EXPECT_EQ(read({"\x09"}), PropertyList::boolean(true));
    EXPECT_EQ(read({"\x80\x05"}), PropertyList(PropertyList::UID{5}));
    EXPECT_EQ(read({"\x82\x01\0\0"s}), PropertyList(PropertyList::UID{65'536}));
    EXPECT_EQ(read({"\x87" + std::string(8, '\xFF')}),
              PropertyList(PropertyList::UID{std::numeric_limits<std::uint64_t>::max()}));
}

TEST(BinaryPropertyListReading, Texts_of_every_form_are_read) {
    EXPECT_EQ(read({"\x52"
                    "ab"}),
              PropertyList("ab"));
    EXPECT_EQ(read({"\x5F\x10\x03"
                    "abc"}),
              PropertyList("abc"));
    EXPECT_EQ(read({"\x5F\x11\0\x03"
                    "abc"s}),
              PropertyList("abc"));
    EXPECT_EQ(read({"\x5F\x13\0\0\0\0\0\0\0\x03"
                    "abc"s}),
              PropertyList("abc"));
    EXPECT_EQ(read({"\x63\0\xE9\xD8\x3D\xDE\0"s}), PropertyList("é\U0001F600"));
    EXPECT_EQ(read({"\x72\xC3\xA9"}), PropertyList("é"));
    EXPECT_EQ(read({"\x50"}), PropertyList(""));
}

TEST(BinaryPropertyListReading,
     Half_a_surrogate_pair_and_bytes_that_are_no_text_become_replacement_characters) {
    EXPECT_EQ(read({"\x61\xD8\x3D"}), PropertyList("\uFFFD"));
    EXPECT_EQ(read({"\x62\xDE\0\0a"s}), PropertyList("\uFFFDa"));
    EXPECT_EQ(read({"\x62\xD8\x3D\0a"s}), PropertyList("\uFFFDa"));
    EXPECT_EQ(read({"\x52"
                    "a\xFF"}),
              PropertyList("a\uFFFD"));
}

TEST(BinaryPropertyListReading, Containers_are_read_with_references_of_every_size) {
    PropertyList::Dictionary expected;
    expected.set("k", PropertyList::Array{PropertyList::boolean(true), PropertyList::boolean(true)});
    for (std::size_t size = 1; size <= 8; ++size) {
        const BinaryFile file{{"\xD1" + bigEndian(1, size) + bigEndian(2, size), "\x51k",
                               "\xA2" + bigEndian(3, size) + bigEndian(3, size), "\x09"},
                              size,
                              size};
        EXPECT_EQ(propertyListFromBinary(file.bytes()), PropertyList(expected)) << size;
    }
    EXPECT_EQ(propertyListFromBinary(BinaryFile{{"\x08", "\xA0"}, 1, 1, 1}.bytes()),
              PropertyList(PropertyList::Array()));
}

TEST(BinaryPropertyListReading, The_last_of_equal_keys_stays) {
    PropertyList::Dictionary expected;
    expected.set("k", PropertyList::boolean(true));
    EXPECT_EQ(read({"\xD2\x01\x02\x03\x04", "\x51k", "\x51k", "\x08", "\x09"}), PropertyList(expected));
}

TEST(BinaryPropertyListReading, What_is_no_value_of_a_property_list_is_refused) {
    EXPECT_EQ(read({"\0"s}), std::nullopt) << "null";
    EXPECT_EQ(read({"\x0F"}), std::nullopt) << "fill";
    EXPECT_EQ(read({"\xC1\x01", "\x09"}), std::nullopt) << "a set";
    EXPECT_EQ(read({"\xF0"}), std::nullopt) << "an unknown kind";
    EXPECT_EQ(read({"\x32\0\0\0\0"s}), std::nullopt) << "a date of four bytes";
    EXPECT_EQ(read({"\x21\0\0"s}), std::nullopt) << "a real of two bytes";
    EXPECT_EQ(read({"\xD1\x01\x02", "\x10\x01", "\x09"}), std::nullopt) << "a key that is no text";
    EXPECT_EQ(read({"\x88" + std::string(9, '\0')}), std::nullopt) << "a UID of nine bytes";
}

TEST(BinaryPropertyListReading, Sizes_beyond_the_objects_are_refused) {
    EXPECT_EQ(read({"\x53"
                    "ab"}),
              std::nullopt);
    EXPECT_EQ(read({"\x62\0a\0"s}), std::nullopt);
    EXPECT_EQ(read({"\x43"
                    "ab"}),
              std::nullopt);
    EXPECT_EQ(read({"\x13\0\0"s}), std::nullopt);
    EXPECT_EQ(read({"\x23\0\0"s}), std::nullopt);
    EXPECT_EQ(read({"\x81\0"s}), std::nullopt);
    EXPECT_EQ(read({"\xA3\x01\x01", "\x09"}), std::nullopt);
    EXPECT_EQ(read({"\xD1\x01", "\x50"}), std::nullopt);
    EXPECT_EQ(read({"\x5F"}), std::nullopt);
    EXPECT_EQ(read({"\x5F\x11\0"s}), std::nullopt);
    EXPECT_EQ(read({"\x5F\x22\0\0\0\0"s}), std::nullopt) << "a size that is no integer";
    for (const char marker : {'\x4F', '\x5F', '\x6F', '\x7F', '\xAF', '\xDF'}) {
        for (const std::uint64_t size :
             {std::uint64_t{1} << 31, std::uint64_t{1} << 63, (std::uint64_t{1} << 63) + 1,
              std::numeric_limits<std::uint64_t>::max(), std::numeric_limits<std::uint64_t>::max() / 2 + 1}) {
            EXPECT_EQ(read({marker + "\x13"s + bigEndian(size, 8) + "abcdefgh"}), std::nullopt);
        }
    }
}

TEST(BinaryPropertyListReading, Every_wrong_field_of_the_trailer_is_refused) {
    const std::string file = BinaryFile{{"\xA1\x01", "\x09"}}.bytes();
    ASSERT_TRUE(propertyListFromBinary(file));
    const std::size_t trailer = file.size() - 32;
    const auto with = [&file, trailer](std::size_t field, const std::string& bytes) {
        std::string changed = file;
        changed.replace(trailer + field, bytes.size(), bytes);
        return propertyListFromBinary(changed);
    };
    EXPECT_EQ(with(6, "\0"s), std::nullopt) << "offsets of no size";
    EXPECT_EQ(with(6, "\x09"), std::nullopt) << "offsets of nine bytes";
    EXPECT_EQ(with(7, "\0"s), std::nullopt) << "references of no size";
    EXPECT_EQ(with(7, "\x09"), std::nullopt) << "references of nine bytes";
    EXPECT_EQ(with(7, "\x04"), std::nullopt) << "references beyond the objects";
    for (const std::uint64_t count :
         {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{3}, std::uint64_t{1} << 32,
          std::uint64_t{1} << 61, std::numeric_limits<std::uint64_t>::max()}) {
        EXPECT_EQ(with(8, bigEndian(count, 8)), std::nullopt) << "objects: " << count;
    }
    EXPECT_EQ(with(16, bigEndian(2, 8)), std::nullopt) << "a root that is not there";
    for (const std::uint64_t start :
         {std::uint64_t{0}, std::uint64_t{8}, std::uint64_t{9}, std::uint64_t{trailer},
          std::uint64_t{trailer + 1}, std::numeric_limits<std::uint64_t>::max()}) {
        EXPECT_EQ(with(24, bigEndian(start, 8)), std::nullopt) << "table: " << start;
    }
}

TEST(BinaryPropertyListReading, Offsets_and_references_outside_the_objects_are_refused) {
    EXPECT_EQ(read({"\xA1\x02", "\x09"}), std::nullopt);
    std::string file = BinaryFile{{"\xA1\x01", "\x09"}}.bytes();
    for (const char offset : {'\0', '\x07', '\x0B', '\x0C', '\xFF'}) {
        file[12] = offset;
        EXPECT_EQ(propertyListFromBinary(file), std::nullopt) << int{offset};
    }
}

TEST(BinaryPropertyListReading, A_container_within_itself_is_refused) {
    EXPECT_EQ(read({"\xA1\0"s}), std::nullopt);
    EXPECT_EQ(read({"\xA1\x01", "\xA1\x02", "\xA1\0"s}), std::nullopt);
    EXPECT_EQ(read({"\xD1\x01\0"s, "\x51k"}), std::nullopt);
}

TEST(BinaryPropertyListReading, A_container_named_twice_side_by_side_is_read_twice) {
    const PropertyList inner = PropertyList::Array{PropertyList::boolean(true)};
    EXPECT_EQ(read({"\xA2\x01\x01", "\xA1\x02", "\x09"}), PropertyList(PropertyList::Array{inner, inner}));
}

TEST(BinaryPropertyListReading, Arrays_that_each_name_the_next_twice_are_refused_at_once) {
    std::vector<std::string> objects;
    for (int level = 1; level <= 30; ++level)
        objects.push_back("\xA2"s + std::string(2, static_cast<char>(level)));
    objects.emplace_back("\x09");
    const std::string file = BinaryFile{objects}.bytes();
    ASSERT_LE(file.size(), 163u);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(propertyListFromBinary(file), std::nullopt);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(BinaryPropertyListReading, A_long_text_named_many_times_is_refused) {
    constexpr std::size_t count = 50'000;
    const std::string text(100'000, 'x');
    const std::string file = BinaryFile{{"\xAF\x12" + bigEndian(count, 4) + std::string(count, '\x01'),
                                         "\x5F\x12" + bigEndian(text.size(), 4) + text},
                                        4}
                                 .bytes();
    EXPECT_EQ(propertyListFromBinary(file), std::nullopt);
}

TEST(BinaryPropertyListReading, Data_that_is_named_many_times_is_held_once) {
    constexpr std::size_t count = 20'000;
    const std::string icon(64 * 1024, 'x');
    const std::string file = BinaryFile{{"\xAF\x12" + bigEndian(count, 4) + std::string(count, '\x01'),
                                         "\x4F\x12" + bigEndian(icon.size(), 4) + icon},
                                        4}
                                 .bytes();
    const auto value = propertyListFromBinary(file);
    ASSERT_TRUE(value && value->array());
    ASSERT_EQ(value->array()->size(), count);
    const ByteView first = value->array()->front().data()->bytes();
    const ByteView last = value->array()->back().data()->bytes();
    EXPECT_EQ(first, icon);
    EXPECT_EQ(first.data(), last.data());
}

TEST(BinaryPropertyListReading, Data_objects_that_overlap_are_refused_when_they_add_up_to_too_much) {
    // Each object's content is the rest of the file, so that the sum grows with the square of their number.
    constexpr std::size_t count = 3'000;
    constexpr std::size_t rest = 200'000;
    BinaryFile file{{"\xAF\x12" + bigEndian(count, 4)}, 4, 2};
    for (std::size_t object = 1; object <= count; ++object)
        file.objects.front() += bigEndian(object, 2);
    for (std::size_t object = 0; object < count; ++object)
        file.objects.push_back("\x4F\x12" + bigEndian(rest, 4));
    file.objects.push_back(std::string(rest, 'x'));
    EXPECT_EQ(propertyListFromBinary(file.bytes()), std::nullopt);
}

TEST(BinaryPropertyListReading, An_array_named_many_times_is_refused_when_it_expands_beyond_the_file) {
    // 20 times the same array of 10,000 booleans, in some 10,000 bytes.
    constexpr std::size_t count = 10'000;
    const std::string file =
        BinaryFile{{"\xAF\x10\x14" + std::string(20, '\x01'),
                    "\xAF\x12" + bigEndian(count, 4) + std::string(count, '\x02'), "\x09"},
                   4}
            .bytes();
    EXPECT_EQ(propertyListFromBinary(file), std::nullopt);
}

TEST(BinaryPropertyListReading, Containers_are_read_down_to_the_greatest_depth_and_no_further) {
    const auto nested = [](std::size_t depth) {
        BinaryFile file;
        file.offsetSize = 4;
        file.referenceSize = 4;
        for (std::size_t level = 1; level < depth; ++level)
            file.objects.push_back("\xA1" + bigEndian(level, 4));
        file.objects.emplace_back("\xA0");
        return file.bytes();
    };
    EXPECT_EQ(propertyListFromBinary(nested(maximumPropertyListDepth)),
              test::nestedArrays(maximumPropertyListDepth));
    EXPECT_EQ(propertyListFromBinary(nested(maximumPropertyListDepth + 1)), std::nullopt);
    EXPECT_EQ(propertyListFromBinary(nested(100'000)), std::nullopt);
}

TEST(BinaryPropertyListReading, A_file_cut_short_anywhere_is_refused) {
    const std::string file = *binaryFromPropertyList(PropertyList::Array{
        "text", PropertyList::Data("data"), PropertyList::Date{0}, test::nestedDictionaries(3)});
    for (std::size_t size = 0; size < file.size(); ++size) {
        EXPECT_EQ(propertyListFromBinary(std::string_view(file).substr(0, size)), std::nullopt) << size;
    }
}

TEST(BinaryPropertyListReading, No_changed_byte_makes_the_reader_fail_otherwise_than_by_refusing) {
    const std::string file = *binaryFromPropertyList(PropertyList::Array{
        "text é", PropertyList::Data("data"), test::nestedDictionaries(3), PropertyList::UID{7}});
    std::size_t accepted = 0;
    for (std::size_t index = 0; index < file.size(); ++index) {
        for (int value = 0; value < 256; ++value) {
            std::string changed = file;
            changed[index] = static_cast<char>(value);
            const auto read = propertyListFromBinary(changed);
            if (!read) continue;
            ++accepted;
            EXPECT_EQ(propertyListFromBinary(binaryFromPropertyList(*read).value()), read);
        }
    }
    EXPECT_GT(accepted, file.size());
}

} // namespace
} // namespace mox
