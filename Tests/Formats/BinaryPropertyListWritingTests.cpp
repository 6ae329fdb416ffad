#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"
#include "Formats/PropertyListWriting.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace mox {
namespace {

using namespace std::string_literals;

TEST(BinaryPropertyListWriting, The_layout_is_that_of_every_reader) {
    PropertyList::Dictionary root;
    root.set("k", PropertyList::Array{"k", PropertyList::integer(300), PropertyList::boolean(true)});
    EXPECT_EQ(binaryFromPropertyList(root), "bplist00"
                                            "\xD1\x01\x02"
                                            "\x51k"
                                            "\xA3\x01\x03\x04"
                                            "\x11\x01\x2C"
                                            "\x09"
                                            "\x08\x0B\x0D\x11\x14"
                                            "\0\0\0\0\0\0\x01\x01"
                                            "\0\0\0\0\0\0\0\x05"
                                            "\0\0\0\0\0\0\0\0"
                                            "\0\0\0\0\0\0\0\x15"s);
}

TEST(BinaryPropertyListWriting, Each_scalar_has_the_shortest_form_that_holds_it) {
    const auto object = [](const PropertyList& value) {
        const Bytes file = binaryFromPropertyList(value).value();
        return file.substr(8, file.size() - 8 - 33);
    };
    EXPECT_EQ(object(PropertyList::integer(0)), "\x10\0"s);
    EXPECT_EQ(object(PropertyList::integer(255)), "\x10\xFF");
    EXPECT_EQ(object(PropertyList::integer(256)), "\x11\x01\0"s);
    EXPECT_EQ(object(PropertyList::integer(65'536)), "\x12\0\x01\0\0"s);
    EXPECT_EQ(object(PropertyList::integer(4'294'967'296)), "\x13\0\0\0\x01\0\0\0\0"s);
    EXPECT_EQ(object(PropertyList::integer(-1)), "\x13" + std::string(8, '\xFF'));
    EXPECT_EQ(object(PropertyList::unsignedInteger(std::numeric_limits<std::uint64_t>::max())),
              "\x14" + std::string(8, '\0') + std::string(8, '\xFF'));
    EXPECT_EQ(object(PropertyList::real(1.5)), "\x23\x3F\xF8\0\0\0\0\0\0"s);
    EXPECT_EQ(object(PropertyList::Date{1.5}), "\x33\x3F\xF8\0\0\0\0\0\0"s);
    EXPECT_EQ(object(PropertyList::UID{5}), "\x80\x05");
    EXPECT_EQ(object(PropertyList::UID{256}), "\x81\x01\0"s);
    EXPECT_EQ(object("ab"), "\x52"
                            "ab");
    EXPECT_EQ(object("é\U0001F600"), "\x63\0\xE9\xD8\x3D\xDE\0"s);
    EXPECT_EQ(object(std::string(15, 'x')), "\x5F\x10\x0F" + std::string(15, 'x'));
    EXPECT_EQ(object(PropertyList::Data("ab")), "\x42"
                                                "ab");
}

TEST(BinaryPropertyListWriting, Keys_and_short_texts_are_shared_and_nothing_else) {
    const auto size = [](const PropertyList& one, const PropertyList& other) {
        return binaryFromPropertyList(PropertyList::Array{one, other}).value().size();
    };
    const std::string longest(64, 'x');
    const std::string tooLong(65, 'x');
    EXPECT_EQ(size(longest, "") - size(longest, longest), 2u)
        << "only the empty text and its offset are missing";
    EXPECT_GT(size(tooLong, tooLong), 2 * tooLong.size());
    EXPECT_GT(size(PropertyList::Data(tooLong), PropertyList::Data(tooLong)), 2 * tooLong.size());
}

TEST(BinaryPropertyListWriting, What_is_written_is_never_beyond_the_readers_bounds) {
    // One reference each, and a shared text as long and as costly as it may be.
    PropertyList::Array values(200'000, PropertyList("é" + std::string(62, 'x')));
    const PropertyList shared = values;
    EXPECT_EQ(propertyListFromBinary(binaryFromPropertyList(shared).value()), shared);
    PropertyList::Array dictionaries;
    for (int count = 0; count < 20'000; ++count) {
        PropertyList::Dictionary entry;
        entry.set(std::string(200, 'k'), "");
        dictionaries.emplace_back(std::move(entry));
    }
    const PropertyList longKeys = std::move(dictionaries);
    EXPECT_EQ(propertyListFromBinary(binaryFromPropertyList(longKeys).value()), longKeys);
}

TEST(BinaryPropertyListWriting, The_greatest_depth_is_written_and_read_and_anything_deeper_is_refused) {
    for (const auto& nested : {test::nestedArrays, test::nestedDictionaries}) {
        const PropertyList deepest = nested(maximumPropertyListDepth);
        EXPECT_EQ(propertyListFromBinary(binaryFromPropertyList(deepest).value()), deepest);
        EXPECT_EQ(binaryFromPropertyList(nested(maximumPropertyListDepth + 1)), std::nullopt);
        EXPECT_EQ(binaryFromPropertyList(nested(100'000)), std::nullopt);
    }
}

} // namespace
} // namespace mox
