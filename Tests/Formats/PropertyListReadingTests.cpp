#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"
#include "Formats/PropertyListWriting.hpp"

#include <gtest/gtest.h>

namespace mox {
namespace {

using namespace std::string_literals;

TEST(PropertyListReading, The_form_is_found_out_from_the_bytes) {
    const PropertyList value = test::everyKind();
    EXPECT_EQ(propertyListFromBytes(xmlFromPropertyList(value).value()), value);
    EXPECT_EQ(propertyListFromBytes(binaryFromPropertyList(value).value()), value);
    EXPECT_EQ(propertyListFromBytes("{a=b;}"), propertyListFromOldStyleText("{a=b;}"));
}

TEST(PropertyListReading, XML_is_told_by_its_first_element_from_old_style_data) {
    EXPECT_EQ(propertyListFromBytes("<dada>"), PropertyList(PropertyList::Data("\xDA\xDA")));
    EXPECT_EQ(propertyListFromBytes("<0a>"), PropertyList(PropertyList::Data("\n")));
    EXPECT_EQ(propertyListFromBytes("<>"), PropertyList(PropertyList::Data("")));
    EXPECT_EQ(propertyListFromBytes("<data>aGk=</data>"), PropertyList(PropertyList::Data("hi")));
    EXPECT_EQ(propertyListFromBytes("<date>2001-01-01T00:00:00Z</date>"),
              PropertyList(PropertyList::Date{0}));
    EXPECT_EQ(propertyListFromBytes("<false/>"), PropertyList::boolean(false));
    EXPECT_EQ(propertyListFromBytes("<dict/>"), PropertyList(PropertyList::Dictionary()));
    EXPECT_EQ(propertyListFromBytes("<!-- c --><array/>"), PropertyList(PropertyList::Array()));
    EXPECT_EQ(propertyListFromBytes(" \n<?xml version='1.0'?><array/>"), PropertyList(PropertyList::Array()));
}

TEST(PropertyListReading, XML_and_old_style_texts_are_found_in_every_encoding) {
    EXPECT_EQ(propertyListFromBytes("\xEF\xBB\xBF<true/>"), PropertyList::boolean(true));
    EXPECT_EQ(propertyListFromBytes("\xFF\xFE<\0t\0r\0u\0e\0/\0>\0"s), PropertyList::boolean(true));
    EXPECT_EQ(propertyListFromBytes("\0<\0t\0r\0u\0e\0/\0>"s), PropertyList::boolean(true));
    EXPECT_EQ(propertyListFromBytes("\xFF\xFE<\0"
                                    "0\0a\0>\0"s),
              PropertyList(PropertyList::Data("\n")));
    EXPECT_EQ(propertyListFromBytes("<?xml version='1.0' encoding='ISO-8859-1'?><string>\xE9</string>"),
              PropertyList("é"));
}

TEST(PropertyListReading, Nothing_at_all_is_refused_and_white_space_is_an_empty_dictionary) {
    EXPECT_EQ(propertyListFromBytes(""), std::nullopt);
    EXPECT_EQ(propertyListFromXML(""), std::nullopt);
    EXPECT_EQ(propertyListFromBinary(""), std::nullopt);
    EXPECT_EQ(propertyListFromOldStyleText(""), std::nullopt);
    EXPECT_EQ(propertyListFromBytes(" \n"), PropertyList(PropertyList::Dictionary()));
    EXPECT_EQ(propertyListFromBytes("// nothing"), PropertyList(PropertyList::Dictionary()));
}

TEST(PropertyListReading, Other_files_are_refused) {
    EXPECT_EQ(propertyListFromBytes("\x89PNG\r\n\x1A\n\0\0"s), std::nullopt);
    EXPECT_EQ(propertyListFromBytes("{\"a\": [1, 2]}"), std::nullopt);
    EXPECT_EQ(propertyListFromBytes("<html><body/></html>"), std::nullopt);
    EXPECT_EQ(propertyListFromBytes("bplist"), PropertyList("bplist")) << "a bare word";
    EXPECT_EQ(propertyListFromBytes("bplist00"), std::nullopt);
    EXPECT_EQ(propertyListFromBytes(std::string(100, '\0')), std::nullopt);
}

} // namespace
} // namespace mox
