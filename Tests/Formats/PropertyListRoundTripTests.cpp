#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Foundation/UnicodeText.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace mox {
namespace {

TEST(PropertyListRoundTrip, Every_kind_of_value_survives_both_forms) {
    const PropertyList value = test::everyKind();
    EXPECT_EQ(propertyListFromXML(xmlFromPropertyList(value).value()), value);
    EXPECT_EQ(propertyListFromBinary(binaryFromPropertyList(value).value()), value);
}

TEST(PropertyListRoundTrip, Random_trees_survive_the_stored_and_the_binary_form) {
    std::mt19937 random(20'010'101);
    int inXML = 0;
    int inBinary = 0;
    for (int count = 0; count < 3'000; ++count) {
        const PropertyList value = test::randomTree(random);
        const auto stored = storedFormOfPropertyList(value);
        ASSERT_TRUE(stored);
        ++(stored->starts_with("<?xml") ? inXML : inBinary);
        ASSERT_EQ(propertyListFromBytes(*stored), value) << *stored;
        ASSERT_EQ(propertyListFromBinary(binaryFromPropertyList(value).value()), value);
    }
    EXPECT_GT(inXML, 100);
    EXPECT_GT(inBinary, 100);
}

/// Whether XML cannot carry `scalar`.
bool isForbiddenInXML(char32_t scalar) {
    return (scalar < 0x20 && scalar != '\t' && scalar != '\n' && scalar != '\r') || scalar == 0xFFFE ||
           scalar == 0xFFFF;
}

TEST(PropertyListRoundTrip, Every_scalar_value_of_Unicode_survives_as_text_and_as_key) {
    constexpr char32_t blockSize = 0x800;
    constexpr char32_t charactersOfText = 16;
    for (char32_t block = 0; block <= 0x10FFFF; block += blockSize) {
        PropertyList::Dictionary entries;
        for (char32_t first = block; first < block + blockSize; first += charactersOfText) {
            std::string text;
            for (char32_t scalar = first; scalar < first + charactersOfText; ++scalar) {
                const bool isSurrogate = scalar >= 0xD800 && scalar <= 0xDFFF;
                if (!isSurrogate && !isForbiddenInXML(scalar)) appendUTF8(text, scalar);
            }
            entries.set(text, text);
        }
        const PropertyList value = std::move(entries);
        const auto stored = storedFormOfPropertyList(value);
        ASSERT_TRUE(stored && stored->starts_with("<?xml")) << std::hex << std::uint32_t{block};
        ASSERT_TRUE(propertyListFromBytes(*stored) == value) << std::hex << std::uint32_t{block};
        ASSERT_TRUE(propertyListFromBinary(binaryFromPropertyList(value).value()) == value);
    }
    for (char32_t scalar = 0; scalar <= 0xFFFF; ++scalar) {
        if (!isForbiddenInXML(scalar)) continue;
        std::string text = "a";
        appendUTF8(text, scalar);
        PropertyList::Dictionary value;
        value.set(text, text + "b");
        const auto stored = storedFormOfPropertyList(value);
        ASSERT_TRUE(stored && stored->starts_with("bplist00")) << std::hex << std::uint32_t{scalar};
        ASSERT_EQ(propertyListFromBytes(*stored), PropertyList(value)) << std::hex << std::uint32_t{scalar};
    }
}

} // namespace
} // namespace mox
